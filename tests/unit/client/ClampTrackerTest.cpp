#include <csc_logging/CSCLogging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <string>

#include "ClampTracker.h"
#include "FakeBus.h"

namespace {

using namespace std::chrono_literals;
using clampcontrolclient::ClampTracker;
using clampcontrolclient::RetryPause;
using test_support::clampJson;
using test_support::FakeBus;
using testing::HasSubstr;

/// Records what a tracker reports, as words.
class Recorder : public ClampTracker::Listener {
 public:
    virtual ~Recorder() = default;

    void onConnection(bool isConnected) override { tell(isConnected ? "connected" : "disconnected"); }
    void onSubscribed(const std::string& uuid) override { tell("subscribed " + uuid); }
    void onNotification() override { tell("notification"); }
    void onState(bool isOn, const std::shared_ptr<zeb::Subscription>& source) override {
        EXPECT_TRUE(source);
        tell(isOn ? "on" : "off");
    }
    void onUnknown(const std::string& reason) override { tell("unknown: " + reason); }
    void onMemoryShortage() noexcept override {}

    std::string next() {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, 20s, [this] { return !words_.empty(); })) {
            return "nothing";
        }
        std::string word = words_.front();
        words_.pop_front();
        return word;
    }

    std::size_t pending() const {
        const std::lock_guard lock(mutex_);
        return words_.size();
    }

 private:
    void tell(std::string word) {
        const std::lock_guard lock(mutex_);
        words_.push_back(std::move(word));
        changed_.notify_all();
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> words_;
};

class ClampTrackerTest : public testing::Test {
 protected:
    ClampTrackerTest() { limits.pauses = {1ms, 4ms}; }

    void follow() {
        sut = std::make_shared<ClampTracker>(bus.clientServices(), bus.zebExecutor(), recorder, limits);
        sut->start();
        bus.connectService();
        EXPECT_EQ(recorder->next(), "connected");
    }

    // Also takes the words of the first state, which is on.
    void followOn() {
        follow();
        EXPECT_EQ(recorder->next(), "subscribed c15");
        EXPECT_EQ(recorder->next(), "notification");
        EXPECT_EQ(recorder->next(), "on");
    }

    std::shared_ptr<FakeBus::Subscribed> subscription() const { return bus.subscriptions().back(); }

    FakeBus bus;
    ClampTracker::TimeLimits limits;
    const std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    std::shared_ptr<ClampTracker> sut;
};

TEST_F(ClampTrackerTest, ReportsTheFirstState) {
    followOn();
}

TEST_F(ClampTrackerTest, ReportsEveryState) {
    followOn();
    bus.notify(subscription(), clampJson("Clamp15", false));
    EXPECT_EQ(recorder->next(), "notification");
    EXPECT_EQ(recorder->next(), "off");
}

TEST_F(ClampTrackerTest, ReportsThatTheServiceIsGone) {
    followOn();
    bus.disconnectService();
    EXPECT_EQ(recorder->next(), "unknown: service \"ClampControl\" disconnected");
    EXPECT_EQ(recorder->next(), "disconnected");
}

TEST_F(ClampTrackerTest, SaysWhyTheServiceIsGone) {
    followOn();
    bus.tellUnavailable("is switched off");
    bus.disconnectService();
    EXPECT_EQ(recorder->next(), "unknown: service \"ClampControl\" is switched off");
}

TEST_F(ClampTrackerTest, GivesNoEarlierReasonForALossOfWhichThePlatformGivesNone) {
    sut = std::make_shared<ClampTracker>(bus.clientServices(), bus.zebExecutor(), recorder, limits);
    sut->start();
    bus.tellUnavailable("is not reachable");
    EXPECT_EQ(recorder->next(), "unknown: service \"ClampControl\" is not reachable");
    bus.connectService();
    for (const char* word : {"connected", "subscribed c15", "notification", "on"}) {
        EXPECT_EQ(recorder->next(), word);
    }
    bus.disconnectService();
    EXPECT_EQ(recorder->next(), "unknown: service \"ClampControl\" disconnected");
}

TEST_F(ClampTrackerTest, EndsItsSubscriptionWhenTheServiceIsGone) {
    followOn();
    const auto before = subscription();
    bus.disconnectService();
    EXPECT_TRUE(before->released);
}

TEST_F(ClampTrackerTest, SubscribesAgainWhenTheServiceIsBack) {
    followOn();
    bus.disconnectService();
    recorder->next();
    recorder->next();
    bus.connectService();
    EXPECT_EQ(recorder->next(), "connected");
    EXPECT_EQ(recorder->next(), "subscribed c15");
}

TEST_F(ClampTrackerTest, SubscribesAgainWhenTheServerHasEndedTheSubscription) {
    followOn();
    bus.end(subscription(), "404 unavailable_data");
    EXPECT_THAT(recorder->next(),
                HasSubstr("unknown: the subscription of the element of type \"Clamp15\" was "
                          "ended: 404 unavailable_data"));
    EXPECT_EQ(recorder->next(), "subscribed c15");
}

TEST_F(ClampTrackerTest, SaysThatASubscriptionIsRefused) {
    bus.onSubscribe = [this](const auto& subscribed) { bus.end(subscribed, "403 forbidden"); };
    follow();
    EXPECT_THAT(recorder->next(), HasSubstr("was refused: 403 forbidden"));
}

TEST_F(ClampTrackerTest, SaysThatThereIsNoElement) {
    bus.answer = [] { return zeb::ZebResponse(200, R"({"data":[]})"); };
    follow();
    EXPECT_THAT(recorder->next(), HasSubstr("unknown: there is no element of type \"Clamp15\""));
}

TEST_F(ClampTrackerTest, SaysThatTheElementHasNoId) {
    bus.answer = [] { return zeb::ZebResponse(200, R"({"data":[{"type":"Clamp15"}]})"); };
    follow();
    EXPECT_THAT(recorder->next(), HasSubstr("has no usable \"id\""));
}

TEST_F(ClampTrackerTest, SaysWhichStatusALookUpHas) {
    bus.answer = [] { return zeb::ZebResponse(503, ""); };
    follow();
    EXPECT_THAT(recorder->next(), HasSubstr("failed: HTTP status 503"));
}

TEST_F(ClampTrackerTest, SaysWhichExceptionALookUpHas) {
    bus.answer = []() -> zeb::ZebResponse { throw std::runtime_error("mine"); };
    follow();
    EXPECT_THAT(recorder->next(), HasSubstr("reason: mine"));
}

TEST_F(ClampTrackerTest, SaysThatALookUpCannotBeIssued) {
    bus.refuseRequests();
    follow();
    EXPECT_THAT(recorder->next(), HasSubstr("unknown: the look-up of"));
}

TEST_F(ClampTrackerTest, LooksAgainAfterAFailure) {
    bus.answer = [this] {
        bus.answer = [] { return zeb::ZebResponse(200, "{\"data\":[" + clampJson("Clamp15", true) + "]}"); };
        return zeb::ZebResponse(503, "");
    };
    follow();
    recorder->next();
    EXPECT_EQ(recorder->next(), "subscribed c15");
}

TEST_F(ClampTrackerTest, LeavesALookUpThatTakesTooLong) {
    limits.findFirst = 1ms;
    std::promise<void> goOn;
    bus.answer = [isToGoOn = goOn.get_future().share()] {
        isToGoOn.wait();
        return zeb::ZebResponse(503, "");
    };
    follow();
    EXPECT_THAT(recorder->next(), HasSubstr("no answer to the look-up of"));
    bus.disconnectService();
    goOn.set_value();
}

TEST_F(ClampTrackerTest, LeavesASubscriptionWithoutAFirstState) {
    limits.firstNotification = 1ms;
    bus.onSubscribe = [](const auto&) {};
    follow();
    EXPECT_THAT(recorder->next(), HasSubstr("no first state of"));
    bus.disconnectService();
    EXPECT_TRUE(bus.subscriptions().front()->released);
}

TEST_F(ClampTrackerTest, KeepsASubscriptionWhoseFirstStateArrivedInTimeWhileTheThreadWasBusy) {
    limits.firstNotification = 10ms;
    bus.onSubscribe = [this](const auto& subscribed) {
        const auto end = std::chrono::steady_clock::now() + 2 * limits.firstNotification;
        bus.notify(subscribed, clampJson("Clamp15", true));
        while (std::chrono::steady_clock::now() < end) {  // as a callback does that takes long
        }
    };
    followOn();
}

TEST_F(ClampTrackerTest, KeepsASubscriptionWhoseFirstStateCannotBeRead) {
    limits.firstNotification = 1s;
    bus.onSubscribe = [this](const auto& subscribed) {
        bus.notify(subscribed, R"({"id":"c15","type":"Clamp15"})");
    };
    follow();
    EXPECT_EQ(recorder->next(), "subscribed c15");
    EXPECT_EQ(recorder->next(), "notification");
    EXPECT_THAT(recorder->next(), HasSubstr("\"isSwitchedOn\""));
    std::promise<void> limitIsOver;
    bus.zebExecutor()->addAt(
        std::chrono::steady_clock::now() + limits.firstNotification, [&] { limitIsOver.set_value(); },
        "test");
    limitIsOver.get_future().wait();
    bus.notify(subscription(), clampJson("Clamp15", false));
    EXPECT_EQ(recorder->next(), "notification");
    EXPECT_EQ(recorder->next(), "off");
}

TEST_F(ClampTrackerTest, SaysThatDataIsNoElement) {
    followOn();
    bus.notify(subscription(), "[1,2,3]");
    EXPECT_EQ(recorder->next(), "notification");
    EXPECT_THAT(recorder->next(),
                HasSubstr("unknown: the state of the element of type \"Clamp15\" cannot be read: "));
}

TEST_F(ClampTrackerTest, SaysThatThereIsNoState) {
    followOn();
    bus.notify(subscription(), "null");
    EXPECT_EQ(recorder->next(), "notification");
    EXPECT_THAT(recorder->next(), HasSubstr("has no state at present"));
}

TEST_F(ClampTrackerTest, LooksForAnotherElementWhenTheTypeHasChanged) {
    followOn();
    bus.notify(subscription(), clampJson("ClampS", true));
    EXPECT_EQ(recorder->next(), "notification");
    EXPECT_THAT(recorder->next(), HasSubstr("has changed its type"));
    EXPECT_EQ(recorder->next(), "subscribed c15");
}

TEST_F(ClampTrackerTest, SaysWhyTheTypeCannotBeRead) {
    followOn();
    bus.notify(subscription(), R"({"id":"c15","type":"Clamp16","isSwitchedOn":true})");
    EXPECT_EQ(recorder->next(), "notification");
    EXPECT_THAT(recorder->next(), HasSubstr("\"type\" cannot be read: found a string; expected \"Clamp15\""));
}

TEST_F(ClampTrackerTest, ReportsNothingOfASubscriptionThatItHasLeft) {
    followOn();
    const auto before = subscription();
    bus.disconnectService();
    recorder->next();
    recorder->next();
    bus.notify(before, clampJson("Clamp15", true));
    bus.settle();
    EXPECT_EQ(recorder->pending(), 0U);
}

TEST_F(ClampTrackerTest, ReportsNothingOnceItIsDestroyed) {
    followOn();
    const auto before = subscription();
    sut.reset();
    bus.notify(before, clampJson("Clamp15", false));
    bus.settle();
    EXPECT_EQ(recorder->pending(), 0U);
}

TEST(RetryPause, DoublesUpToItsLimit) {
    RetryPause sut({500ms, 1500ms});
    EXPECT_EQ(sut.next(), 500ms);
    EXPECT_EQ(sut.next(), 1000ms);
    EXPECT_EQ(sut.next(), 1500ms);
    EXPECT_EQ(sut.next(), 1500ms);
}

TEST(RetryPause, CanStartOver) {
    RetryPause sut({500ms, 1500ms});
    sut.next();
    sut.startOver();
    EXPECT_EQ(sut.next(), 500ms);
}

}  // namespace
