#pragma once

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <ctime>

namespace internal {

/// While it lives, a write on the calling thread to a pipe or socket without a reader, or beyond the largest
/// size of a file, fails, but does not raise SIGPIPE or SIGXFSZ: these signals belong to the application.
class SparedWriteSignals {
 public:
    SparedWriteSignals() noexcept {
        sigemptyset(&raised_);
        sigaddset(&raised_, SIGPIPE);
        sigaddset(&raised_, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &raised_, &before_);
        sigset_t pending;
        sigpending(&pending);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            if (sigismember(&pending, signal) == 1) {
                sigdelset(&raised_, signal);
            }
        }
    }
    ~SparedWriteSignals() {
        const int error = errno;
        const timespec noWait{};
        while (sigtimedwait(&raised_, nullptr, &noWait) > 0 || errno == EINTR) {
            errno = 0;
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }
    SparedWriteSignals(const SparedWriteSignals&) = delete;
    SparedWriteSignals& operator=(const SparedWriteSignals&) = delete;

 private:
    sigset_t raised_{};  ///< those that were not pending before
    sigset_t before_{};
};

/// Like write(), but without a signal when it fails.
inline ssize_t writeWithoutSignal(int descriptor, const void* data, std::size_t size) noexcept {
    const SparedWriteSignals spared;
    return ::write(descriptor, data, size);
}

}  // namespace internal
