#include "SettableClock.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <ctime>

namespace {

std::atomic<std::time_t> offset = 0;

}  // namespace

// Replaces the function of the C library, for this program and for the libraries that it uses.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's names are reserved
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* time) noexcept {
    const long result = ::syscall(SYS_clock_gettime, clock, time);
    if (result == 0 && clock == CLOCK_REALTIME) {
        time->tv_sec += offset.load(std::memory_order_relaxed);
    }
    return static_cast<int>(result);
}

namespace test_support {

void setSystemClock(std::chrono::seconds off) {
    offset = off.count();
}

}  // namespace test_support
