// Every input of every target: it may cost 64 MiB of memory and one second of the processor, whatever it is.
// The linker puts the function below between libFuzzer and the target. Inputs have up to 64 KiB.
#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <random>

#include "../Require.h"

namespace {

constexpr std::ptrdiff_t kMaximumBytes = std::ptrdiff_t{64} * 1024 * 1024;
constexpr double kMaximumSeconds = 1;

// Signed, because what was allocated before the counting began may be freed during it.
std::atomic<std::ptrdiff_t> live = 0;
std::atomic<std::ptrdiff_t> highest = 0;

void allocated(const volatile void* /*memory*/, std::size_t size) {
    const std::ptrdiff_t now = live += static_cast<std::ptrdiff_t>(size);
    std::ptrdiff_t before = highest;
    while (now > before && !highest.compare_exchange_weak(before, now)) {
    }
}

void freed(const volatile void* memory) {
    if (memory != nullptr) {
        live -= static_cast<std::ptrdiff_t>(__sanitizer_get_allocated_size(memory));
    }
}

/// Of all threads. The sanitizers make it a multiple; a busy machine does not change it.
double processorSeconds() {
    std::timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the names of libFuzzer and the
// linker
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maximumSize);
extern "C" int __real_LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int __wrap_LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool isCounting = __sanitizer_install_malloc_and_free_hooks(&allocated, &freed) != 0;
    fuzz::require(isCounting, "the sanitizer counts the memory");
    const std::ptrdiff_t liveBefore = live;
    highest = liveBefore;
    const double begin = processorSeconds();
    const int result = __real_LLVMFuzzerTestOneInput(data, size);
    fuzz::require(highest - liveBefore <= kMaximumBytes, "an input costs 64 MiB at most");
    fuzz::require(processorSeconds() - begin <= kMaximumSeconds, "an input costs one second at most");
    return result;
}

/// Now and then fills an input with repetitions of one of its parts: what is dear is dear only in great
/// numbers.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maximumSize,
                                               unsigned int seed) {
    std::minstd_rand random(seed);
    if (size == 0 || random() % 32 != 0) {
        return LLVMFuzzerMutate(data, size, maximumSize);
    }
    const std::size_t begin = random() % size;
    const std::size_t length = std::min<std::size_t>(1 + random() % 64, size - begin);
    const std::size_t room = maximumSize - size;
    const std::size_t copies = room / length;
    const std::size_t end = begin + length;
    std::memmove(data + end + copies * length, data + end, size - end);
    for (std::size_t copy = 0; copy < copies; ++copy) {
        std::memcpy(data + end + copy * length, data + begin, length);
    }
    return size + copies * length;
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
