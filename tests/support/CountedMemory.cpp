// The program's operator new. It is in a separate file because a compiler that sees its use as well reports
// mismatched new and delete.
#include "CountedMemory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> allocationCount = 0;
std::atomic<std::size_t> bytesInUse = 0;
std::atomic<std::size_t> mostInUse = 0;

void* allocated(std::size_t size) noexcept {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory != nullptr) {
        ++allocationCount;
        const std::size_t now = bytesInUse += malloc_usable_size(memory);
        std::size_t most = mostInUse;
        while (now > most && !mostInUse.compare_exchange_weak(most, now)) {
        }
    }
    return memory;
}

void release(void* memory) noexcept {
    bytesInUse -= memory == nullptr ? 0 : malloc_usable_size(memory);
    std::free(memory);
}

}  // namespace

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
    release(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}

namespace test_support {

CountedMemory::CountedMemory() : allocationsBefore_(allocationCount), inUseBefore_(bytesInUse) {
    mostInUse = inUseBefore_;
}

std::size_t CountedMemory::allocations() const {
    return allocationCount - allocationsBefore_;
}

std::size_t CountedMemory::peak() const {
    return mostInUse - inUseBefore_;
}

std::ptrdiff_t CountedMemory::inUse() const {
    return static_cast<std::ptrdiff_t>(bytesInUse) - static_cast<std::ptrdiff_t>(inUseBefore_);
}

}  // namespace test_support
