#pragma once

#include <unistd.h>

#include <cstddef>
#include <fstream>

namespace e2e {

/// The resident memory of this process in bytes.
inline std::size_t residentMemory() {
    std::ifstream file("/proc/self/statm");
    std::size_t virtualPages = 0;
    std::size_t residentPages = 0;
    file >> virtualPages >> residentPages;
    return residentPages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace e2e
