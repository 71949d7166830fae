#include <gtest/gtest.h>
#include <zeb/Subscription.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>

#include "ClampStatusBoard.h"

namespace {

using namespace std::chrono_literals;
using clampcontrolclient::ClampState;
using clampcontrolclient::ClampStatusBoard;

constexpr std::chrono::seconds kLimit{20};

class LiveSubscription : public zeb::Subscription {
 public:
    std::string getUuidOfElement() const override { return "1"; }
    void unsubscribe() override { isActive_ = false; }
    bool isActive() const override { return isActive_; }

 private:
    std::atomic<bool> isActive_ = true;
};

class ClampStatusBoardTest : public testing::Test {
 protected:
    const std::shared_ptr<zeb::Subscription> source = std::make_shared<LiveSubscription>();
    ClampStatusBoard sut{"first"};
};

TEST_F(ClampStatusBoardTest, IsUnknownAtFirst) {
    EXPECT_EQ(sut.status().state, ClampState::Unknown);
    EXPECT_EQ(sut.status().reason, "first");
}

TEST_F(ClampStatusBoardTest, HasTheStateThatWasSet) {
    sut.setState(true, source);
    EXPECT_EQ(sut.status().state, ClampState::On);
    EXPECT_EQ(sut.status().reason, "");
}

TEST_F(ClampStatusBoardTest, IsUnknownWhenItsSourceHasEnded) {
    sut.setState(true, source);
    source->unsubscribe();
    EXPECT_EQ(sut.status().state, ClampState::Unknown);
    EXPECT_NE(sut.status().reason, "");
}

TEST_F(ClampStatusBoardTest, IsUnknownWithoutASource) {
    sut.setState(true, nullptr);
    EXPECT_EQ(sut.status().state, ClampState::Unknown);
}

// What had arrived before the end is delivered behind it.
TEST_F(ClampStatusBoardTest, HasNoNewsOfAStateWhoseSourceHasEnded) {
    source->unsubscribe();
    sut.setState(true, source);
    EXPECT_FALSE(sut.takeNews());
}

TEST_F(ClampStatusBoardTest, DoesNotEndAWaitWithAStateWhoseSourceHasEnded) {
    source->unsubscribe();
    auto waiting = std::async(std::launch::async, [this] { return sut.waitFor(ClampState::On, 100ms); });
    sut.setState(true, source);
    EXPECT_FALSE(waiting.get());
}

TEST_F(ClampStatusBoardTest, IsUnknownWithTheReasonOfTheEndWhenAStateComesLate) {
    source->unsubscribe();
    sut.setUnknown("lost");
    sut.setState(true, source);
    EXPECT_EQ(sut.status().reason, "lost");
}

TEST_F(ClampStatusBoardTest, KeepsTheTimeOfAStateThatGetsAnotherReason) {
    const auto since = sut.status().since;
    sut.setUnknown("second");
    EXPECT_EQ(sut.status().since, since);
}

TEST_F(ClampStatusBoardTest, KeepsTheTimeOfAStateThatIsSetAgain) {
    sut.setState(true, source);
    const auto since = sut.status().since;
    sut.setState(true, source);
    EXPECT_EQ(sut.status().since, since);
}

TEST_F(ClampStatusBoardTest, HasNoNewsAtFirst) {
    EXPECT_FALSE(sut.takeNews());
}

TEST_F(ClampStatusBoardTest, HasNewsOnce) {
    sut.setState(true, source);
    EXPECT_EQ(sut.takeNews()->state, ClampState::On);
    EXPECT_FALSE(sut.takeNews());
}

TEST_F(ClampStatusBoardTest, TakesANewReasonForNews) {
    sut.setUnknown("second");
    EXPECT_EQ(sut.takeNews()->reason, "second");
}

TEST_F(ClampStatusBoardTest, TakesTheSameReasonForNoNews) {
    sut.setUnknown("first");
    EXPECT_FALSE(sut.takeNews());
}

TEST_F(ClampStatusBoardTest, EndsAWaitWhenTheStateIsEntered) {
    auto reached = std::async(std::launch::async, [this] { return sut.waitFor(ClampState::Off, kLimit); });
    sut.setState(false, source);
    EXPECT_TRUE(reached.get());
}

TEST_F(ClampStatusBoardTest, DoesNotMissAStateThatLastsForAMoment) {
    std::promise<void> isAboutToWait;
    auto reached = std::async(std::launch::async, [&] {
        isAboutToWait.set_value();
        return sut.waitFor(ClampState::On, kLimit);
    });
    isAboutToWait.get_future().wait();
    while (reached.wait_for(0s) != std::future_status::ready) {
        sut.setState(true, source);
        sut.setUnknown("again");
    }
    EXPECT_TRUE(reached.get());
}

TEST_F(ClampStatusBoardTest, WaitsNoLongerThanTheTimeout) {
    EXPECT_FALSE(sut.waitFor(ClampState::On, 1ms));
}

TEST_F(ClampStatusBoardTest, DoesNotWaitWithATimeoutInThePast) {
    EXPECT_FALSE(sut.waitFor(ClampState::On, std::chrono::milliseconds::min()));
}

TEST_F(ClampStatusBoardTest, CanWaitWithoutAnEnd) {
    auto reached = std::async(
        std::launch::async, [this] { return sut.waitFor(ClampState::On, std::chrono::milliseconds::max()); });
    sut.setState(true, source);
    EXPECT_TRUE(reached.get());
}

TEST_F(ClampStatusBoardTest, IsUnknownForGoodOnceItIsClosed) {
    sut.close("over");
    sut.setState(true, source);
    EXPECT_EQ(sut.status().state, ClampState::Unknown);
    EXPECT_EQ(sut.status().reason, "over");
}

TEST_F(ClampStatusBoardTest, EndsEveryWaitWhenItIsClosed) {
    auto reached = std::async(std::launch::async, [this] { return sut.waitFor(ClampState::On, kLimit); });
    sut.close("over");
    EXPECT_FALSE(reached.get());
    EXPECT_FALSE(sut.waitFor(ClampState::On, kLimit));
}

TEST_F(ClampStatusBoardTest, DoesNotWaitForAStateOfAnEndedSource) {
    sut.setState(true, source);
    source->unsubscribe();
    EXPECT_FALSE(sut.waitFor(ClampState::On, 1ms));
}

}  // namespace
