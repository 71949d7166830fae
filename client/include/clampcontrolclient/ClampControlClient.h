#pragma once

#include <clampcontrolclient/ClampControlClientIf.h>
#include <clampcontrolclient/Export.h>

#include <memory>
#include <string>

namespace clampcontrolclient {

class ClampControlClientImpl;

/// Follows ignition terminal 15 for one application: tells the application's callback when the clamp-control
/// service connects and disconnects and, once subscribed, reports every state of the clamp.
///
///     client.AssignCallback(&callback);         // before Start()
///     client.Start();                           // returns at once, whether or not the service is reachable
///     // after OnConnectionStateChanged(true), on a thread of the application:
///     const auto uuid = client.SubscribeClampControl();
///     // after each further OnConnectionStateChanged(true): subscribe again
///     client.UnsubscribeClampControl(uuid);
///     client.Stop();
///
/// Owner: the application. One client is enough for a process. All clients of a process share their
/// connections and threads; construct them from one thread at start-up. Stop() on one client ends them all,
/// and no client works in this process after that.
///
/// Thread safety: after construction, any thread may call any operation. No lock is held while the
/// application is called. Only SubscribeClampControl(), Stop() and the destructor wait for anything.
///
/// Callbacks: they run on one thread of the library; ClampControlCallbackIf says what they may call. The
/// first one is OnConnectionStateChanged(true).
///
/// After a disconnect the callback stays assigned and the client keeps following the service: it reconnects
/// by itself and never gives up. The subscription ends. Its uuid is then useless, and no clamp state is
/// reported until the application has subscribed again.
///
/// Failures: the constructor never throws. If it fails, it logs the reason at error level and leaves a client
/// that does nothing and that SubscribeClampControl() reports as not ready. A missing or broken configuration
/// file is not such a failure: it is logged, and the defaults apply. One that cannot be read for want of
/// descriptors or memory is a failure; Start() tries again, and from then on the client tries by itself.
/// While it is being made, Start(), AssignCallback() and SubscribeClampControl() wait for that.
///
/// A forked child has none of the library's threads. There, a client of the parent process behaves like one
/// whose construction failed, and so does a new one, if the parent process has made one before.
///
/// A client may still exist at process exit, even in another thread: the library ends its threads before it
/// destroys anything that they use.
class CLAMPCONTROL_EXPORT ClampControlClient : public ClampControlClientIf {
 public:
    /// Reads the vehicle's configuration if this is the first client of the process. To use another file,
    /// call ClientServiceUtils::CreateClientServiceBase() with its path first. Does not connect yet.
    ClampControlClient();

    /// When it returns, the callback is not called any more. Waits for a callback that is running on the
    /// library's thread, so do not hold a lock that the callback takes. May be called inside a callback of
    /// this client, which is then the last one. Connections and threads belong to the process; only Stop()
    /// ends them.
    ~ClampControlClient() override;

    ClampControlClient(const ClampControlClient&) = delete;
    ClampControlClient& operator=(const ClampControlClient&) = delete;

    /// Starts to follow the service; call it once. Does not wait for the service.
    void Start() override;

    /// Ends all subscriptions, connections and threads that the clients of this process share; there is no
    /// restart. On a client that could not be made, ends only the attempts to make it. No disconnect is
    /// reported to the callback. May be called in any state and more than once. When it returns, no callback
    /// is running and none will run, so do not hold a lock that the callback takes. A subscribe that another
    /// thread is waiting for returns at once. Called inside a callback, Stop() does not wait for that
    /// callback, which is then the last one.
    void Stop() override;

    /// Sets the callback; call it before Start(). Events that occur while no callback is assigned are not
    /// reported later.
    /// @param callback not owned; must stay alive until Stop() has returned or the client is destroyed
    void AssignCallback(ClampControlCallbackIf* callback) override;

    /// Looks up the element of terminal 15, subscribes to it and waits for its first notification, which
    /// reaches the callback just before or just after this function returns. Blocks for up to 10 s: 5 s for
    /// the look-up and 5 s for the notification. Returns at once when the service is lost, when a client of
    /// this process is stopped, and when this client is destroyed. Replaces an earlier subscription of this
    /// client. If another thread does so while this call waits for its notification, this call returns the
    /// answer of that one, for which it may wait another 5 s. Must not be called inside a callback, where it
    /// fails at once.
    /// @return the uuid of the element, for UnsubscribeClampControl(); empty if subscribing failed, with the
    ///        reason in the log
    /// @throws std::runtime_error "ClampControl client not ready" while the service is not connected. Stop()
    ///        does not count as a disconnect: if the service was connected when Stop() was called, this
    ///        function does not throw, but fails at once.
    std::string SubscribeClampControl() override;

    /// Ends the subscription to the element `uuid`. Does nothing if that is not the element of the last
    /// successful SubscribeClampControl(). When it returns, no new callback for a notification starts; one
    /// that has already started may still be running on the library's thread.
    void UnsubscribeClampControl(const std::string& uuid) override;

 private:
    std::shared_ptr<ClampControlClientImpl> impl_;
};

}  // namespace clampcontrolclient
