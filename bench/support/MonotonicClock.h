#pragma once

#include <cstdint>
#include <ctime>

namespace bench {

/// Nanoseconds of CLOCK_MONOTONIC, which all processes of a machine share.
inline std::int64_t monotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

}  // namespace bench
