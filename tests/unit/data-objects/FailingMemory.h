#pragma once

namespace test_data_objects {

/// These control operator new in all threads of a program that is linked with FailingMemory.cpp.
///
/// How many more allocations succeed. All do while this is negative, which is the initial state.
extern long allocationsLeft;
/// Set to true when an allocation fails.
extern bool allocationHasFailed;

}  // namespace test_data_objects
