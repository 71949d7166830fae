#include "LiveMemory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> live = 0;

void* allocated(std::size_t size) noexcept {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory != nullptr) {
        live += ::malloc_usable_size(memory);
    }
    return memory;
}

void* alignedAllocated(std::size_t size, std::align_val_t alignment) noexcept {
    void* memory = nullptr;
    if (::posix_memalign(&memory, static_cast<std::size_t>(alignment), size == 0 ? 1 : size) != 0) {
        return nullptr;
    }
    live += ::malloc_usable_size(memory);
    return memory;
}

void release(void* memory) noexcept {
    if (memory != nullptr) {
        live -= ::malloc_usable_size(memory);
        std::free(memory);
    }
}

void* orThrow(void* memory) {
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    return orThrow(allocated(size));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return orThrow(alignedAllocated(size, alignment));
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocated(size);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    release(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    release(memory);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    release(memory);
}

namespace test_support {

std::size_t liveBytes() {
    return live;
}

}  // namespace test_support
