#include "ExitGate.h"

#include <thread>

namespace csc_logging {

bool ExitGate::waitUntilEmpty(std::chrono::milliseconds limit) {
    // Polls, because it happens only once, at the end of the process, and a visit takes microseconds. A
    // wake-up would make every visit more expensive.
    const auto end = std::chrono::steady_clock::now() + limit;
    while (inside_.load() != 0) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace csc_logging
