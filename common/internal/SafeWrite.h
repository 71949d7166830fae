#pragma once

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <ctime>

namespace internal {

/// Like write(), but without the signal SIGPIPE when the reader is gone: that belongs to the application.
inline ssize_t writeWithoutSignal(int descriptor, const void* data, std::size_t size) noexcept {
    sigset_t pipe;
    sigset_t pending;
    sigset_t before;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    sigpending(&pending);
    const bool wasPending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe, &before);
    const ssize_t written = ::write(descriptor, data, size);
    const int error = errno;
    if (written < 0 && error == EPIPE && !wasPending) {
        const timespec noWait{};
        while (sigtimedwait(&pipe, nullptr, &noWait) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return written;
}

}  // namespace internal
