#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>

namespace zeb {

/// How long to wait before the next attempt to connect: exponential from 100 ms to 5 s, without end, with
/// full jitter, so that the clients of a restarted server do not come back all at once.
class ReconnectBackoff {
 public:
    explicit ReconnectBackoff(std::uint32_t seed = std::random_device{}()) : random_(seed) {}

    /// Between zero and the present ceiling, which is then doubled.
    std::chrono::milliseconds next() {
        std::uniform_int_distribution<std::int64_t> delay(0, ceiling_.count());
        const std::chrono::milliseconds result(delay(random_));
        ceiling_ = std::min(2 * ceiling_, kMaximum);
        return result;
    }

    /// A connection was established: the next loss starts from the beginning.
    void reset() { ceiling_ = kMinimum; }

 private:
    static constexpr std::chrono::milliseconds kMinimum{100};
    static constexpr std::chrono::milliseconds kMaximum{5000};

    std::chrono::milliseconds ceiling_{kMinimum};
    std::minstd_rand random_;
};

}  // namespace zeb
