#pragma once

#include "Arguments.h"

namespace zebbussim {

/// Serves until a signal comes or the scenario has ended the program.
/// @returns the exit code of the program
/// @throws std::exception if the program cannot start
int serve(const Arguments& arguments);

}  // namespace zebbussim
