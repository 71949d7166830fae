#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ClientServiceUtils.h>
#include <kelo-client/ConfigurationManager.h>
#include <kelo-client/KeloLoggerFactory.h>
#include <unistd.h>
#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zeb/ElementRegistry.h>
#include <zeb/HttpAccessFactory.h>
#include <zeb/ZebClientServices.h>
#include <zeb/ZebServiceRegistry.h>
#include <zebutil/ILogger.h>
#include <zebutil/PocoHttpSessionFactory.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <mutex>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "ProcessBase.h"
#include "RegistryMode.h"
#include "StopObservers.h"

namespace kelo_client {

using Mode = zeb::ZebServiceRegistry::Mode;

namespace {

std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> startedExecutor(zebutil::LoggerFactory& loggerFactory,
                                                                        const std::string& loggerName,
                                                                        const std::string& executorName) {
    auto executor = std::make_shared<zebutil::SingleThreadAsyncTaskExecutor>(
        executorName, loggerFactory.createLogger(loggerName));
    executor->start();
    return executor;
}

// While the process exits, what the application would be told with may not exist any more.
void tellStopped(StopObservers& observers) {
    const auto isExiting = [] { return !ProcessBase::Visit().admitted(); };
    if (!isExiting()) {
        observers.tellStopped();
    }
}

void refuseIfNull(const std::shared_ptr<ClientServiceBase>& base) {
    if (!base) {
        throw std::runtime_error("the client service base cannot be created while the process exits");
    }
}

}  // namespace

std::shared_ptr<ClientServiceBase> ClientServiceUtils::CreateClientServiceBase(
    const std::string& configFile) {
    auto base = ClientServiceBase::getInstance();
    refuseIfNull(base);
    if (base->isOfParentProcess()) {
        throw std::runtime_error(
            "the client service base was made before the process was forked, and its threads did not come "
            "along");
    }
    // Several clients may try again at the same time what has failed before.
    static std::mutex filling;
    const std::lock_guard lock(filling);
    if (!base->initialised_) {
        fill(*base, configFile);
        // The end of the process may have begun meanwhile. It stops only a base that is filled.
        if (!ClientServiceBase::getInstance()) {
            base->stop();
            refuseIfNull(nullptr);
        }
    }
    return base;
}

void ClientServiceUtils::fill(ClientServiceBase& base, const std::string& configFile) {
    base.process_ = ::getpid();
    base.noteConfigurationFile(configFile);
    // What an earlier attempt has made stays: the factories read the environment, which only a thread of the
    // application may do, and this may be another.
    if (!base.tpAccessFactory_) {
        base.loggerFactory_ = std::make_shared<KeloLoggerFactory>();
        base.websocketManagerFactory_ = std::make_shared<zeb::DefaultWebsocketManagerFactory>();
        base.tpAccessFactory_ =
            std::make_shared<zeb::HttpAccessFactory>(std::make_shared<zebutil::PocoHttpSessionFactory>());
    }
    base.configurationManager_ = std::make_shared<ConfigurationManager>(configFile);
    base.configurationManager_->load();
    // Also for a client that cannot be made yet, which is made on this thread later.
    if (!base.zebExecutor_) {
        auto executor = startedExecutor(*base.loggerFactory_, "***ZebExecutor", "zebExecutor");
        executor->addLast([observers = base.stopObservers_] { tellStopped(*observers); }, "clients stopped");
        base.zebExecutor_ = std::move(executor);
    }
    if (base.configurationManager_->isToBeLoadedAgain()) {
        // The defaults would lead to an address, and to a protocol, that nobody has configured.
        throw std::system_error(
            std::make_error_code(std::errc::resource_unavailable_try_again),
            "the configuration " + configFile + " cannot be read for want of descriptors or memory");
    }
    base.httpExecutor_ = startedExecutor(*base.loggerFactory_, "***httpExecutor", "httpExecutor");

    const auto& registrySettings = base.configurationManager_->getServiceRegistrySettings();
    if (const auto mode = registryModeOf(registrySettings.mode)) {
        base.registryMode_ = static_cast<int>(*mode);
    }

    zeb::ZebServiceRegistry::Settings settings;
    settings.mode = static_cast<Mode>(base.registryMode_);
    settings.httpUri = registrySettings.httpUri;
    base.serviceRegistry_ = std::make_shared<zeb::ZebServiceRegistry>(
        base.websocketManagerFactory_, base.configurationManager_, base.loggerFactory_, base.tpAccessFactory_,
        base.zebExecutor_, base.httpExecutor_, settings, base.configurationManager_->getServiceSettings());
    base.elementRegistry_ = std::make_shared<zeb::ElementRegistry>(
        base.serviceRegistry_, base.loggerFactory_->createLogger("ElementRegistry"));
    base.initialised_ = true;
}

std::shared_ptr<zeb::ZebClientServices> ClientServiceUtils::CreateClientServices(
    const ClientServiceBase& base, const std::string& /*serviceName*/, const std::string& clientName) {
    return std::make_shared<zeb::ZebClientServices>(
        clientName, base.getServiceRegistry(), base.getLoggerFactory(), base.getElementRegistry(),
        std::make_shared<zeb::ZebClientServices::Properties>(), nullptr);
}

}  // namespace kelo_client
