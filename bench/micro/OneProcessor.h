#pragma once

#include <sched.h>

namespace micro {

/// Keeps the process, and every thread that it creates from now on, on one processor. For benchmarks with
/// more than one thread: without it, the placement of the threads would matter more than the contenders,
/// because waking a thread costs ten times as much on another, sleeping processor.
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
