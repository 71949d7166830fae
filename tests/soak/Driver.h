#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace soak {

/// Runs the bus, its faults and its children for the given time and prints a one-page report. Returns true
/// when every promise was kept. `directory` holds configurations and the children's logs.
bool drive(std::chrono::seconds duration, std::uint64_t seed, const std::string& directory);

}  // namespace soak
