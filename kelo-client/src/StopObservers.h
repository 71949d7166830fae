#pragma once

#include <memory>
#include <mutex>
#include <vector>

namespace kelo_client {

/// A part of a client that has to know when the client-service base is stopped.
class StopObserver {
 public:
    virtual ~StopObserver() = default;

    /// The base is about to be stopped, or has been stopped before the observer was added. Called once, on
    /// the thread that stops the base or adds the observer. Must return at once.
    /// @param reason a literal
    virtual void onStopping(const char* reason) = 0;

    /// No handler is called after this. Called on the "zebExecutor" thread, as its last task. Not called if
    /// the observer was added too late, if the executor has no thread, or while the process exits.
    virtual void onStopped() {}

 protected:
    StopObserver() = default;
    StopObserver(const StopObserver&) = default;
    StopObserver& operator=(const StopObserver&) = default;
};

/// The observers of the base, held weakly. Shared by the base and the last task of its executor. Thread
/// safety: any thread. No lock is held while an observer is called.
class StopObservers {
 public:
    void add(const std::shared_ptr<StopObserver>& observer);

    /// Tells the observers that the base is about to be stopped. Also tells each one that is added later.
    void tellStopping(const char* reason) noexcept;

    /// Tells those that had been added before tellStopping().
    void tellStopped() noexcept;

    /// Whether tellStopping() was called.
    bool areStopped() const;

 private:
    template <typename Tell>
    void tellEach(Tell tell) noexcept;

    mutable std::mutex mutex_;
    /// Does not change any more once there is a reason.
    std::vector<std::weak_ptr<StopObserver>> observers_;
    const char* stoppedBecause_ = nullptr;
};

}  // namespace kelo_client
