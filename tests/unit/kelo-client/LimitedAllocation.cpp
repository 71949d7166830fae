#include "LimitedAllocation.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

thread_local std::size_t largest = std::numeric_limits<std::size_t>::max();

void* allocated(std::size_t size) noexcept {
    return size > largest ? nullptr : std::malloc(size == 0 ? 1 : size);
}

}  // namespace

// These replace the operators of the C++ library, for this program and for the libraries that it uses.

void* operator new(std::size_t size) {
    if (void* const memory = allocated(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocated(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace test_support {

LimitedAllocation::LimitedAllocation(std::size_t size) {
    largest = size;
}

LimitedAllocation::~LimitedAllocation() {
    largest = std::numeric_limits<std::size_t>::max();
}

}  // namespace test_support
