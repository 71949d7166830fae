#pragma once

#include <internal/RegularFile.h>

#include <cstddef>
#include <stdexcept>
#include <string>

namespace zebbussim {

/// Returns the content of a file that the simulator is given. Only a regular file is read: a pipe might never
/// end. Throws `std::runtime_error`, which names the file; `what` says what it is, for instance "bus file".
inline std::string readInputFile(const std::string& what, const std::string& fileName) {
    constexpr std::size_t kMaximum = 64 * 1024 * 1024;  // the reader of JSON takes no more
    try {
        return internal::readRegularFile(fileName, kMaximum);
    } catch (const std::exception& exception) {
        throw std::runtime_error("Cannot read the " + what + " " + fileName + ": " + exception.what());
    }
}

}  // namespace zebbussim
