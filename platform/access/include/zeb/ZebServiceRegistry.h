#pragma once

#include <zeb/Export.h>
#include <zeb/IServiceRegistry.h>
#include <zeb/ZebServiceConfigurations.h>

#include <memory>
#include <string>
#include <vector>

namespace zebutil {
class ITaskExecutor;
class LoggerFactory;
}  // namespace zebutil

namespace zeb {

class IConfigManager;
class ITpAccessFactory;
class IWebsocketManagerFactory;

/// The service registry of the bus: finds the endpoint of each service that has a listener, keeps a WebSocket
/// to it open, and notifies the listeners. A service is connected while its WebSocket is open. Owned by
/// shared pointer. Any thread may call it; listeners run on the "zebExecutor".
class ZEB_EXPORT ZebServiceRegistry : public IServiceRegistry {
 public:
    /// Endpoints come only from the configuration.
    static const std::string STR_MODE_STATIC_ONLY;
    /// Endpoints come only from the registry service of the bus.
    static const std::string STR_MODE_DYNAMIC_ONLY;
    /// Endpoints come from the configuration if it knows the service, otherwise from the registry service.
    static const std::string STR_MODE_STATIC_BEFORE_DYNAMIC;

    enum class Mode : int { StaticOnly = 0, DynamicOnly = 1, StaticBeforeDynamic = 2 };

    struct Settings {
        Mode mode{Mode::DynamicOnly};
        std::string httpUri;  ///< where the registry service is: base URI, followed by the base path
    };

    /// `zebExecutor` should be a zebutil::ITimedTaskExecutor: any other runs at once what is meant for later.
    /// The first registry of the process also makes `loggerFactory` the default logger factory of the
    /// process.
    ZebServiceRegistry(std::shared_ptr<IWebsocketManagerFactory> websocketManagerFactory,
                       std::shared_ptr<IConfigManager> configManager,
                       std::shared_ptr<zebutil::LoggerFactory> loggerFactory,
                       std::shared_ptr<ITpAccessFactory> tpAccessFactory,
                       std::shared_ptr<zebutil::ITaskExecutor> zebExecutor,
                       std::shared_ptr<zebutil::ITaskExecutor> httpExecutor, const Settings& settings,
                       std::shared_ptr<ZebServiceConfigurations::ServiceSettings> serviceSettings);
    ~ZebServiceRegistry() override;

    using IServiceRegistry::registerServiceListener;
    void registerServiceListener(UntypedServiceListener listener) override;
    void removeServiceListeners(const std::weak_ptr<const void>& owner) override;
    std::vector<ServiceStatus> getServiceStatuses() const override;
    void unsubscribeFromAllElements() override;
    void stop() override;

 private:
    class Impl;
    std::shared_ptr<Impl> impl_;
};

}  // namespace zeb
