#include "FollowingApplication.h"

#include <string>
#include <thread>

namespace soak {

using clampcontrolclient::ClampFollower;
using clampcontrolclient::ClampState;
using clampcontrolclient::ClampStatus;
using std::chrono::milliseconds;

namespace {

// What is on its way when the element is removed has arrived by then.
constexpr milliseconds kOnTheWay{200};

}  // namespace

FollowingApplication::FollowingApplication(const Violation& violation)
    : violation_(violation),
      invariants_(violation),
      follower_(std::make_unique<ClampFollower>(
          [this](const ClampStatus& status) {
              invariants_.change(status);
              destroyIfAsked();
          },
          events())) {}

ClampFollower::Events FollowingApplication::events() {
    ClampFollower::Events events;
    events.connection = [this](bool isConnected) { invariants_.connection(isConnected); };
    events.subscribed = [this](const std::string& /*uuid*/) { invariants_.subscribed(); };
    events.notification = [this] { invariants_.notification(); };
    events.clamp15 = [this](bool isOn) {
        invariants_.clamp15(isOn);
        destroyIfAsked();
    };
    return events;
}

void FollowingApplication::destroyIfAsked() {
    if (destroysInReport_.exchange(false)) {
        destroy();
        destroyedInReport_.set_value();
    }
}

void FollowingApplication::destroyInNextReport(milliseconds limit) {
    auto isDestroyed = destroyedInReport_.get_future();
    destroysInReport_ = true;
    if (isDestroyed.wait_for(limit) == std::future_status::ready) {
        return;
    }
    if (destroysInReport_.exchange(false)) {
        destroy();
    } else {
        isDestroyed.wait();
    }
}

void FollowingApplication::destroy() {
    follower_.reset();
    invariants_.ended();
}

bool FollowingApplication::waitFor(ClampState state, milliseconds limit) const {
    return follower_->waitFor(state, limit);
}

void FollowingApplication::checkThatItLearnsOfTheRemoval(milliseconds limit) {
    if (!waitFor(ClampState::Unknown, limit)) {
        violation_("claims a state although the element was removed");
        return;
    }
    std::this_thread::sleep_for(kOnTheWay);
    if (!has(ClampState::Unknown)) {
        violation_("claims a state although there is no element");
    }
}

}  // namespace soak
