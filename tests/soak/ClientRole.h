#pragma once

#include <cstdint>

namespace soak {

/// The process that stays for the whole run: a client and an application, driven by lines on its link.
int runEndurance(std::uint64_t seed);

/// A process that lives for seconds and ends its client in one of the ways there are.
int runGeneration(std::uint64_t seed);

}  // namespace soak
