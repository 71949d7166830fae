#pragma once

#include <sched.h>

namespace micro {

/// Keeps the process, and every thread that it makes from now on, on one processor. For benchmarks of more
/// than one thread: where the scheduler puts the threads would decide more than what the contenders do, since
/// a wake-up costs ten times as much when it goes to another, sleeping processor.
inline void stayOnOneProcessor() {
    cpu_set_t allowed;
    if (::sched_getaffinity(0, sizeof allowed, &allowed) != 0) {
        return;
    }
    for (int processor = CPU_SETSIZE - 1; processor >= 0; --processor) {
        if (!CPU_ISSET(processor, &allowed)) {
            continue;
        }
        CPU_ZERO(&allowed);
        CPU_SET(processor, &allowed);
        static_cast<void>(::sched_setaffinity(0, sizeof allowed, &allowed));
        return;
    }
}

}  // namespace micro
