#pragma once

#include <zeb/UntypedServiceListener.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ReconnectBackoff.h"
#include "ServiceEndpoint.h"

namespace zeb {

class IWebsocketManager;
class ZebAccessor;

/// A listener of a service, and the last state that it was given. Used on the executor thread only.
struct FollowingListener {
    UntypedServiceListener handlers;
    bool isConnected = false;
};

/// A service that somebody follows: its listeners, and the one connection to it that is open or being made.
struct ServiceLink {
    explicit ServiceLink(std::string serviceName) : name(std::move(serviceName)) {}

    const std::string name;
    std::vector<std::shared_ptr<FollowingListener>> listeners;

    /// Null while there is no endpoint to connect to.
    std::shared_ptr<IWebsocketManager> websocketManager;
    ServiceEndpoint endpoint;  ///< of `websocketManager` and `accessor`
    std::shared_ptr<ZebAccessor> accessor;
    bool isConnected = false;

    ReconnectBackoff backoff;
    std::chrono::steady_clock::time_point connectedSince;
    std::string lastFailure;  ///< a repeated reason is logged at debug level only
};

}  // namespace zeb
