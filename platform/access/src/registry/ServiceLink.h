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

/// Somebody who follows a service, and what was last told. Told on the executor thread only.
struct FollowingListener {
    UntypedServiceListener handlers;
    bool wasToldConnected = false;
};

/// One service that is followed: its listeners, and the one connection to it that is open or being made.
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
    std::string lastFailure;  ///< so that the same reason is not told at each attempt
};

}  // namespace zeb
