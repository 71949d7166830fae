#include "ExitGate.h"

#include <thread>

namespace csc_logging {

bool ExitGate::close(std::chrono::milliseconds limit) {
    closed_.store(true);
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
