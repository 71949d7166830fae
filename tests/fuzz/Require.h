#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

/// Checks a condition that must hold for every input. An input that breaks it is a finding.
inline void require(bool condition, const char* promise) {
    if (!condition) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

}  // namespace fuzz
