#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ConnectSchedule.h"
#include "EndReason.h"
#include "LinkStatus.h"
#include "ServiceEndpoint.h"
#include "ServiceListeners.h"
#include "log/FaultLog.h"
#include "log/ServiceCounters.h"

namespace zeb {

class ITpAccess;
class IWebsocketManager;
class ZebAccessor;
struct WebsocketEnd;

/// Receives the events of each WebSocket of a link, on the executor thread, with the WebSocket that they
/// happen to: an earlier one may report its own late.
struct LinkEvents {
    using Manager = std::weak_ptr<IWebsocketManager>;

    std::function<void(const Manager&)> opened;
    std::function<void(const Manager&, const WebsocketEnd&)> closed;
};

/// A service that somebody follows: its listeners, and the one connection to it that is open or being made.
///
/// Owned by the registry and used under its lock.
struct ServiceLink {
    /// @param tasks  queues tasks on the executor thread
    /// @param logger of the registry
    ServiceLink(std::string serviceName, const ServiceListeners::Execute& tasks, LinkEvents linkEvents,
                std::shared_ptr<zebutil::ILogger> logger)
        : name(std::move(serviceName)),
          execute(tasks),
          events(std::move(linkEvents)),
          listeners(tasks),
          status(name),
          faults(std::move(logger)) {}

    /// After this time a connection counts as established.
    static constexpr std::chrono::seconds kStableConnection{5};

    const std::string name;
    const ServiceListeners::Execute execute;
    const LinkEvents events;
    ServiceListeners listeners;
    LinkStatus status;

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
    bool isSettled = false;  ///< whether the connection has proved stable
    FaultLog faults;         ///< since the last connection that was stable
    // Of all connections; null before the first.
    std::shared_ptr<FaultLog> faultsOfWebsockets;
    std::shared_ptr<FaultLog> faultsOfRequests;
    const std::shared_ptr<ServiceCounters> counters = std::make_shared<ServiceCounters>();

    ServiceStatus fullStatus() const {
        ServiceStatus full = status.get();
        full.counts = counters->read();
        return full;
    }

    void tellConnected() { listeners.tellConnected(accessor, websocketManager); }

    /// Logs what is wrong, unless that was logged since the last connection that was stable.
    void warn(const std::string& text) { faults.warning(text, "service \"" + name + "\" " + text); }

    /// Logs it like warn(), but as an error, which the listeners are told, too.
    void reportError(const std::string& text) {
        if (faults.error(text, "service \"" + name + "\": " + text)) {
            listeners.tellError(text);
        }
    }

    /// Lets the pauses between attempts start over if the connection has lasted. A server that accepts and
    /// then closes every connection must not be asked faster and faster, nor fill the log with it.
    void settleIfStable() {
        const auto now = std::chrono::steady_clock::now();
        if (isConnected && !isSettled && now - connectedSince > kStableConnection) {
            isSettled = true;
            schedule.settle(endpoint.address());
            faults.forget();
        }
    }

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
