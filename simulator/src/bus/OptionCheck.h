#pragma once

#include "zeb-bus-sim/BusSimulator.h"

namespace zebbussim {

/// Throws `std::invalid_argument` for options that no bus can have, and says which one.
void checkOptions(const BusSimulator::Options& options);

}  // namespace zebbussim
