#pragma once

#include <string>
#include <vector>

namespace test_support {

/// The command that runs a program of this build with `arguments`: the program itself, or in a cross build
/// the emulator with the program. The kernel cannot start a program for another processor, so tests use this.
std::vector<std::string> commandOf(const std::string& program,
                                   const std::vector<std::string>& arguments = {});

}  // namespace test_support
