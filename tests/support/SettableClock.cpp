#include "SettableClock.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <ctime>

namespace {

std::atomic<std::time_t> offset = 0;

}  // namespace

// Replaces clock_gettime() of the C library, for this program and for the libraries that it uses. The symbol
// is set by hand, because a definition under the C name would have to repeat its reserved parameter names.
extern "C" __attribute__((visibility("default"))) int settableClockGettime(clockid_t clock,
                                                                           timespec* time) noexcept
    __asm__("clock_gettime");

int settableClockGettime(clockid_t clock, timespec* time) noexcept {
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
