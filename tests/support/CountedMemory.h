#pragma once

#include <cstddef>

namespace test_support {

/// What `operator new` has given out, on all threads of a program that is linked with CountedMemory.cpp,
/// since this object was made.
class CountedMemory {
 public:
    CountedMemory();

    std::size_t allocations() const;
    /// The most bytes that were in use at a time, beyond those that were in use at first.
    std::size_t peak() const;
    /// The bytes that are in use now, beyond those that were in use at first. May be negative.
    std::ptrdiff_t inUse() const;

 private:
    std::size_t allocationsBefore_;
    std::size_t inUseBefore_;
};

}  // namespace test_support
