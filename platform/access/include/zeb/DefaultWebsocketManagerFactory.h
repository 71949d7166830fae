#pragma once

#include <zeb/Export.h>
#include <zeb/IWebsocketManagerFactory.h>

#include <memory>
#include <string>

namespace zeb {

/// Owns the WebSocket managers and the thread that serves them all. That thread is shared by every factory of
/// the process and ends with the last of them; no user code runs on it. Any thread may use the factory.
class ZEB_EXPORT DefaultWebsocketManagerFactory : public IWebsocketManagerFactory {
 public:
    DefaultWebsocketManagerFactory();
    ~DefaultWebsocketManagerFactory() override;
    DefaultWebsocketManagerFactory(const DefaultWebsocketManagerFactory&) = delete;
    DefaultWebsocketManagerFactory& operator=(const DefaultWebsocketManagerFactory&) = delete;

    std::shared_ptr<IWebsocketManager> createWebsocketManager(
        const std::string& clientName, const WebsocketSettings& settings,
        std::shared_ptr<zebutil::ITaskExecutor> executor, std::shared_ptr<zebutil::ILogger> logger,
        WebsocketObserver observer) override;

    /// Stops and drops every manager. When it has returned nothing is received any more.
    void stopAndClearAll();

    /// Stops and drops the managers of one client; does nothing when there are none.
    void removeClient(const std::string& clientName);

 private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace zeb
