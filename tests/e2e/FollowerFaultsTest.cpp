// An application of five lines, which follows the terminal through every fault of the table: it never claims
// a state that it cannot know, and it knows the state again once the fault is gone.

#include <clampcontrolclient/ClampFollower.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "FaultScene.h"

namespace {

using namespace std::chrono_literals;
using clampcontrolclient::ClampFollower;
using clampcontrolclient::ClampState;
using clampcontrolclient::ClampStatus;
using e2e::Fault;
using e2e::kLimit;
using e2e::Moment;
using e2e::Outcome;

// How long the tests wait to see that nothing is claimed.
constexpr std::chrono::milliseconds kQuiet = 200ms;

ClampState stateOf(bool isOn) {
    return isOn ? ClampState::On : ClampState::Off;
}

class FollowerFaults : public e2e::FaultScene, public testing::WithParamInterface<e2e::FaultCase> {
 protected:
    FollowerFaults() : FaultScene(GetParam()) {}

    void TearDown() override {
        follower_.reset();
        clampcontrolclient::ClampControlClient().Stop();
        FaultScene::TearDown();
    }

    // The application of five lines.
    void follow() {
        follower_.emplace([this](const ClampStatus& status) { tell(status); });
    }

    void tell(const ClampStatus& status) {
        EXPECT_EQ(status.state == ClampState::Unknown, !status.reason.empty()) << status.reason;
        EXPECT_FALSE(status.state != ClampState::Unknown && mustBeUnknown_)
            << to_string(status.state) << " was claimed while nothing could be known";
        if (status.state == ClampState::Unknown) {
            const std::lock_guard lock(mutex_);
            ++losses_;
            changed_.notify_all();
        }
    }

    std::size_t losses() const {
        const std::lock_guard lock(mutex_);
        return losses_;
    }

    ClampStatus status() const { return follower_->status(); }

    void expectUnknownAllTheTime() {
        mustBeUnknown_ = true;
        const auto end = std::chrono::steady_clock::now() + kQuiet;
        while (std::chrono::steady_clock::now() < end) {
            ASSERT_EQ(status().state, ClampState::Unknown);
            std::this_thread::sleep_for(1ms);
        }
    }

    // The fault is gone, and everything is known again: first the state that the bus has, then its changes.
    void expectKnown(std::chrono::milliseconds limit = kLimit) {
        mustBeUnknown_ = false;
        clear();
        if (fault() == Fault::ElementDeleted) {
            isOnAtTheBus_ = false;  // as it was at first
        }
        ASSERT_TRUE(follower_->waitFor(stateOf(isOnAtTheBus_), limit)) << status().reason;
        for (const bool isOn : {true, false}) {
            changeTo(isOn);
            ASSERT_TRUE(follower_->waitFor(stateOf(isOn), limit)) << status().reason;
        }
    }

    // Whether the bus can be reached again, if only for moments, as soon as the fault has shown itself.
    bool isMomentary() const {
        switch (fault()) {
            case Fault::Reset:
            case Fault::ResetWithinFrame:
            case Fault::EndOfStream:
            case Fault::CloseWithCode:
            case Fault::GarbageFrame:
            case Fault::NoUtf8:
            case Fault::OversizedMessage:
            case Fault::RegistryFlaps:
                return true;
            default:
                return false;
        }
    }

    // The follower must lose the state, and may not find it before the bus can be reached again.
    void expectLoss(std::size_t lossesBefore) {
        {
            std::unique_lock lock(mutex_);
            ASSERT_TRUE(changed_.wait_for(lock, within(), [&] { return losses_ > lossesBefore; }))
                << "it still claims a state";
        }
        if (!isMomentary()) {
            expectUnknownAllTheTime();
        }
        expectKnown();
    }

    void changeTo(bool isOn) {
        change(isOn);
        isOnAtTheBus_ = isOn;
    }

    void beforeConnect() {
        apply();
        follow();
        if (outcome() == Outcome::Waits) {
            expectUnknownAllTheTime();
        }
        expectKnown();
    }

    void duringTheHandshake() {
        proxy().hold();
        follow();
        ASSERT_TRUE(proxy().waitForHeldBytes(kLimit));
        apply();
        if (!e2e::keepsWhatIsHeld(fault())) {
            proxy().release();
        }
        if (outcome() == Outcome::Waits) {
            expectUnknownAllTheTime();
        }
        expectKnown();
    }

    // A connection that is there already.
    void connectFirst() { connectClient(); }

    void whileItLooksUp() {
        connectFirst();
        apply();
        follow();
        if (outcome() == Outcome::Refused) {
            expectUnknownAllTheTime();
        }
        expectKnown();
    }

    void beforeTheFirstNotification() {
        connectFirst();
        bus.withholdFirstNotifications();
        follow();
        ASSERT_TRUE(bus.waitForSubscribers(kClamp15, 1, kLimit));
        apply();
        if (outcome() == Outcome::GoesOn) {
            bus.releaseFirstNotifications();
        } else {
            expectUnknownAllTheTime();
        }
        expectKnown();
    }

    void whileItFollows() {
        follow();
        changeTo(true);
        ASSERT_TRUE(follower_->waitFor(ClampState::On, kLimit)) << status().reason;
        const std::size_t lossesBefore = losses();
        apply();
        switch (outcome()) {
            case Outcome::Disconnected:
            case Outcome::Ended:
                changeBack();
                expectLoss(lossesBefore);
                break;
            case Outcome::OneLost:
                changeTo(true);
                changeTo(false);  // is lost
                changeTo(false);
                ASSERT_TRUE(follower_->waitFor(ClampState::Off, kLimit));
                expectKnown();
                break;
            default:
                if (canChange()) {
                    changeTo(false);
                    ASSERT_TRUE(follower_->waitFor(ClampState::Off, kLimit)) << status().reason;
                }
                expectKnown();
        }
    }

    // Whatever the follower still claims, it is not that any more.
    void changeBack() {
        if (canChange()) {
            changeTo(false);
        }
    }

    void whenAClientIsStopped() {
        connectFirst();
        follow();
        ASSERT_TRUE(follower_->waitFor(ClampState::Off, kLimit)) << status().reason;
        apply();
        client->Stop();
        EXPECT_NE(status().reason.find("stopped"), std::string::npos) << status().reason;
        expectUnknownAllTheTime();
        clear();
        expectUnknownAllTheTime();
    }

 private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t losses_ = 0;  ///< how often the state was said to be unknown
    std::optional<ClampFollower> follower_;
    std::atomic<bool> mustBeUnknown_ = false;
    bool isOnAtTheBus_ = false;
};

std::vector<e2e::FaultCase> casesOfAFollower() {
    std::vector<e2e::FaultCase> cases;
    for (const e2e::FaultCase& one : e2e::allFaultCases()) {
        switch (one.when()) {
            case Moment::Unsubscribe:  // a follower has none
                break;
            case Moment::Stop:
                // Without a connection there is no state to lose.
                if (one.row->fault != Fault::SilentNameServer) {
                    cases.push_back(one);
                }
                break;
            default:
                cases.push_back(one);
        }
    }
    return cases;
}

TEST_P(FollowerFaults, NeverMakeItClaimWhatItCannotKnow) {
    switch (moment()) {
        case Moment::BeforeConnect:
            beforeConnect();
            break;
        case Moment::Handshake:
            duringTheHandshake();
            break;
        case Moment::FindFirst:
            whileItLooksUp();
            break;
        case Moment::FirstNotification:
            beforeTheFirstNotification();
            break;
        case Moment::Idle:
        case Moment::Stream:
            whileItFollows();
            break;
        default:
            whenAClientIsStopped();
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, FollowerFaults, testing::ValuesIn(casesOfAFollower()), e2e::nameOf);

}  // namespace
