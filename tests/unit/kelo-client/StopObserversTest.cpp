#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "StopObservers.h"

namespace {

using kelo_client::StopObserver;
using kelo_client::StopObservers;
using testing::ElementsAre;
using testing::IsEmpty;

class Recorder : public StopObserver {
 public:
    explicit Recorder(std::vector<std::string>& words) : words_(words) {}
    void onStopping(const char* reason) override { words_.emplace_back(reason); }
    void onStopped() override { words_.emplace_back("stopped"); }

 private:
    std::vector<std::string>& words_;
};

class WithoutMemory : public StopObserver {
 public:
    void onStopping(const char* /*reason*/) override { throw std::bad_alloc(); }
};

class StopObserversTest : public testing::Test {
 protected:
    std::vector<std::string> words;
    const std::shared_ptr<StopObserver> observer = std::make_shared<Recorder>(words);
    StopObservers sut;
};

TEST_F(StopObserversTest, TellsAnObserverWhyItsBaseIsStopped) {
    sut.add(observer);
    sut.tellStopping("why");
    EXPECT_THAT(words, ElementsAre("why"));
}

TEST_F(StopObserversTest, TellsItOnce) {
    sut.add(observer);
    sut.tellStopping("why");
    sut.tellStopping("why");
    EXPECT_THAT(words, ElementsAre("why"));
}

TEST_F(StopObserversTest, TellsThatNothingFollows) {
    sut.add(observer);
    sut.tellStopping("why");
    sut.tellStopped();
    EXPECT_THAT(words, ElementsAre("why", "stopped"));
}

TEST_F(StopObserversTest, TellsALateObserverAtOnceThatItsBaseIsStopped) {
    sut.tellStopping("why");
    sut.add(observer);
    EXPECT_THAT(words, ElementsAre("why"));
}

TEST_F(StopObserversTest, TellsALateObserverNothingMore) {
    sut.tellStopping("why");
    sut.add(observer);
    words.clear();
    sut.tellStopped();
    EXPECT_THAT(words, IsEmpty());
}

TEST_F(StopObserversTest, SaysNothingBeforeTheStop) {
    sut.add(observer);
    sut.tellStopped();
    EXPECT_THAT(words, IsEmpty());
}

TEST_F(StopObserversTest, ForgetsAnObserverThatWasDestroyed) {
    sut.add(std::make_shared<Recorder>(words));
    sut.tellStopping("why");
    EXPECT_THAT(words, IsEmpty());
}

TEST_F(StopObserversTest, TellsTheOthersIfOneHasNoMemory) {
    const auto first = std::make_shared<WithoutMemory>();
    sut.add(first);
    sut.add(observer);
    sut.tellStopping("why");
    EXPECT_THAT(words, ElementsAre("why"));
}

}  // namespace
