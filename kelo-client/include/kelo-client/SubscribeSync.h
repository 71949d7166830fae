#pragma once

#include <kelo-client/CallbackFuture.h>

namespace kelo_client {

/// The handshake between a thread that subscribes and the handler of the first notification: the subscriber
/// waits for the first notification, and the handler then for what the subscriber makes of it. Shared by the
/// two.
struct SubscribeSync {
    /// What the subscriber sets.
    static constexpr CallbackFuture::FutureValue kTimedOut{1};
    static constexpr CallbackFuture::FutureValue kSucceeded{2};
    /// What the handler sets, on every notification.
    static constexpr CallbackFuture::FutureValue kNotified{1};

    CallbackFuture outcome;   ///< set by the subscriber
    CallbackFuture notified;  ///< set by the handler
};

}  // namespace kelo_client
