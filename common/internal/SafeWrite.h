#pragma once

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <ctime>

namespace internal {

/// While it lives, a write on the calling thread to a pipe or socket without a reader fails, but does not
/// raise SIGPIPE: that signal belongs to the application.
class SparedPipeSignal {
 public:
    SparedPipeSignal() noexcept {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    }
    ~SparedPipeSignal() {
        const int error = errno;
        if (!wasPending_) {
            const timespec noWait{};
            while (sigtimedwait(&pipe_, nullptr, &noWait) < 0 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }
    SparedPipeSignal(const SparedPipeSignal&) = delete;
    SparedPipeSignal& operator=(const SparedPipeSignal&) = delete;

 private:
    sigset_t pipe_{};
    sigset_t before_{};
    bool wasPending_ = false;
};

/// Like write(), but without the signal SIGPIPE when the reader is gone.
inline ssize_t writeWithoutSignal(int descriptor, const void* data, std::size_t size) noexcept {
    const SparedPipeSignal spared;
    return ::write(descriptor, data, size);
}

}  // namespace internal
