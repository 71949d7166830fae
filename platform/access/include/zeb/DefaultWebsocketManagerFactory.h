#pragma once

#include <zeb/Export.h>
#include <zeb/IWebsocketManagerFactory.h>

#include <memory>
#include <string>

namespace zeb {

/// Creates the WebSocket managers, keeps track of them, and keeps the thread running that serves them all.
/// That thread is shared by the whole process and ends when neither a factory nor a connection needs it any
/// more. No user code runs on it. Any thread may use the factory.
class ZEB_EXPORT DefaultWebsocketManagerFactory : public IWebsocketManagerFactory {
 public:
    /// Reads the variables of TLS; see docs/tls.md.
    DefaultWebsocketManagerFactory();
    ~DefaultWebsocketManagerFactory() override;
    DefaultWebsocketManagerFactory(const DefaultWebsocketManagerFactory&) = delete;
    DefaultWebsocketManagerFactory& operator=(const DefaultWebsocketManagerFactory&) = delete;

    std::shared_ptr<IWebsocketManager> createWebsocketManager(
        const std::string& clientName, const WebsocketSettings& settings,
        std::shared_ptr<zebutil::ITaskExecutor> executor, std::shared_ptr<zebutil::ILogger> logger,
        WebsocketObserver observer) override;

    /// Stops and drops all managers. When it returns, nothing more is received.
    void stopAndClearAll();

    /// Stops and drops the managers of one client; does nothing if there are none.
    void removeClient(const std::string& clientName);

 private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace zeb
