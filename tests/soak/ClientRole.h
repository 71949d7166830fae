#pragma once

#include <cstdint>

namespace soak {

/// The process that runs the whole time: a client and an application, controlled by lines on its link.
int runEndurance(std::uint64_t seed);

/// A process that runs for seconds and ends its client in one of the possible ways.
int runGeneration(std::uint64_t seed);

}  // namespace soak
