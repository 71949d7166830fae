#pragma once

#include <zeb/UntypedServiceListener.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ConnectSchedule.h"
#include "EndReason.h"
#include "ServiceEndpoint.h"
#include "log/FaultLog.h"

namespace zeb {

class ITpAccess;
class IWebsocketManager;
class ZebAccessor;

/// A listener of a service, and the last state that it was given.
struct FollowingListener {
    UntypedServiceListener handlers;
    bool isConnected = false;  ///< for the executor thread only
    bool isToldOf = false;     ///< whether it was told, or is about to be, that the link is connected

    /// Whether it belongs to somebody who has been destroyed.
    bool isAbandoned() const {
        const std::weak_ptr<const void> nobody;
        const bool hasOwner = handlers.owner.owner_before(nobody) || nobody.owner_before(handlers.owner);
        return hasOwner && handlers.owner.expired();
    }
};

/// A service that somebody follows: its listeners, and the one connection to it that is open or being made.
struct ServiceLink {
    /// @param logger of the registry
    ServiceLink(std::string serviceName, std::shared_ptr<zebutil::ILogger> logger)
        : name(std::move(serviceName)), faults(std::move(logger)) {}

    const std::string name;
    std::vector<std::shared_ptr<FollowingListener>> listeners;
    std::size_t listenersToCheck = 8;  ///< at so many listeners the abandoned ones are dropped

    /// Null while there is no endpoint to connect to, or no thread that could.
    std::shared_ptr<IWebsocketManager> websocketManager;
    /// Those before, whose sockets may still be closing.
    std::vector<std::weak_ptr<IWebsocketManager>> predecessors;
    ServiceEndpoint endpoint;  ///< of `websocketManager`
    /// Why `websocketManager` is being closed, if its address is no longer the right one.
    std::optional<EndReason> moving;
    bool isConnected = false;
    bool hasFailedToOpen = false;  ///< whether there was no thread to make the last attempt
    /// When a task of the executor makes the next attempt, if one does.
    std::optional<std::chrono::steady_clock::time_point> retryAt;

    // Of a service that is connected; null otherwise.
    std::shared_ptr<ITpAccess> access;
    std::shared_ptr<ZebAccessor> accessor;

    ConnectSchedule schedule;
    std::chrono::steady_clock::time_point connectedSince;
    bool isSettled = false;                        ///< whether the connection has proved stable
    FaultLog faults;                               ///< since the last connection that was stable
    std::shared_ptr<FaultLog> faultsOfWebsockets;  ///< of all connections; null before the first

    /// The connection has ended.
    void leave() {
        predecessors.erase(std::remove_if(predecessors.begin(), predecessors.end(),
                                          [](const auto& manager) { return manager.expired(); }),
                           predecessors.end());
        predecessors.push_back(websocketManager);
        websocketManager.reset();
    }
};

}  // namespace zeb
