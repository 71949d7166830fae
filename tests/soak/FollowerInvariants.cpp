#include "FollowerInvariants.h"

#include <utility>

namespace soak {

using clampcontrolclient::ClampStatus;

FollowerInvariants::FollowerInvariants(Violation violation) : violation_(std::move(violation)) {}

void FollowerInvariants::mayReport(const char* what) {
    if (hasEnded_) {
        violation_(std::string("reported ") + what + " after the follower had ended");
    }
}

void FollowerInvariants::connection(bool isConnected) {
    const std::lock_guard lock(mutex_);
    mayReport("a connection state");
    if (isConnected == isConnected_) {
        violation_("reported the same connection state twice in a row, or \"disconnected\" first");
    }
    if (!isConnected && state_ != State::Unknown) {
        violation_("still claims a state when it reports that the service disconnected");
    }
    isConnected_ = isConnected;
    isSubscribed_ = false;
    terminal_.reset();
}

void FollowerInvariants::subscribed() {
    const std::lock_guard lock(mutex_);
    mayReport("a subscription");
    if (!isConnected_) {
        violation_("reported a subscription outside a connection");
    }
    isSubscribed_ = true;
    isNotified_ = false;
    terminal_.reset();
}

void FollowerInvariants::notification() {
    const std::lock_guard lock(mutex_);
    mayReport("a notification");
    if (!isSubscribed_) {
        violation_("reported a notification without a subscription");
    }
    isNotified_ = true;
}

void FollowerInvariants::clamp15(bool isOn) {
    const std::lock_guard lock(mutex_);
    mayReport("a state");
    if (!std::exchange(isNotified_, false)) {
        violation_("reported a state without its notification");
    }
    if (terminal_ == isOn) {
        violation_(std::string("reported \"") + (isOn ? "on" : "off") +
                   "\" twice in a row: one was lost or repeated");
    }
    terminal_ = isOn;
}

void FollowerInvariants::change(const ClampStatus& status) {
    const std::lock_guard lock(mutex_);
    mayReport("a change");
    if (status.state == state_ && (status.state != State::Unknown || status.reason == reason_)) {
        violation_("reported \"" + std::string(to_string(status.state)) + "\" twice in a row");
    }
    if (status.reason.empty() == (status.state == State::Unknown)) {
        violation_("reported \"" + std::string(to_string(status.state)) + "\" with the reason \"" +
                   status.reason + "\"");
    }
    if (status.since < since_) {
        violation_("reported a change that began before the last one");
    }
    if (status.state != State::Unknown) {
        if (!isSubscribed_ || terminal_ != (status.state == State::On)) {
            violation_("claims \"" + std::string(to_string(status.state)) + "\", which no notification said");
        }
        timesKnown_ += state_ == State::Unknown ? 1 : 0;
    }
    state_ = status.state;
    reason_ = status.reason;
    since_ = status.since;
}

void FollowerInvariants::ended() {
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
}

void FollowerInvariants::statusWhileLost(const ClampStatus& status) {
    if (status.state != State::Unknown) {
        violation_("claims \"" + std::string(to_string(status.state)) + "\" although the service is lost");
    }
    if (status.state == State::Unknown && status.reason.empty()) {
        violation_("gives no reason for \"unknown\"");
    }
}

std::uint64_t FollowerInvariants::timesKnown() const {
    const std::lock_guard lock(mutex_);
    return timesKnown_;
}

}  // namespace soak
