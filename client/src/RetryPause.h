#pragma once

#include <algorithm>
#include <chrono>

namespace clampcontrolclient {

/// The pauses between attempts: each twice as long as the one before, up to a limit. A plain value.
class RetryPause {
 public:
    struct Limits {
        std::chrono::milliseconds first{500};
        std::chrono::milliseconds longest{10000};
    };

    explicit RetryPause(Limits limits) : limits_(limits), next_(limits.first) {}

    std::chrono::milliseconds next() {
        const auto pause = next_;
        next_ = std::min(2 * next_, limits_.longest);
        return pause;
    }

    void startOver() { next_ = limits_.first; }

 private:
    Limits limits_;
    std::chrono::milliseconds next_;
};

}  // namespace clampcontrolclient
