#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>

namespace zeb {

/// How long to wait before the next attempt to connect: exponential backoff from 100 ms to 5 s with full
/// jitter, so that the clients of a restarted server do not return all at once. The number of attempts is not
/// limited.
class ReconnectBackoff {
 public:
    explicit ReconnectBackoff(std::uint32_t seed = std::random_device{}()) : random_(seed) {}

    /// Returns a random delay between zero and the current ceiling, then doubles the ceiling.
    std::chrono::milliseconds next() {
        std::uniform_int_distribution<std::int64_t> delay(0, ceiling_.count());
        const std::chrono::milliseconds result(delay(random_));
        ceiling_ = std::min(2 * ceiling_, kMaximum);
        return result;
    }

    /// Call this when a connection has proved stable: the next loss then starts again with the shortest
    /// delay.
    void reset() { ceiling_ = kMinimum; }

 private:
    static constexpr std::chrono::milliseconds kMinimum{100};
    static constexpr std::chrono::milliseconds kMaximum{5000};

    std::chrono::milliseconds ceiling_{kMinimum};
    std::minstd_rand random_;
};

}  // namespace zeb
