#pragma once

#include <zeb/Export.h>
#include <zeb/Subscription.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace zeb {

/// One WebSocket of one service, and the subscriptions on it. A lost connection is not repaired: its
/// subscriptions end for good, and the service registry creates a new manager for the next connection. Any
/// thread may use it.
class ZEB_EXPORT IWebsocketManager {
 public:
    /// Receives the JSON text of "data". Called on the executor thread; the text is valid only during the
    /// call.
    using DataHandler = std::function<void(std::string_view data)>;

    /// Receives the reason why the server has refused or ended the subscription, as text for people; see
    /// SubscriptionEvents::ended. Called on the executor thread, after the last data, at most once. Not
    /// called if the user ends the subscription or the connection ends.
    using EndedHandler = std::function<void(const std::string& reason)>;

    virtual ~IWebsocketManager() = default;

    /// Asks the server to report the current state of `path` at once, and then every change.
    /// @param path    "/<service>/<resource>/<id>", or "/<service>/<resource>" for all of its elements
    /// @param uuid    what Subscription::getUuidOfElement() returns
    /// @param handler never called on the caller's stack, and never if this function throws
    /// @param ended   likewise; may be empty
    /// @throws ZebException if the connection is not open
    virtual std::shared_ptr<Subscription> subscribe(const std::string& path, const std::string& uuid,
                                                    DataHandler handler, EndedHandler ended) = 0;

    /// The numeric IP address of the peer, with its scope if it has one. Empty if the connection has never
    /// been open, or if nobody knows.
    virtual std::string peerAddress() const { return {}; }

    /// Ends all subscriptions, with the guarantees of Subscription::unsubscribe().
    virtual void unsubscribeFromAll() = 0;

    /// Closes the connection. Data that was received before is still delivered; then the observer's `closed`
    /// is called. Never blocks.
    virtual void close(const std::string& reason) = 0;

    /// Closes the connection. Nothing more is delivered, and the observer's `closed` is not called. Never
    /// blocks.
    virtual void stop() = 0;
};

}  // namespace zeb
