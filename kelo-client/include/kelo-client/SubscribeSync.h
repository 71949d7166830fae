#pragma once

#include <kelo-client/CallbackFuture.h>

namespace kelo_client {

/// The handshake between a thread that subscribes and the handler of the first notification. The subscriber
/// waits for the first notification; the handler then waits until the subscriber has decided the outcome.
/// Shared by the two, and with whatever may end the wait for the notification.
struct SubscribeSync {
    /// Values that the subscriber sets.
    static constexpr CallbackFuture::FutureValue kTimedOut{1};
    static constexpr CallbackFuture::FutureValue kSucceeded{2};
    /// The value that the handler sets, on every notification.
    static constexpr CallbackFuture::FutureValue kNotified{1};
    /// The values that end the subscriber's wait without a notification: it has become useless, or another
    /// subscription has replaced this one.
    static constexpr CallbackFuture::FutureValue kEnded{2};
    static constexpr CallbackFuture::FutureValue kReplaced{3};

    CallbackFuture outcome;   ///< set by the subscriber
    CallbackFuture notified;  ///< set by the handler, or by what makes the wait useless; the first one counts
};

}  // namespace kelo_client
