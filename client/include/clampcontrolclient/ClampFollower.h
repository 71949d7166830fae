#pragma once

#include <clampcontrolclient/Export.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace clampcontrolclient {

/// The state of terminal 15.
enum class ClampState { Unknown, Off, On };

/// "unknown", "off" or "on".
CLAMPCONTROL_EXPORT const char* to_string(ClampState state);

/// The state of terminal 15, and what is known about it. A plain value.
struct ClampStatus {
    ClampState state = ClampState::Unknown;
    std::chrono::steady_clock::time_point since;  ///< when this state began; the clock's epoch if not known
    std::string reason;  ///< for Unknown: why, in words a person can act on; otherwise empty
};

/// Follows ignition terminal 15 by itself:
///
///     clampcontrolclient::ClampFollower follower([](const clampcontrolclient::ClampStatus& status) {
///         std::cout << to_string(status.state) << " " << status.reason << std::endl;
///     });
///
/// It connects, subscribes, and subscribes again after whatever has ended the subscription, with pauses that
/// grow from 500 ms to 10 s, and at once after a reconnect. `On` and `Off` are never claimed without a live
/// subscription behind them: as soon as a state is no longer certain, it is `Unknown`, with the reason. That
/// is so from the start until the first state, while the service is lost, after the server has ended the
/// subscription, when the element cannot be read, and after Stop() of any client of the process.
///
/// Owner: the application. Any number of followers and clients share the connections and threads of the
/// process. Destroying a follower does not stop the others. Construct the first one, like the first client,
/// while no other thread constructs one.
///
/// Thread safety: any thread may call any operation. None of them waits, except waitFor() and the destructor.
///
/// Handler: runs on the library's callback thread, one call at a time and in order; never on the stack of a
/// call into the library. The first call may come before the constructor has returned. It is called for every
/// change of the state and, while it is unknown, for every new reason; never twice in a row for the same, and
/// not for the status with which the follower begins. What ClampControlCallbackIf says of callbacks holds for
/// it, too: it may call everything, destroying this follower included, except what waits for a callback:
/// waitFor() and SubscribeClampControl() are refused. An exception from it is logged and ignored. While a
/// callback of this process blocks that thread, the handler is not called, and a change of the state is
/// noticed late; but a lost connection shows in status() at once.
///
/// Configuration: the vehicle's file. To use another one, call ClientServiceUtils::CreateClientServiceBase()
/// with its path before the first client or follower is constructed.
///
/// Failures: the constructor never throws. What it cannot do for want of memory, descriptors or threads is
/// tried again by itself, and the reason says so; only a follower without the memory for itself stays
/// `Unknown`, and has to be replaced. If memory is short, `reason` may be empty.
///
/// After Stop() of any client there is no callback thread any more: the handler of a follower that is made
/// then is never called, and status() says why.
///
/// A forked child has none of the library's threads. There, the state is `Unknown`.
class CLAMPCONTROL_EXPORT ClampFollower {
 public:
    using Handler = std::function<void(const ClampStatus& status)>;

    /// What else happens on the way to a state; for programs that show or record it. Each may be empty.
    /// Called like the handler.
    struct Events {
        std::function<void(bool isConnected)> connection;         ///< strictly alternating, from `true` on
        std::function<void(const std::string& uuid)> subscribed;  ///< with its first notification
        std::function<void()> notification;                       ///< of the subscribed element
        std::function<void(bool isOn)> clamp15;  ///< the state in a notification, changed or not
    };

    /// Begins to follow; does not wait for the service.
    explicit ClampFollower(Handler onChange = {});
    ClampFollower(Handler onChange, Events events);

    /// When it returns, the handler is not called any more. Waits for a call that is running on the library's
    /// thread, so do not hold a lock that the handler takes. Inside the handler it does not wait: that call
    /// is then the last one. Ends every waitFor().
    ~ClampFollower();

    ClampFollower(const ClampFollower&) = delete;
    ClampFollower& operator=(const ClampFollower&) = delete;

    /// The present status. Never waits for anything.
    ClampStatus status() const;

    /// Waits until the terminal has this state, even if only for a moment.
    /// While a callback blocks the library's thread, it sees a lost connection only at the timeout.
    /// @return true if the terminal had this state at any time during the call. False after `timeout`; at
    ///         once after the clients of the process were stopped; and at once inside a callback, where it
    ///         would wait for itself (logged).
    bool waitFor(ClampState state, std::chrono::milliseconds timeout) const;

 private:
    class Impl;
    std::shared_ptr<Impl> impl_;
};

}  // namespace clampcontrolclient
