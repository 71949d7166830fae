#pragma once

#include <clampcontrolclient/Export.h>

namespace clampcontrolclient {

/// What an application implements to follow terminal 15 and the service that reports it.
///
/// Owner: the application. The library keeps the plain pointer that it is given and never deletes it. The
/// object must stay alive until ClampControlClient::Stop() has returned or the client is destroyed, whichever
/// comes first.
///
/// Called on: one thread of the library, one call at a time and in order, and never on the stack of a call
/// into the client. A slow call delays all later ones, including those of other clients in the process.
///
/// The first call is always OnConnectionStateChanged(true). Nothing is called before the service has been
/// found: there is no initial `false`.
///
/// From inside a callback: UnsubscribeClampControl(), Stop() and destroying the client are allowed.
/// SubscribeClampControl() is refused, because it would wait for an answer that arrives on this very thread;
/// call it on a thread of the application.
///
/// Signals and processes: the library's thread blocks the signals of the application. A program that is
/// started inside a callback inherits that, so unblock them (sigprocmask) between fork() and exec(). A child
/// that is forked inside a callback must end there, with _exit() or exec(), and not return from the callback:
/// the threads that the library would go on with do not exist in it.
///
/// Exceptions: an exception from a callback is logged and ignored. If OnClampNotification() throws,
/// OnClampStateChanged() is skipped for that notification.
class CLAMPCONTROL_EXPORT ClampControlCallbackIf {
 public:
    virtual ~ClampControlCallbackIf() = default;

    /// The service became available (`true`) or unavailable (`false`). The two strictly alternate, starting
    /// with `true`. After `false` the last known state of the clamp is stale and the subscription has ended:
    /// subscribe again after the next `true`.
    virtual void OnConnectionStateChanged(bool connected) = 0;

    /// Terminal 15 is on (`true`) or off (`false`). Called with the state at the time of subscribing, then
    /// for every notification of that element, even if the value has not changed.
    virtual void OnClampStateChanged(bool switchedOn) = 0;

    /// A notification of the subscribed clamp arrived. Called before OnClampStateChanged(), and also when
    /// OnClampStateChanged() is not called because the notification is not about terminal 15.
    virtual void OnClampNotification() = 0;
};

}  // namespace clampcontrolclient
