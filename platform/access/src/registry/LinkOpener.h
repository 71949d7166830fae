#pragma once

#include <zeb/IWebsocketManagerFactory.h>

#include <chrono>
#include <memory>

#include "ServiceLink.h"

namespace zebutil {
class ILogger;
class ITaskExecutor;
class LoggerFactory;
}  // namespace zebutil

namespace zeb {

class ITpAccessFactory;

/// Makes the two halves of a connection: the WebSocket of a service link, and its access for requests. Owned
/// by the service registry, and used under its lock.
class LinkOpener {
 public:
    /// @param logger of the registry, for the requests
    LinkOpener(std::shared_ptr<ITpAccessFactory> tpAccessFactory,
               std::shared_ptr<zebutil::ITaskExecutor> zebExecutor,
               std::shared_ptr<zebutil::ITaskExecutor> httpExecutor,
               std::shared_ptr<IWebsocketManagerFactory> websocketManagerFactory,
               std::shared_ptr<zebutil::LoggerFactory> loggerFactory,
               std::shared_ptr<zebutil::ILogger> logger);

    /// Begins to connect `link`, which has no connection, to its endpoint after `delay`. The link's events
    /// report what becomes of it.
    /// @throws ZebException if the address cannot be used
    /// @throws std::exception if there is no thread to connect on, or no descriptor, which may pass
    void open(ServiceLink& link, std::chrono::milliseconds delay) const;

    /// Makes the access for requests of `link`, whose WebSocket is open.
    /// @throws std::exception if something is missing, such as the trust store
    void openRequests(ServiceLink& link) const;

 private:
    const std::shared_ptr<ITpAccessFactory> tpAccessFactory_;
    const std::shared_ptr<zebutil::ITaskExecutor> zebExecutor_;
    const std::shared_ptr<zebutil::ITaskExecutor> httpExecutor_;
    const std::shared_ptr<IWebsocketManagerFactory> websocketManagerFactory_;
    const std::shared_ptr<zebutil::LoggerFactory> loggerFactory_;
    const std::shared_ptr<zebutil::ILogger> logger_;
};

}  // namespace zeb
