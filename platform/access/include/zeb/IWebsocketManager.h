#pragma once

#include <zeb/Export.h>
#include <zeb/Subscription.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace zeb {

/// One WebSocket of one service, and the subscriptions on it. A lost connection is not repaired: it ends its
/// subscriptions for good, and the service registry makes a new manager for the next one. Any thread may use
/// it.
class ZEB_EXPORT IWebsocketManager {
 public:
    /// Given the JSON text of "data"; called on the executor thread, where the text is valid during the call
    /// only.
    using DataHandler = std::function<void(std::string_view data)>;

    /// Given why the server has refused or ended the subscription; called on the executor thread, after the
    /// last data. Not called when the user or the end of the connection ends it.
    using EndedHandler = std::function<void(const std::string& reason)>;

    virtual ~IWebsocketManager() = default;

    /// Asks the server to tell the present state of `path` at once and then every change.
    /// @param path   "/<service>/<resource>/<id>", or "/<service>/<resource>" for all of its elements
    /// @param uuid   what Subscription::getUuidOfElement() answers
    /// @param handler never called on the caller's stack, nor when this function throws
    /// @param ended   likewise; may be empty
    /// @throws ZebException when the connection is not open
    virtual std::shared_ptr<Subscription> subscribe(const std::string& path, const std::string& uuid,
                                                    DataHandler handler, EndedHandler ended) = 0;

    /// Ends every subscription, with what Subscription::unsubscribe() promises of each.
    virtual void unsubscribeFromAll() = 0;

    /// Closes the connection; what was received before is still delivered, then the observer is told. Never
    /// blocks.
    virtual void close(const std::string& reason) = 0;

    /// Closes the connection and delivers nothing more, not even that it was closed. Never blocks.
    virtual void stop() = 0;
};

}  // namespace zeb
