#include <clampcontrolclient/ClampFollower.h>
#include <csc_logging/CSCLogging.h>
#include <gmock/gmock.h>

#include <deque>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "ClientFixture.h"

namespace {

using clampcontrolclient::ClampFollower;
using clampcontrolclient::ClampState;
using clampcontrolclient::ClampStatus;
using e2e::kLimit;
using testing::HasSubstr;
using namespace std::chrono_literals;

/// The statuses that a follower has told, in order.
class Told {
 public:
    ClampFollower::Handler handler() {
        return [this](const ClampStatus& status) {
            const std::lock_guard lock(mutex_);
            statuses_.push_back(status);
            changed_.notify_all();
        };
    }

    /// The next one.
    ClampStatus next() {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, kLimit, [this] { return !statuses_.empty(); })) {
            ADD_FAILURE() << "nothing was told";
            return {};
        }
        ClampStatus status = std::move(statuses_.front());
        statuses_.pop_front();
        return status;
    }

    /// The reason of the next unknown state that has this in it.
    std::string reasonWith(const std::string& text) {
        for (;;) {
            const ClampStatus status = next();
            if (status.reason.empty() || status.reason.find(text) != std::string::npos) {
                return status.reason;
            }
        }
    }

    std::size_t count() const {
        const std::lock_guard lock(mutex_);
        return statuses_.size();
    }

 private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<ClampStatus> statuses_;
};

class Follower : public e2e::ClientFixture {
 protected:
    void configure() { writeConfiguration(staticConfiguration()); }

    // Also waits for the first state, which is off.
    void follow() {
        configure();
        follower.emplace(told.handler());
        ASSERT_EQ(told.next().state, ClampState::Off);
    }

    void TearDown() override {
        follower.reset();
        clampcontrolclient::ClampControlClient().Stop();
    }

    Told told;
    std::optional<ClampFollower> follower;
};

TEST_F(Follower, TellsTheStateOfTheTerminal) {
    follow();
    setClamp15(true);
    EXPECT_EQ(told.next().state, ClampState::On);
    setClamp15(false);
    EXPECT_EQ(told.next().state, ClampState::Off);
}

TEST_F(Follower, KnowsNothingAtFirst) {
    configure();
    bus.ignoreHttp("/");
    follower.emplace();
    EXPECT_EQ(follower->status().state, ClampState::Unknown);
    EXPECT_THAT(follower->status().reason, HasSubstr("waiting for the service"));
}

TEST_F(Follower, HasTheStateThatItHasTold) {
    follow();
    EXPECT_EQ(follower->status().state, ClampState::Off);
    EXPECT_EQ(follower->status().reason, "");
}

TEST_F(Follower, SaysSinceWhenTheStateLasts) {
    const auto before = std::chrono::steady_clock::now();
    follow();
    const auto since = follower->status().since;
    EXPECT_GE(since, before);
    EXPECT_LE(since, std::chrono::steady_clock::now());
    setClamp15(false);  // a notification without a change
    setClamp15(true);
    told.next();
    EXPECT_GT(follower->status().since, since);
}

TEST_F(Follower, TellsNoStateTwice) {
    follow();
    setClamp15(false);
    setClamp15(false);
    setClamp15(true);
    EXPECT_EQ(told.next().state, ClampState::On);
}

TEST_F(Follower, WaitsForAState) {
    follow();
    auto reached =
        std::async(std::launch::async, [this] { return follower->waitFor(ClampState::On, kLimit); });
    setClamp15(true);
    EXPECT_TRUE(reached.get());
}

TEST_F(Follower, WaitsNoLongerThanItIsAllowedTo) {
    follow();
    EXPECT_FALSE(follower->waitFor(ClampState::On, 10ms));
}

TEST_F(Follower, DoesNotWaitForTheStateThatIsThere) {
    follow();
    EXPECT_TRUE(follower->waitFor(ClampState::Off, 0ms));
}

TEST_F(Follower, RefusesToWaitInsideItsHandler) {
    configure();
    std::promise<void> isMade;
    std::promise<bool> result;
    follower.emplace([&](const ClampStatus& status) {
        if (status.state == ClampState::Off) {
            isMade.get_future().wait();  // the handler may be called before the constructor returns
            result.set_value(follower->waitFor(ClampState::Off, kLimit));
        }
    });
    isMade.set_value();
    EXPECT_FALSE(result.get_future().get());
    follower.reset();  // waits for the handler, which uses the promises
}

TEST_F(Follower, KnowsNothingAfterTheServiceIsLost) {
    follow();
    bus.setServiceAvailable("ClampControl", false);
    const ClampStatus status = told.next();
    EXPECT_EQ(status.state, ClampState::Unknown);
    EXPECT_THAT(status.reason, HasSubstr("disconnected"));
}

TEST_F(Follower, FindsTheStateAgainAfterTheServiceWasLost) {
    follow();
    bus.setServiceAvailable("ClampControl", false);
    told.next();
    setClamp15(true);
    bus.setServiceAvailable("ClampControl", true);
    EXPECT_TRUE(follower->waitFor(ClampState::On, kLimit));
}

TEST_F(Follower, KnowsNothingWhileTheElementIsAway) {
    follow();
    const std::string element = bus.element(kClamp15);
    bus.removeElement(kClamp15);
    const ClampStatus ended = told.next();
    EXPECT_EQ(ended.state, ClampState::Unknown);
    EXPECT_THAT(ended.reason, HasSubstr("was ended: 404"));
    EXPECT_THAT(told.next().reason, HasSubstr("there is no element of type \"Clamp15\" at " + bus.baseUri()));
    bus.addElement(kClamp15, element);
    EXPECT_EQ(told.next().state, ClampState::Off);
}

TEST_F(Follower, FindsAnElementThatCameBackWithAnotherState) {
    follow();
    const std::string element = bus.element(kClamp15);
    bus.removeElement(kClamp15);
    bus.addElement(kClamp15, element);
    setClamp15(true);
    EXPECT_TRUE(follower->waitFor(ClampState::On, kLimit));
}

TEST_F(Follower, KnowsNothingOfAStateThatCannotBeRead) {
    follow();
    bus.set(kClamp15, R"({"isSwitchedOn":"yes"})");
    const ClampStatus status = told.next();
    EXPECT_EQ(status.state, ClampState::Unknown);
    EXPECT_THAT(status.reason, HasSubstr("\"isSwitchedOn\""));
    setClamp15(true);
    EXPECT_EQ(told.next().state, ClampState::On);
}

TEST_F(Follower, KnowsNothingOfAnElementOfAnotherType) {
    follow();
    bus.set(kClamp15, R"({"type":"ClampS"})");
    const ClampStatus status = told.next();
    EXPECT_EQ(status.state, ClampState::Unknown);
    EXPECT_THAT(status.reason, HasSubstr("has changed its type"));
    bus.set(kClamp15, R"({"type":"Clamp15"})");
    EXPECT_TRUE(follower->waitFor(ClampState::Off, kLimit));
}

TEST_F(Follower, SaysWhyTheServiceIsNotReachable) {
    configure();
    bus.stop();
    follower.emplace(told.handler());
    const std::string reason = told.next().reason;
    EXPECT_THAT(reason, HasSubstr("service \"ClampControl\" not reachable at " + bus.baseUri()));
    EXPECT_THAT(reason, HasSubstr("Connection refused"));
}

TEST_F(Follower, SaysThatALookUpIsRefused) {
    configure();
    bus.answerHttp("/ClampControl/clamps", 503, "");
    follower.emplace(told.handler());
    EXPECT_THAT(told.next().reason, HasSubstr("failed: HTTP status 503"));
    bus.clearHttpFaults();
    EXPECT_TRUE(follower->waitFor(ClampState::Off, kLimit));
}

TEST_F(Follower, KnowsNothingOnceAClientWasStopped) {
    follow();
    clampcontrolclient::ClampControlClient().Stop();
    EXPECT_EQ(follower->status().state, ClampState::Unknown);
    EXPECT_THAT(follower->status().reason, HasSubstr("were stopped"));
}

TEST_F(Follower, IsToldBeforeStopReturnsThatNothingFollows) {
    follow();
    clampcontrolclient::ClampControlClient().Stop();
    ASSERT_EQ(told.count(), 1U);
    EXPECT_THAT(told.next().reason, HasSubstr("were stopped"));
}

TEST_F(Follower, SaysThatTheClientsWereStoppedBeforeItWasMade) {
    configure();
    clampcontrolclient::ClampControlClient().Stop();
    follower.emplace();
    EXPECT_EQ(follower->status().state, ClampState::Unknown);
    EXPECT_THAT(follower->status().reason, HasSubstr("were stopped"));
}

TEST_F(Follower, WaitsForNothingIfTheClientsWereStoppedBeforeItWasMade) {
    configure();
    clampcontrolclient::ClampControlClient().Stop();
    follower.emplace();
    EXPECT_FALSE(follower->waitFor(ClampState::On, std::chrono::hours(1)));
}

TEST_F(Follower, WaitsForNothingOnceAClientWasStopped) {
    follow();
    auto reached =
        std::async(std::launch::async, [this] { return follower->waitFor(ClampState::On, kLimit); });
    clampcontrolclient::ClampControlClient().Stop();
    EXPECT_FALSE(reached.get());
}

TEST_F(Follower, MayStopTheClientsInItsHandler) {
    configure();
    clampcontrolclient::ClampControlClient stopping;
    std::promise<void> isTold;
    follower.emplace([&](const ClampStatus& status) {
        if (status.state == ClampState::Off) {
            stopping.Stop();
        } else if (status.reason.find("were stopped") != std::string::npos) {
            isTold.set_value();
        }
    });
    EXPECT_EQ(isTold.get_future().wait_for(kLimit), std::future_status::ready);
    follower.reset();  // waits for the handler, which uses the promise
}

TEST_F(Follower, MayBeDestroyedInItsHandler) {
    configure();
    std::promise<void> isMade;
    std::promise<void> isDestroyed;
    std::optional<ClampFollower> mine;
    mine.emplace([&](const ClampStatus& status) {
        if (status.state == ClampState::Off) {
            isMade.get_future().wait();  // the handler may be called before the constructor returns
            mine.reset();
            isDestroyed.set_value();
        }
    });
    isMade.set_value();
    EXPECT_EQ(isDestroyed.get_future().wait_for(kLimit), std::future_status::ready);
}

TEST_F(Follower, CallsNothingOnceItIsDestroyed) {
    follow();
    follower.reset();
    setClamp15(true);
    ClampFollower other;
    ASSERT_TRUE(other.waitFor(ClampState::On, kLimit));
    EXPECT_EQ(told.count(), 0U);
}

TEST_F(Follower, EndsItsSubscriptionWhenItIsDestroyed) {
    follow();
    ASSERT_TRUE(bus.waitForSubscribers(kClamp15, 1, kLimit));
    follower.reset();
    EXPECT_TRUE(bus.waitForSubscribers(kClamp15, 0, kLimit));
}

TEST_F(Follower, WorksBesideOthers) {
    follow();
    Told others;
    ClampFollower other(others.handler());
    EXPECT_EQ(others.next().state, ClampState::Off);
    follower.reset();
    setClamp15(true);
    EXPECT_EQ(others.next().state, ClampState::On);
}

TEST_F(Follower, WorksBesideAClient) {
    follow();
    subscribeClient();
    setClamp15(true);
    EXPECT_EQ(told.next().state, ClampState::On);
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "on");
}

TEST_F(Follower, GoesOnAfterAHandlerThatThrows) {
    configure();
    follower.emplace([this](const ClampStatus& status) {
        told.handler()(status);
        throw std::runtime_error("mine");
    });
    EXPECT_EQ(told.next().state, ClampState::Off);
    setClamp15(true);
    EXPECT_EQ(told.next().state, ClampState::On);
}

TEST_F(Follower, NoticesALostConnectionWhileACallbackBlocks) {
    configure();
    std::promise<void> isBlocked;
    std::promise<void> goOn;
    follower.emplace([&](const ClampStatus& status) {
        if (status.state == ClampState::On) {
            isBlocked.set_value();
            goOn.get_future().wait();
        }
    });
    ASSERT_TRUE(follower->waitFor(ClampState::Off, kLimit));
    setClamp15(true);
    isBlocked.get_future().wait();
    EXPECT_EQ(follower->status().state, ClampState::On);
    bus.stop();
    const auto deadline = std::chrono::steady_clock::now() + kLimit;
    while (follower->status().state != ClampState::Unknown && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();  // nothing is told, since the thread that would is blocked
    }
    EXPECT_EQ(follower->status().state, ClampState::Unknown);
    goOn.set_value();
    follower.reset();  // waits for the handler, which uses the promises
}

TEST_F(Follower, SaysOfADeadPeerThatItIsDead) {
    writeConfiguration(
        R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{"serverBaseUri":")" +
        bus.baseUri() + R"(","serverBasePathHTTP":"/","watchdogTimeout":100}}})");
    follower.emplace(told.handler());
    ASSERT_EQ(told.next().state, ClampState::Off);
    bus.freezeConnections("ClampControl");
    EXPECT_THAT(told.next().reason, HasSubstr("disconnected"));
}

}  // namespace
