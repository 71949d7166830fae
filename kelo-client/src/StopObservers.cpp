#include "StopObservers.h"

#include <algorithm>

namespace kelo_client {

void StopObservers::add(const std::shared_ptr<StopObserver>& observer) {
    const char* stoppedBecause = nullptr;
    {
        const std::lock_guard lock(mutex_);
        stoppedBecause = stoppedBecause_;
        if (stoppedBecause == nullptr) {
            observers_.erase(std::remove_if(observers_.begin(), observers_.end(),
                                            [](const auto& other) { return other.expired(); }),
                             observers_.end());
            observers_.push_back(observer);
        }
    }
    if (stoppedBecause != nullptr) {
        observer->onStopping(stoppedBecause);
    }
}

bool StopObservers::areStopped() const {
    const std::lock_guard lock(mutex_);
    return stoppedBecause_ != nullptr;
}

void StopObservers::tellStopping(const char* reason) noexcept {
    {
        const std::lock_guard lock(mutex_);
        if (stoppedBecause_ != nullptr) {
            return;
        }
        stoppedBecause_ = reason;
    }
    tellEach([reason](StopObserver& observer) { observer.onStopping(reason); });
}

void StopObservers::tellStopped() noexcept {
    if (areStopped()) {
        tellEach([](StopObserver& observer) { observer.onStopped(); });
    }
}

// One that throws, for want of memory, does not keep the others from being told. There is no memory for a
// line in the log either.
template <typename Tell>
void StopObservers::tellEach(Tell tell) noexcept {
    for (const auto& weak : observers_) {
        if (const auto observer = weak.lock()) {
            try {
                tell(*observer);
            } catch (...) {
                continue;
            }
        }
    }
}

}  // namespace kelo_client
