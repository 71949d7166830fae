#pragma once

#include <cstdint>
#include <ctime>

namespace bench {

/// When each message is due. All times are computed from the first one, so errors do not add up. A late
/// message is sent immediately.
class Pace {
 public:
    /// @param rate messages per second; 0 for all of them at once
    Pace(std::int64_t begin, std::int64_t rate) : begin_(begin), rate_(rate) {}

    bool isFlood() const { return rate_ == 0; }

    /// In nanoseconds of CLOCK_MONOTONIC.
    std::int64_t due(std::int64_t number) const {
        return isFlood() ? begin_ : begin_ + number * 1'000'000'000 / rate_;
    }

    /// Blocks until the message is due.
    void waitFor(std::int64_t number) const {
        if (isFlood()) {
            return;
        }
        const std::int64_t time = due(number);
        const timespec until{static_cast<std::time_t>(time / 1'000'000'000),
                             static_cast<long>(time % 1'000'000'000)};
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) != 0) {
        }
    }

 private:
    std::int64_t begin_;
    std::int64_t rate_;
};

}  // namespace bench
