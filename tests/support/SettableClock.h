#pragma once

#include <chrono>

namespace test_support {

/// Sets the system's clock for this process alone: what std::chrono::system_clock tells, in every library, is
/// off by this much. Clocks that nobody can set go on.
void setSystemClock(std::chrono::seconds off);

}  // namespace test_support
