#pragma once

#include <zeb/ConnectStep.h>
#include <zeb/Export.h>
#include <zeb/IWebsocketManager.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zebutil {
class ILogger;
class ITaskExecutor;
}  // namespace zebutil

namespace zeb {

class FaultLog;
struct ServiceCounters;

/// Where a WebSocket connects to, and how it is monitored.
struct WebsocketSettings {
    std::string uri;                                    ///< "ws://127.0.0.1:8080/ClampControl", or "wss:"
    std::chrono::milliseconds connectDelay{0};          ///< time to wait before connecting
    std::chrono::milliseconds watchdogPingInterval{0};  ///< zero: no pings, only TCP keep-alive
    std::chrono::milliseconds watchdogPongTimeout{0};   ///< silence after which the connection counts as lost
    /// The service's connections before this one, which have ended or been stopped. No socket is opened as
    /// long as one of their sockets is still closing.
    std::vector<std::weak_ptr<IWebsocketManager>> predecessors = {};
    /// Which faults of the service were logged already. For the bundled WebSockets only; null starts afresh.
    std::shared_ptr<FaultLog> faults = {};
    /// What is counted of the service. Likewise.
    std::shared_ptr<ServiceCounters> counters = {};
};

/// Why a WebSocket has ended or could not be established.
struct WebsocketEnd {
    std::string reason;        ///< for the log
    bool isUntrusted = false;  ///< the server's certificate was refused
    /// Which step of connecting has failed; meaningless if there was a connection.
    ConnectStep step = ConnectStep::WebSocket;
};

/// Receives the events of one WebSocket on the executor thread: `opened` at most once, then `closed` exactly
/// once unless the manager was stopped. If the connection could not be established, only `closed` is called.
struct WebsocketObserver {
    std::function<void()> opened;
    std::function<void(const WebsocketEnd& end)> closed;
};

/// Creates the WebSockets of the service registry.
class ZEB_EXPORT IWebsocketManagerFactory {
 public:
    virtual ~IWebsocketManagerFactory() = default;

    /// Starts to connect and returns at once.
    /// @param clientName whose connection it is, which is the name of the service; see removeClient()
    /// @param executor   runs the observer and the handlers of the subscriptions, in order
    /// @throws ZebException if the URI cannot be used
    virtual std::shared_ptr<IWebsocketManager> createWebsocketManager(
        const std::string& clientName, const WebsocketSettings& settings,
        std::shared_ptr<zebutil::ITaskExecutor> executor, std::shared_ptr<zebutil::ILogger> logger,
        WebsocketObserver observer) = 0;
};

}  // namespace zeb
