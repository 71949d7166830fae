// Counts allocations per thread. Preloaded, so it counts those of every library of the process as shipped.

#include "AllocationCounter.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

extern "C" {
// The C library's allocator, under names that this file does not replace.
// NOLINTBEGIN(bugprone-reserved-identifier)  these names are the C library's
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

constexpr std::size_t kMaximumOfThreads = 4096;

// Each has one writer; other threads read.
struct Counter {
    std::atomic<std::int64_t> thread;
    std::atomic<std::int64_t> count;
    std::atomic<std::int64_t> bytes;
};

Counter counters[kMaximumOfThreads];
std::atomic<std::size_t> used = 0;
thread_local Counter* mine = nullptr;

void count(std::size_t size) {
    if (mine == nullptr) {
        const std::size_t index = used.fetch_add(1);
        mine = &counters[index < kMaximumOfThreads ? index : kMaximumOfThreads - 1];
        mine->thread = syscall(SYS_gettid);
    }
    mine->count.store(mine->count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    mine->bytes.store(mine->bytes.load(std::memory_order_relaxed) + static_cast<std::int64_t>(size),
                      std::memory_order_relaxed);
}

}  // namespace

#define EXPORTED extern "C" [[gnu::visibility("default")]]

EXPORTED void* malloc(std::size_t size) {
    count(size);
    return __libc_malloc(size);
}

EXPORTED void* calloc(std::size_t number, std::size_t size) {
    count(number * size);
    return __libc_calloc(number, size);
}

EXPORTED void* realloc(void* memory, std::size_t size) {
    count(size);
    return __libc_realloc(memory, size);
}

EXPORTED void* memalign(std::size_t alignment, std::size_t size) {
    count(size);
    return __libc_memalign(alignment, size);
}

EXPORTED void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}

EXPORTED int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}

std::size_t benchAllocations(BenchAllocations* allocations, std::size_t capacity) {
    std::size_t copied = 0;
    for (const std::size_t end = used; copied < end && copied < kMaximumOfThreads && copied < capacity;
         ++copied) {
        const Counter& counter = counters[copied];
        allocations[copied] = {counter.thread, counter.count, counter.bytes};
    }
    return copied;
}
