#pragma once

#include <zeb/IWebsocketManagerFactory.h>

#include <chrono>
#include <functional>
#include <memory>

#include "ServiceLink.h"

namespace zebutil {
class ITaskExecutor;
class LoggerFactory;
}  // namespace zebutil

namespace zeb {

/// Makes the WebSockets of the service links. Owned by the service registry, and used under its lock.
class LinkOpener {
 public:
    using Manager = std::weak_ptr<IWebsocketManager>;

    /// What happens to a WebSocket, on the executor thread, with the WebSocket that it happens to.
    struct Events {
        std::function<void(const Manager&)> opened;
        std::function<void(const Manager&, const WebsocketEnd&)> closed;
    };

    LinkOpener(std::shared_ptr<IWebsocketManagerFactory> factory,
               std::shared_ptr<zebutil::LoggerFactory> loggerFactory,
               std::shared_ptr<zebutil::ITaskExecutor> executor);

    /// Begins to connect `link`, which has no connection, to its endpoint after `delay`.
    /// @throws ZebException if the address cannot be used
    /// @throws std::exception if there is no thread to connect on, or no descriptor, which may pass
    void open(ServiceLink& link, std::chrono::milliseconds delay, Events events) const;

 private:
    const std::shared_ptr<IWebsocketManagerFactory> factory_;
    const std::shared_ptr<zebutil::LoggerFactory> loggerFactory_;
    const std::shared_ptr<zebutil::ITaskExecutor> executor_;
};

}  // namespace zeb
