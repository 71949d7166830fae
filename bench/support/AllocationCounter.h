#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

/// What one thread has allocated since it began.
struct BenchAllocations {
    std::int64_t thread;  ///< its id, as the kernel has it
    std::int64_t count;
    std::int64_t bytes;
};

/// Copies the counts of at most `capacity` threads; allocates nothing. Null where liballocation-counter.so is
/// not preloaded.
/// @return how many were copied
[[gnu::weak, gnu::visibility("default")]] std::size_t benchAllocations(BenchAllocations* allocations,
                                                                       std::size_t capacity);
}
