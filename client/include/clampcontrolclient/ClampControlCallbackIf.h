#pragma once

#include <clampcontrolclient/Export.h>

namespace clampcontrolclient {

/// What an application implements to be told about terminal 15 and about the service that knows it.
///
/// Owner: the application. The library keeps the plain pointer that it was given and never deletes it, so the
/// object has to live until ClampControlClient::Stop() has returned or the client is destroyed, whichever
/// comes first.
///
/// Called on: one thread of the library, one call at a time and in order; never on the stack of a call into
/// the client. A call that takes long delays every later one, also those of other clients of the process.
///
/// The first call is always OnConnectionStateChanged(true). Until the service has been found nothing is
/// called at all: there is no initial `false`.
///
/// From inside a call: UnsubscribeClampControl(), Stop() and destroying the client are allowed.
/// SubscribeClampControl() is not: it would wait for an answer that comes on this very thread. It is refused,
/// and belongs on a thread of the application.
///
/// Exceptions: one that leaves a call is logged and stops nothing. Out of OnClampNotification() it leaves out
/// the OnClampStateChanged() of that notification.
class CLAMPCONTROL_EXPORT ClampControlCallbackIf {
 public:
    virtual ~ClampControlCallbackIf() = default;

    /// The service became available (`true`) or went away (`false`); the two strictly alternate, beginning
    /// with `true`. What was last heard of the clamp is stale after `false`, and the subscription is gone:
    /// subscribe again after the next `true`.
    virtual void OnConnectionStateChanged(bool connected) = 0;

    /// Terminal 15 is on (`true`) or off (`false`). Called for the state at the time of subscribing, then for
    /// every notification of that element, whether its value differs from the one before or not.
    virtual void OnClampStateChanged(bool switchedOn) = 0;

    /// A notification of the subscribed clamp arrived. Called before OnClampStateChanged(), and also when
    /// that is not called since the notification is not about terminal 15.
    virtual void OnClampNotification() = 0;
};

}  // namespace clampcontrolclient
