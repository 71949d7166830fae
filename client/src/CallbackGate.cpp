#include "CallbackGate.h"

namespace clampcontrolclient {

namespace {

thread_local bool insideCallback = false;

}  // namespace

CallbackGate::Passage::Passage(CallbackGate& gate)
    : gate_(gate), admitted_(gate.enter()), wasInside_(insideCallback) {
    if (admitted_) {
        insideCallback = true;
    }
}

CallbackGate::Passage::~Passage() {
    insideCallback = wasInside_;
    if (admitted_) {
        gate_.leave();
    }
}

bool CallbackGate::isInsideCallback() {
    return insideCallback;
}

bool CallbackGate::enter() {
    auto state = state_.load();
    while ((state & kClosedFlag) == 0) {
        if (state_.compare_exchange_weak(state, state + 1)) {
            return true;
        }
    }
    return false;
}

void CallbackGate::leave() {
    // No call enters a closed gate, so only one call can be the last to leave, and the promise is set only
    // once.
    if (state_.fetch_sub(1) == (kClosedFlag | 1U)) {
        drained_.set_value();
    }
}

void CallbackGate::close() {
    const auto before = state_.fetch_or(kClosedFlag);
    if ((before & ~kClosedFlag) != 0 && !insideCallback) {
        whenDrained_.wait();
    }
}

}  // namespace clampcontrolclient
