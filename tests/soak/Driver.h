#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace soak {

/// The bus, its faults and its children, for so long; prints a report of a page. True when every promise was
/// kept. `directory` is for configurations and the children's logs.
bool drive(std::chrono::seconds duration, std::uint64_t seed, const std::string& directory);

}  // namespace soak
