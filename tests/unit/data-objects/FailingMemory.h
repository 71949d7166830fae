#pragma once

#include <atomic>

namespace test_data_objects {

/// These control operator new, and aligned_alloc(), in all threads of a program that is linked with
/// FailingMemory.cpp.
///
/// How many more allocations succeed. All do while this is negative, which is the initial state.
extern std::atomic<long> allocationsLeft;
/// From now on, allocations fail on the calling thread only.
void failOnThisThreadOnly();
/// Set to true when an allocation fails.
extern std::atomic<bool> allocationHasFailed;

}  // namespace test_data_objects
