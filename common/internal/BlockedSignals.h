#pragma once

#include <pthread.h>
#include <signal.h>

#include <initializer_list>

namespace internal {

/// Blocks the application's signals on the calling thread for as long as it lives. A thread that is made in
/// the meantime inherits that: signals are for the application's own threads. A signal that reports a fault
/// of the thread itself stays open, so that a crash handler sees it.
class BlockedSignals {
 public:
    BlockedSignals() noexcept {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
            sigdelset(&blocked, fault);
        }
        pthread_sigmask(SIG_SETMASK, &blocked, &before_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
    sigset_t before_{};
};

}  // namespace internal
