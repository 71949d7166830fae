#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace zeb {

/// Remembers which reasons were told, so that each is told once, however often it comes, and however many
/// different ones a server makes up. Not thread-safe.
class ToldReasons {
 public:
    using Clock = std::chrono::steady_clock;

    /// So many are told; then no new one is for a while.
    static constexpr std::size_t kMost = 64;
    static constexpr std::chrono::minutes kMemory{10};

    /// Whether to tell `reason` now.
    bool isNew(const std::string& reason, Clock::time_point now = Clock::now()) {
        if (told_.size() == kMost && now - lastTold_ >= kMemory) {
            told_.clear();
        }
        const std::size_t hash = std::hash<std::string>()(reason);
        if (told_.size() == kMost || std::find(told_.begin(), told_.end(), hash) != told_.end()) {
            return false;
        }
        told_.push_back(hash);
        lastTold_ = now;
        return true;
    }

    /// Everything is new again.
    void clear() { told_.clear(); }

 private:
    std::vector<std::size_t> told_;
    Clock::time_point lastTold_;
};

}  // namespace zeb
