#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "io/IoThread.h"

namespace {

using zeb::IoThread;

/// Ends its work only when it is told for the `needed`th time.
class StubbornUser : public IoThread::User {
 public:
    explicit StubbornUser(int needed) : needed_(needed) {}
    virtual ~StubbornUser() = default;

    std::string reason() { return reason_.get_future().get(); }

 private:
    void onIoFailure(const char* reason) override {
        if (--needed_ > 0) {
            throw std::bad_alloc();
        }
        reason_.set_value(reason);
    }

    int needed_;
    std::promise<std::string> reason_;
};

TEST(IoThread, TellsItsUsersOfAnOperationThatHasThrown) {
    IoThread sut;
    const auto user = std::make_shared<StubbornUser>(1);
    sut.addUser(user);
    sut.post([] { throw std::runtime_error("lost"); });
    EXPECT_EQ(user->reason(), "lost");
}

TEST(IoThread, TellsAUserThatCannotEndItsWorkAgainUntilItCan) {
    IoThread sut;
    const auto user = std::make_shared<StubbornUser>(3);
    sut.addUser(user);
    sut.post([] { throw std::bad_alloc(); });
    EXPECT_EQ(user->reason(), "std::bad_alloc");
}

TEST(IoThread, TellsTheOthersWhileOneUserCannotEndItsWork) {
    IoThread sut;
    const auto stubborn = std::make_shared<StubbornUser>(1'000'000);
    const auto other = std::make_shared<StubbornUser>(1);
    sut.addUser(stubborn);
    sut.addUser(other);
    sut.post([] { throw std::runtime_error("lost"); });
    EXPECT_EQ(other->reason(), "lost");
}

TEST(IoThread, RunsWhatIsPostedWhileOneUserCannotEndItsWork) {
    IoThread sut;
    const auto user = std::make_shared<StubbornUser>(1'000'000);
    sut.addUser(user);
    sut.post([] { throw std::runtime_error("lost"); });
    bool hasRun = false;
    sut.post([&hasRun] { hasRun = true; });
    sut.waitForPosted();
    EXPECT_TRUE(hasRun);
}

}  // namespace
