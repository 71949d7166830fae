#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

/// What one thread has allocated since it started.
struct BenchAllocations {
    std::int64_t thread;  ///< the kernel's thread id
    std::int64_t count;
    std::int64_t bytes;
};

/// Copies the counts of at most `capacity` threads. Allocates nothing. Null if liballocation-counter.so is
/// not preloaded.
/// @return the number of threads copied
[[gnu::weak, gnu::visibility("default")]] std::size_t benchAllocations(BenchAllocations* allocations,
                                                                       std::size_t capacity);
}
