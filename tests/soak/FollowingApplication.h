#pragma once

#include <clampcontrolclient/ClampFollower.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>

#include "FollowerInvariants.h"

namespace soak {

/// An application that follows the terminal with a follower. Its functions are called on the application's
/// thread.
class FollowingApplication {
 public:
    explicit FollowingApplication(const Violation& violation);

    /// Destroys the follower inside its next report, or from outside if none comes in this time. No other
    /// function may be called afterwards.
    void destroyInNextReport(std::chrono::milliseconds limit);
    void destroy();

    bool waitFor(clampcontrolclient::ClampState state, std::chrono::milliseconds limit) const;
    bool has(clampcontrolclient::ClampState state) const { return follower_->status().state == state; }
    clampcontrolclient::ClampStatus status() const { return follower_->status(); }
    /// The service was lost all the time while status() returned this.
    void checkWhileLost(const clampcontrolclient::ClampStatus& status) {
        invariants_.statusWhileLost(status);
    }
    /// The service is lost, or the clients were stopped.
    void checkThatItIsUnknown() { checkWhileLost(status()); }

    /// The element is gone: waits until the state is unknown, which it has to stay.
    void checkThatItLearnsOfTheRemoval(std::chrono::milliseconds limit);

    std::uint64_t timesKnown() const { return invariants_.timesKnown(); }

 private:
    clampcontrolclient::ClampFollower::Events events();
    /// Called at the end of a report.
    void destroyIfAsked();

    const Violation violation_;
    FollowerInvariants invariants_;
    std::atomic<bool> destroysInReport_ = false;
    std::promise<void> destroyedInReport_;
    std::unique_ptr<clampcontrolclient::ClampFollower> follower_;
};

}  // namespace soak
