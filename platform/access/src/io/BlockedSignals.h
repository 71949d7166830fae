#pragma once

#include <pthread.h>
#include <signal.h>

namespace zeb {

/// Blocks every signal on the calling thread as long as it lives. A thread that is made meanwhile inherits
/// that: the application's signals must be handled by its own threads.
class BlockedSignals {
 public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &previous_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
    sigset_t previous_{};
};

}  // namespace zeb
