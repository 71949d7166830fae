#include "Client.h"

#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zeb/HttpAccessFactory.h>
#include <zeb/IConfigManager.h>
#include <zeb/ServiceListener.h>
#include <zeb/Subscription.h>
#include <zeb/ZebServiceRegistry.h>
#include <zebutil/ILogger.h>
#include <zebutil/LoggerFactory.h>
#include <zebutil/PocoHttpSessionFactory.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <chrono>
#include <future>
#include <utility>

namespace scale {

namespace {

using zebobjects_ZEB::ClampcontrolService;

/// Locates every service on the same server.
class OneServer : public zeb::IConfigManager {
 public:
    explicit OneServer(std::string serverBaseUri) : serverBaseUri_(std::move(serverBaseUri)) {}

    std::string getServerBaseUri(const std::string&) const override { return serverBaseUri_; }
    std::string getServerBasePath(const std::string&) const override { return "/"; }
    std::string getSeparatorAfterResource(const std::string&) const override { return "/"; }
    bool isServiceConfigurationKnown(const std::string&) const override { return true; }
    std::chrono::milliseconds getWatchdogPingInterval(const std::string&) const override { return {}; }
    std::chrono::milliseconds getWatchdogPongTimeout(const std::string&) const override { return {}; }
    zeb::ZebServiceConfigurations::ServiceConfiguration getServiceConfiguration(
        const std::string&) const override {
        zeb::ZebServiceConfigurations::ServiceConfiguration configuration;
        configuration.serverBaseUri = serverBaseUri_;
        configuration.serverBasePath = "/";
        configuration.separatorAfterResource = "/";
        return configuration;
    }

 private:
    const std::string serverBaseUri_;
};

std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> startedExecutor(const std::string& name) {
    auto executor = std::make_shared<zebutil::SingleThreadAsyncTaskExecutor>(
        name, zebutil::LoggerFactory::getDefaultLoggerFactory()->createLogger(name));
    executor->start();
    return executor;
}

}  // namespace

Client::Client(const std::string& serverBaseUri)
    : websockets_(std::make_shared<zeb::DefaultWebsocketManagerFactory>()),
      zebExecutor_(startedExecutor("zebExecutor")),
      httpExecutor_(startedExecutor("httpExecutor")) {
    zeb::ZebServiceRegistry::Settings settings;
    settings.mode = zeb::ZebServiceRegistry::Mode::StaticOnly;
    registry_ = std::make_shared<zeb::ZebServiceRegistry>(
        websockets_, std::make_shared<OneServer>(serverBaseUri),
        zebutil::LoggerFactory::getDefaultLoggerFactory(),
        std::make_shared<zeb::HttpAccessFactory>(std::make_shared<zebutil::PocoHttpSessionFactory>()),
        zebExecutor_, httpExecutor_, settings,
        std::make_shared<zeb::ZebServiceConfigurations::ServiceSettings>());

    const auto connected = std::make_shared<std::promise<std::shared_ptr<ClampcontrolService>>>();
    zeb::ServiceListener<ClampcontrolService> listener;
    listener.connected = [connected](std::shared_ptr<ClampcontrolService> service) {
        connected->set_value(std::move(service));
    };
    registry_->registerServiceListener(listener);
    service_ = connected->get_future().get();
}

Client::~Client() {
    zebExecutor_->stop();
    httpExecutor_->stop();
    registry_->stop();
    websockets_->stopAndClearAll();
}

void Client::subscribe(std::size_t count, Handler handler) {
    handler_ = std::move(handler);
    for (std::size_t number = 0; number < count; ++number) {
        ClampcontrolService::ClampDescriptor descriptor;
        descriptor.setId(std::to_string(number + 1));
        subscriptions_.push_back(service_->subscribeElement<Clamp>(
            descriptor, [this, number](std::shared_ptr<const Clamp> clamp) { handler_(number, *clamp); }));
    }
}

}  // namespace scale
