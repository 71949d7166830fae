#pragma once

#include <clampcontrolclient/ClampControlClientIf.h>
#include <clampcontrolclient/Export.h>

#include <memory>
#include <string>

namespace clampcontrolclient {

class ClampControlClientImpl;

/// Follows ignition terminal 15 for one application: tells its callback when the clamp-control service comes
/// and goes and, once subscribed, every state of the clamp.
///
///     client.AssignCallback(&callback);         // before Start()
///     client.Start();                           // returns at once, whether the service is there or not
///     // after OnConnectionStateChanged(true), on a thread of the application:
///     const auto uuid = client.SubscribeClampControl();
///     // after each further OnConnectionStateChanged(true): subscribe again
///     client.UnsubscribeClampControl(uuid);
///     client.Stop();
///
/// Owner: the application. One client is enough for a process. Clients share their connections and threads:
/// construct them from one thread at start-up. Stop() of one client ends all of them, and no client works in
/// this process after that.
///
/// Thread safety: after construction any thread may call any operation. Nothing here locks; only
/// SubscribeClampControl(), Stop() and the destructor wait for anything.
///
/// Calls the application: on one thread of the library, through ClampControlCallbackIf, which says what may
/// be called from there. The first call is OnConnectionStateChanged(true).
///
/// A disconnect leaves the callback assigned and the service followed: the client reconnects by itself,
/// without end. It ends the subscription. Its uuid is of no use any more, and nothing is heard of the clamp
/// until the application has subscribed again.
///
/// Failures: the constructor never throws. When it fails it logs why, at error level, and leaves a client
/// whose Start() and Stop() do nothing; no other operation may be called on it. A configuration file that is
/// missing or broken is no such failure: it is logged, and the defaults hold.
///
/// At process exit a client may be alive anywhere, also in another thread: the library's threads end before
/// anything that they use does.
class CLAMPCONTROL_EXPORT ClampControlClient : public ClampControlClientIf {
 public:
    /// Reads the configuration, if this is the first client of the process. Does not connect yet.
    ClampControlClient();

    /// Once it has returned the callback is not called any more. Waits for a callback that is running on the
    /// library's thread, so do not hold a lock that the callback takes. Also allowed inside a callback of
    /// this client, which is then the last one. Connections and threads stay with the process; only Stop()
    /// ends them.
    ~ClampControlClient() override;

    ClampControlClient(const ClampControlClient&) = delete;
    ClampControlClient& operator=(const ClampControlClient&) = delete;

    /// Begins to follow the service; call it once. Does not wait for the service.
    void Start() override;

    /// Ends all subscriptions, connections and threads that the process's clients share; there is no restart.
    /// Valid in every state and more than once. When it has returned no callback runs and none will, so do
    /// not hold a lock that the callback takes. A request that is under way is waited for, at most 5 s.
    /// Called inside a callback it does not wait for that callback, which is then the last one.
    void Stop() override;

    /// Sets who is called; call it before Start(). What happens while no callback is assigned is not told
    /// later.
    /// @param callback not owned; has to live until Stop() has returned or the client is destroyed
    void AssignCallback(ClampControlCallbackIf* callback) override;

    /// Looks up the element of terminal 15, subscribes to it and waits for its first notification, which is
    /// on its way to the callback when this returns. Blocks for up to 10 s: 5 s for the look-up, 5 s for the
    /// notification. An earlier subscription of this client is replaced. Must not be called inside a
    /// callback, where it is refused at once.
    /// @return the uuid of the element, for UnsubscribeClampControl(); empty when subscribing failed, with
    ///         the reason in the log
    /// @throws std::runtime_error "ClampControl client not ready" while the service is not connected
    std::string SubscribeClampControl() override;

    /// Ends the subscription to the element `uuid`. Does nothing when that is not the element of the last
    /// successful SubscribeClampControl(). Once it has returned no new notification begins; one that has
    /// begun may still be running on the library's thread.
    void UnsubscribeClampControl(const std::string& uuid) override;

 private:
    std::shared_ptr<ClampControlClientImpl> impl_;
};

}  // namespace clampcontrolclient
