#include "FakePlatform.h"

#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zeb/ElementRegistry.h>
#include <zeb/HttpAccessFactory.h>
#include <zeb/ZebClientServices.h>
#include <zebutil/ILogger.h>
#include <zebutil/JsonObject.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <cstdio>
#include <utility>

namespace {

// Needs no memory: destructors use it in tests that have none left.
void say(const char* event) {
    std::puts(event);
}

void say(const std::string& event) {
    say(event.c_str());
}

// Never destroyed, since it is used while the process's statics are being destroyed.
template <typename T>
T& immortal() {
    static auto& value = *new T();
    return value;
}

struct Actions {
    std::function<void()> whenAccessFactoryIsMade = [] {};
    std::function<void(const fake_platform::FindFirst&)> whenFindFirst = [](const auto&) {};
    std::function<void()> whenRegistryIsMade = [] {};
    std::function<void()> whenExecutorStops = [] {};
};

}  // namespace

namespace fake_platform {

RegistryArguments takeRegistryArguments() {
    return std::exchange(immortal<RegistryArguments>(), {});
}

void whenAccessFactoryIsMade(std::function<void()> action) {
    immortal<Actions>().whenAccessFactoryIsMade = std::move(action);
}

void whenFindFirst(std::function<void(const FindFirst&)> action) {
    immortal<Actions>().whenFindFirst = std::move(action);
}

void whenRegistryIsMade(std::function<void()> action) {
    immortal<Actions>().whenRegistryIsMade = std::move(action);
}

void whenExecutorStops(std::function<void()> action) {
    immortal<Actions>().whenExecutorStops = std::move(action);
}

zeb::UntypedServiceListener& lastListener() {
    return immortal<zeb::UntypedServiceListener>();
}

}  // namespace fake_platform

namespace zeb {

class DefaultWebsocketManagerFactory::Impl {};

DefaultWebsocketManagerFactory::DefaultWebsocketManagerFactory() {
    say("WebSocket manager factory: made");
}

DefaultWebsocketManagerFactory::~DefaultWebsocketManagerFactory() {
    say("WebSocket manager factory: destroyed");
}

std::shared_ptr<IWebsocketManager> DefaultWebsocketManagerFactory::createWebsocketManager(
    const std::string& /*clientName*/, const WebsocketSettings& /*settings*/,
    std::shared_ptr<zebutil::ITaskExecutor> /*executor*/, std::shared_ptr<zebutil::ILogger> /*logger*/,
    WebsocketObserver /*observer*/) {
    return nullptr;
}

void DefaultWebsocketManagerFactory::stopAndClearAll() {
    say("WebSocket manager factory: stopAndClearAll");
}

void DefaultWebsocketManagerFactory::removeClient(const std::string& clientName) {
    say("WebSocket manager factory: removeClient " + clientName);
}

HttpAccessFactory::HttpAccessFactory(std::shared_ptr<zebutil::PocoHttpSessionFactory> sessionFactory)
    : sessionFactory_(std::move(sessionFactory)) {
    say(sessionFactory_ ? "HTTP access factory: made" : "HTTP access factory: made without session factory");
    immortal<Actions>().whenAccessFactoryIsMade();
}

std::shared_ptr<ITpAccess> HttpAccessFactory::createAccess(const TpEndpoint& /*endpoint*/) {
    return nullptr;
}

void ZebAccessor::findFirstUntyped(XObjectDescriptor /*descriptor*/, ElementFactory elementFactory,
                                   UntypedSuccessHandler success, ErrorHandler error) {
    const auto found = [elementFactory = std::move(elementFactory),
                        success = std::move(success)](const std::string& json) {
        success(elementFactory(zebutil::JsonObject::parse(json)), std::make_shared<ZebResponse>(200, json));
    };
    immortal<Actions>().whenFindFirst({found, std::move(error)});
}

ZebClientServices::ZebClientServices(std::string clientName,
                                     std::shared_ptr<IServiceRegistry> serviceRegistry,
                                     std::shared_ptr<zebutil::LoggerFactory> loggerFactory,
                                     std::shared_ptr<ElementRegistry> elementRegistry,
                                     std::shared_ptr<Properties> properties,
                                     std::shared_ptr<zebutil::JsonObject> valueDictionary)
    : clientName_(std::move(clientName)),
      serviceRegistry_(std::move(serviceRegistry)),
      loggerFactory_(std::move(loggerFactory)),
      elementRegistry_(std::move(elementRegistry)),
      properties_(std::move(properties)),
      valueDictionary_(std::move(valueDictionary)) {
    say("client services: made for \"" + clientName_ + "\"");
}

class ZebServiceRegistry::Impl {};

ZebServiceRegistry::ZebServiceRegistry(
    std::shared_ptr<IWebsocketManagerFactory> websocketManagerFactory,
    std::shared_ptr<IConfigManager> configManager, std::shared_ptr<zebutil::LoggerFactory> loggerFactory,
    std::shared_ptr<ITpAccessFactory> tpAccessFactory, std::shared_ptr<zebutil::ITaskExecutor> zebExecutor,
    std::shared_ptr<zebutil::ITaskExecutor> httpExecutor, const Settings& settings,
    std::shared_ptr<ZebServiceConfigurations::ServiceSettings> serviceSettings) {
    immortal<Actions>().whenRegistryIsMade();
    say("service registry: made");
    immortal<fake_platform::RegistryArguments>() = {std::move(websocketManagerFactory),
                                                    std::move(configManager),
                                                    std::move(loggerFactory),
                                                    std::move(tpAccessFactory),
                                                    std::move(zebExecutor),
                                                    std::move(httpExecutor),
                                                    settings,
                                                    std::move(serviceSettings)};
}

ZebServiceRegistry::~ZebServiceRegistry() {
    say("service registry: destroyed");
}

void ZebServiceRegistry::registerServiceListener(UntypedServiceListener listener) {
    say("service registry: follow " + listener.serviceName);
    immortal<UntypedServiceListener>() = std::move(listener);
}

void ZebServiceRegistry::unsubscribeFromAllElements() {}

std::vector<ServiceStatus> ZebServiceRegistry::getServiceStatuses() const {
    return {};
}

void ZebServiceRegistry::stop() {
    say("service registry: stop");
}

ElementRegistry::ElementRegistry(std::shared_ptr<IServiceRegistry> serviceRegistry,
                                 std::shared_ptr<zebutil::ILogger> logger)
    : serviceRegistry_(std::move(serviceRegistry)), logger_(std::move(logger)) {
    say("element registry: made");
    logger_->debug("made");
}

ElementRegistry::~ElementRegistry() {
    say("element registry: destroyed");
}

void ElementRegistry::unsubscribeFromAll() {
    say("element registry: unsubscribeFromAll");
}

}  // namespace zeb

namespace zebutil {

class SingleThreadAsyncTaskExecutor::Worker {
 public:
    std::string name;
    std::unique_ptr<ILogger> logger;
};

SingleThreadAsyncTaskExecutor::SingleThreadAsyncTaskExecutor(const std::string& name,
                                                             std::unique_ptr<ILogger> logger)
    : worker_(std::make_shared<Worker>()) {
    worker_->name = name;
    worker_->logger = std::move(logger);
    say(name + ": made");
    worker_->logger->debug("made");
}

SingleThreadAsyncTaskExecutor::~SingleThreadAsyncTaskExecutor() {
    std::printf("%s: destroyed\n", worker_->name.c_str());
}

void SingleThreadAsyncTaskExecutor::start() {
    say(worker_->name + ": start");
}

void SingleThreadAsyncTaskExecutor::stop() {
    say(worker_->name + ": stop");
    immortal<Actions>().whenExecutorStops();
}

void SingleThreadAsyncTaskExecutor::add(std::function<void()> /*function*/, const char* /*name*/) {}

void SingleThreadAsyncTaskExecutor::addLast(std::function<void()> /*function*/, const char* /*name*/) {}

}  // namespace zebutil
