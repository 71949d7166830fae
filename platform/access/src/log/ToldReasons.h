#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

namespace zeb {

/// Remembers which reasons were told, so that each is told once, however often it comes, and however many
/// different ones a peer makes up. A reason that has not come for a while is new again. Not thread-safe.
class ToldReasons {
 public:
    using Clock = std::chrono::steady_clock;

    enum class Verdict {
        Tell,              ///< the reason is new
        TellThatMoreCome,  ///< it is new, but there are too many
        DoNotTell,
    };

    /// So many are remembered, and so many told.
    static constexpr std::size_t kMost = 64;
    static constexpr std::chrono::minutes kMemory{10};

    Verdict judge(std::string_view reason, Clock::time_point now = Clock::now()) {
        const std::size_t hash = std::hash<std::string_view>()(reason);
        const auto found =
            std::find_if(told_.begin(), told_.end(), [hash](const Told& told) { return told.hash == hash; });
        if (found != told_.end()) {
            const bool isForgotten = now - found->last >= kMemory;
            found->last = now;
            return isForgotten ? Verdict::Tell : Verdict::DoNotTell;
        }
        if (told_.size() == kMost) {
            dropForgotten(now);
        }
        if (told_.size() == kMost) {
            const bool isFirst = now - lastOfTooMany_ >= kMemory;
            lastOfTooMany_ = now;
            return isFirst ? Verdict::TellThatMoreCome : Verdict::DoNotTell;
        }
        told_.push_back({hash, now});
        return Verdict::Tell;
    }

    /// Everything is new again.
    void clear() {
        told_.clear();
        lastOfTooMany_ = kNever;
    }

 private:
    struct Told {
        std::size_t hash;
        Clock::time_point last;  ///< when the reason came last
    };

    // Half of the range, so that the time since then does not overflow.
    static constexpr Clock::time_point kNever{Clock::duration::min() / 2};

    void dropForgotten(Clock::time_point now) {
        told_.erase(std::remove_if(told_.begin(), told_.end(),
                                   [now](const Told& told) { return now - told.last >= kMemory; }),
                    told_.end());
    }

    std::vector<Told> told_;
    Clock::time_point lastOfTooMany_ = kNever;
};

}  // namespace zeb
