// The program's operator new. It is in a separate file because a compiler that sees its use as well reports
// mismatched new and delete.
#include "FailingMemory.h"

#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace test_data_objects {

std::atomic<long> allocationsLeft = -1;
std::atomic<bool> allocationHasFailed = false;

}  // namespace test_data_objects

namespace {

std::atomic<bool> isForOneThread = false;
thread_local bool isThatThread = false;

bool isAllowed() noexcept {
    if (isForOneThread && !isThatThread) {
        return true;
    }
    long left = test_data_objects::allocationsLeft;
    while (left > 0 && !test_data_objects::allocationsLeft.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 0) {
        test_data_objects::allocationHasFailed = true;
    }
    return left != 0;
}

}  // namespace

namespace test_data_objects {

void failOnThisThreadOnly() {
    isThatThread = true;
    isForOneThread = true;
}

}  // namespace test_data_objects

void* operator new(std::size_t size) {
    void* const memory = isAllowed() ? std::malloc(size == 0 ? 1 : size) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

// std::stable_sort() asks for memory in this way, and does without it.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return isAllowed() ? std::malloc(size == 0 ? 1 : size) : nullptr;
}

// Asio takes the memory of its operations from here.
extern "C" __attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment,
                                                                      std::size_t size) noexcept {
    return isAllowed() ? ::memalign(alignment, size) : nullptr;
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
