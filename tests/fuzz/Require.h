#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

/// What must hold whatever the input is; where it does not, the input is a finding.
inline void require(bool condition, const char* promise) {
    if (!condition) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

}  // namespace fuzz
