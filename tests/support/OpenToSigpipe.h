#pragma once

#include <pthread.h>

#include <csignal>

namespace test_support {

/// While it lives, SIGPIPE ends the process if it is raised on this thread or on one made meanwhile. Poco
/// blocks it on the main thread as soon as it is loaded.
class OpenToSigpipe {
 public:
    OpenToSigpipe() {
        std::signal(SIGPIPE, SIG_DFL);
        sigset_t open;
        sigemptyset(&open);
        sigaddset(&open, SIGPIPE);
        pthread_sigmask(SIG_UNBLOCK, &open, &before_);
    }
    ~OpenToSigpipe() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    OpenToSigpipe(const OpenToSigpipe&) = delete;
    OpenToSigpipe& operator=(const OpenToSigpipe&) = delete;

 private:
    sigset_t before_{};
};

}  // namespace test_support
