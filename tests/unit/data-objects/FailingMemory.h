#pragma once

namespace test_data_objects {

/// Of a program that is linked with FailingMemory.cpp, in all of its threads.
///
/// How many allocations succeed from now on; negative, as at first: all.
extern long allocationsLeft;
/// Whether one has failed since it was set to false.
extern bool allocationHasFailed;

}  // namespace test_data_objects
