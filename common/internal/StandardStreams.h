#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace internal {

/// Opens /dev/null for each standard stream that was closed when the program started. Otherwise the next file
/// or socket would get its number, and the program's output would go there. Each is opened the wrong way
/// round, so that using it fails and is reported, as it would be on a closed one.
///
/// For programs: the first thing in `main`.
inline void openClosedStandardStreams() noexcept {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            // Takes the lowest free number, which is this one.
            static_cast<void>(::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

}  // namespace internal
