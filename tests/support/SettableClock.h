#pragma once

#include <chrono>

namespace test_support {

/// Sets the system clock for this process only: std::chrono::system_clock is off by this much in every
/// library. Other clocks are not affected.
void setSystemClock(std::chrono::seconds off);

}  // namespace test_support
