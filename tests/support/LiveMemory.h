#pragma once

#include <cstddef>

namespace test_support {

/// What the program and its libraries have allocated with `new` and not deleted yet. Replaces the operators
/// of the C++ library, so link the source file into the test program itself.
std::size_t liveBytes();

}  // namespace test_support
