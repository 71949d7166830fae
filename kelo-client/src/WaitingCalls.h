#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "StopObservers.h"

namespace kelo_client {

/// The calls of one client that wait for an answer or a notification. Whatever makes the wait useless ends it
/// here: the loss of the connection, `Stop()` of any client of the process, the end of the client.
///
/// Owned by the client; the client-service base refers to it weakly. Thread safety: any thread. No lock is
/// held while a call is woken up.
class WaitingCalls : public StopObserver {
 public:
    /// One call, registered for as long as this object lives. Register it before looking at what the call
    /// depends on: then either the call sees that this is gone, or it is woken up.
    class Call {
     public:
        /// `wake` ends the wait. It may run on any thread, and once more after this object has been
        /// destroyed, so it owns what it uses.
        Call(WaitingCalls& calls, std::function<void()> wake);
        ~Call();
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

        /// Why the call was ended; null if it was not.
        const char* endReason() const;

     private:
        struct State;
        friend class WaitingCalls;

        WaitingCalls& calls_;
        const std::shared_ptr<State> state_;
    };

    /// Ends the calls that wait now. The reason must be a literal.
    void end(const char* reason);

    /// Also ends every later call at once. The first reason counts.
    void close(const char* reason);

    void onStopping(const char* reason) override { close(reason); }

 private:
    std::mutex mutex_;
    std::vector<std::shared_ptr<Call::State>> waiting_;
    const char* closedBecause_ = nullptr;
};

}  // namespace kelo_client
