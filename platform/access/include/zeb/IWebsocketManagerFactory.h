#pragma once

#include <zeb/Export.h>
#include <zeb/IWebsocketManager.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace zebutil {
class ILogger;
class ITaskExecutor;
}  // namespace zebutil

namespace zeb {

/// Where a WebSocket leads and how it is watched.
struct WebsocketSettings {
    std::string uri;                                    ///< "ws://127.0.0.1:8080/ClampControl", or "wss:"
    std::chrono::milliseconds connectDelay{0};          ///< time to let pass before connecting
    std::chrono::milliseconds watchdogPingInterval{0};  ///< zero: no pings, TCP keep-alive alone
    std::chrono::milliseconds watchdogPongTimeout{0};   ///< silence after which the connection counts as lost
};

/// Why a WebSocket has ended or was never established.
struct WebsocketEnd {
    std::string reason;        ///< for the log
    bool isUntrusted = false;  ///< the server's certificate was refused
};

/// Told what becomes of one WebSocket, on the executor thread: at most one `opened`, then exactly one
/// `closed` unless the manager was stopped. A connection that was never established gives `closed` alone.
struct WebsocketObserver {
    std::function<void()> opened;
    std::function<void(const WebsocketEnd& end)> closed;
};

/// Makes the WebSockets of the service registry.
class ZEB_EXPORT IWebsocketManagerFactory {
 public:
    virtual ~IWebsocketManagerFactory() = default;

    /// Begins to connect and returns at once.
    /// @param clientName whose connection it is: the name of the service; see removeClient()
    /// @param executor   runs the observer and the handlers of the subscriptions, in order
    /// @throws ZebException when the URI cannot be used
    virtual std::shared_ptr<IWebsocketManager> createWebsocketManager(
        const std::string& clientName, const WebsocketSettings& settings,
        std::shared_ptr<zebutil::ITaskExecutor> executor, std::shared_ptr<zebutil::ILogger> logger,
        WebsocketObserver observer) = 0;
};

}  // namespace zeb
