#include "WaitingCalls.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace kelo_client {

struct WaitingCalls::Call::State {
    std::function<void()> wake;
    std::atomic<const char*> endReason = nullptr;

    void end(const char* reason) {
        endReason = reason;
        wake();
    }
};

WaitingCalls::Call::Call(WaitingCalls& calls, std::function<void()> wake)
    : calls_(calls), state_(std::make_shared<State>()) {
    state_->wake = std::move(wake);
    const char* closedBecause = nullptr;
    {
        const std::lock_guard lock(calls_.mutex_);
        closedBecause = calls_.closedBecause_;
        if (closedBecause == nullptr) {
            calls_.waiting_.push_back(state_);
        }
    }
    if (closedBecause != nullptr) {
        state_->end(closedBecause);
    }
}

WaitingCalls::Call::~Call() {
    const std::lock_guard lock(calls_.mutex_);
    auto& waiting = calls_.waiting_;
    waiting.erase(std::remove(waiting.begin(), waiting.end(), state_), waiting.end());
}

const char* WaitingCalls::Call::endReason() const {
    return state_->endReason;
}

void WaitingCalls::end(const char* reason) {
    std::vector<std::shared_ptr<Call::State>> ended;
    {
        const std::lock_guard lock(mutex_);
        ended.swap(waiting_);
    }
    for (const auto& call : ended) {
        call->end(reason);
    }
}

void WaitingCalls::close(const char* reason) {
    {
        const std::lock_guard lock(mutex_);
        if (closedBecause_ == nullptr) {
            closedBecause_ = reason;
        }
    }
    end(reason);
}

}  // namespace kelo_client
