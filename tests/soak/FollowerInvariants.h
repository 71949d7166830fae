#pragma once

#include <clampcontrolclient/ClampFollower.h>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "Violation.h"

namespace soak {

/// Checks what one follower reports, by its order alone. The element's states are known to alternate between
/// on and off.
///
/// Thread safety: every function may be called from any thread. The functions named after events are called
/// on the library's thread.
class FollowerInvariants {
 public:
    explicit FollowerInvariants(Violation violation);

    // --- what the follower reports ---
    void connection(bool isConnected);
    void subscribed();
    void notification();
    void clamp15(bool isOn);
    void change(const clampcontrolclient::ClampStatus& status);

    // --- what the application does ---
    /// The destructor has returned: nothing more may be reported.
    void ended();
    /// status() has returned this while the service was known to be lost.
    void statusWhileLost(const clampcontrolclient::ClampStatus& status);

    /// How often the state became known.
    std::uint64_t timesKnown() const;

 private:
    using State = clampcontrolclient::ClampState;

    void mayReport(const char* what);

    const Violation violation_;
    mutable std::mutex mutex_;
    bool hasEnded_ = false;
    bool isConnected_ = false;
    bool isSubscribed_ = false;
    bool isNotified_ = false;            ///< since the last state
    std::optional<bool> terminal_;       ///< of the last notification of this subscription
    State state_ = State::Unknown;       ///< the last one that was reported
    std::optional<std::string> reason_;  ///< reported with it
    std::chrono::steady_clock::time_point since_;
    std::uint64_t timesKnown_ = 0;
};

}  // namespace soak
