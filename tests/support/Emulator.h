#pragma once

#include <string>
#include <vector>

namespace test_support {

/// The command that runs a program of this build with `arguments`: the program itself, or, in a cross build,
/// the emulator with it. The kernel cannot start a program of another processor, so a test that starts one
/// has to.
std::vector<std::string> commandOf(const std::string& program,
                                   const std::vector<std::string>& arguments = {});

}  // namespace test_support
