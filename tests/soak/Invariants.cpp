#include "Invariants.h"

#include <utility>

namespace soak {

namespace {

std::string stateText(bool isOn) {
    return isOn ? "\"on\"" : "\"off\"";
}

}  // namespace

CallbackInvariants::CallbackInvariants(Violation violation) : violation_(std::move(violation)) {}

void CallbackInvariants::connectionState(bool isConnected) {
    const std::lock_guard lock(mutex_);
    const std::string word = isConnected ? "connected" : "disconnected";
    if (hasEnded_) {
        violation_("reported \"" + word + "\" after the client had ended");
    }
    if (isConnected == isConnected_) {
        violation_("reported \"" + word + "\" twice in a row, or \"disconnected\" first");
    }
    isConnected_ = isConnected;
    if (isConnected) {
        ++connections_;
        return;
    }
    if (phase_ == Phase::Subscribed) {
        phase_ = Phase::None;
    }
    replaces_ = false;
    lostMeanwhile_ = true;
    toldMeanwhile_ = 0;
    mayTellOneMore_ = false;
    awaitsState_ = false;
    lastState_.reset();
}

bool CallbackInvariants::mayBeTold(const char* what) {
    const std::string text(what);
    if (hasEnded_) {
        violation_("reported " + text + " after the client had ended");
        return false;
    }
    if (!isConnected_) {
        violation_("reported " + text + " outside a connection");
        return false;
    }
    if (phase_ == Phase::None) {
        if (!mayTellOneMore_) {
            violation_("reported " + text + " without a subscription");
            return false;
        }
        mayTellOneMore_ = false;
        ++callsInTheGap_;
    } else if (phase_ == Phase::Subscribing) {
        ++toldMeanwhile_;
    }
    return true;
}

void CallbackInvariants::notification() {
    const std::lock_guard lock(mutex_);
    if (!mayBeTold("a notification")) {
        return;
    }
    if (awaitsState_ && !std::exchange(mayBreakPair_, false)) {
        violation_("reported a second notification before the state of the first");
    }
    awaitsState_ = true;
}

void CallbackInvariants::state(bool isOn) {
    const std::lock_guard lock(mutex_);
    if (!mayBeTold("a state")) {
        return;
    }
    if (!std::exchange(awaitsState_, false)) {
        violation_("reported a state without its notification");
    }
    if (lastState_ == isOn && !std::exchange(mayBreakOrder_, false)) {
        violation_("reported " + stateText(isOn) + " twice in a row: one was lost or repeated");
    }
    lastState_ = isOn;
    ++states_;
}

void CallbackInvariants::subscribeBegins() {
    const std::lock_guard lock(mutex_);
    replaces_ = phase_ == Phase::Subscribed;
    mayBreakPair_ = mayBreakOrder_ = replaces_;
    if (!replaces_) {
        awaitsState_ = false;
        lastState_.reset();
    }
    toldMeanwhile_ = 0;
    lostMeanwhile_ = false;
    phase_ = Phase::Subscribing;
}

void CallbackInvariants::subscribeReturned(bool wasRefused) {
    const std::lock_guard lock(mutex_);
    if (!wasRefused) {
        phase_ = Phase::Subscribed;
        return;
    }
    if (toldMeanwhile_ > 0 && !replaces_ && isConnected_) {
        violation_("reported something for a subscription that was then refused");
    }
    // The previous subscription may still exist. The application cannot know, so it ends it.
    phase_ = replaces_ ? Phase::Subscribed : Phase::None;
}

void CallbackInvariants::unsubscribeReturned() {
    const std::lock_guard lock(mutex_);
    mayTellOneMore_ = phase_ == Phase::Subscribed;
    phase_ = Phase::None;
}

void CallbackInvariants::settled() {
    const std::lock_guard lock(mutex_);
    mayTellOneMore_ = mayBreakPair_ = mayBreakOrder_ = false;
}

void CallbackInvariants::clientEnded() {
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
}

bool CallbackInvariants::isConnected() const {
    const std::lock_guard lock(mutex_);
    return isConnected_;
}

bool CallbackInvariants::isSubscribed() const {
    const std::lock_guard lock(mutex_);
    return isConnected_ && phase_ == Phase::Subscribed && !lostMeanwhile_;
}

std::optional<bool> CallbackInvariants::lastState() const {
    const std::lock_guard lock(mutex_);
    return lastState_;
}

std::uint64_t CallbackInvariants::states() const {
    const std::lock_guard lock(mutex_);
    return states_;
}

std::uint64_t CallbackInvariants::connections() const {
    const std::lock_guard lock(mutex_);
    return connections_;
}

std::uint64_t CallbackInvariants::callsInTheGap() const {
    const std::lock_guard lock(mutex_);
    return callsInTheGap_;
}

void CountingSubscription::told(std::uint64_t value) {
    const std::uint64_t before = last_;
    if (hasEnded_) {
        violation_("value " + std::to_string(value) + " reported after its subscription had ended");
    }
    if (before != 0 && value != before + 1) {
        violation_("value " + std::to_string(value) + " reported after " + std::to_string(before));
    }
    last_ = value;
}

}  // namespace soak
