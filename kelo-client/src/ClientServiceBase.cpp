#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ConfigurationManager.h>
#include <unistd.h>
#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zeb/ElementRegistry.h>
#include <zeb/IServiceRegistry.h>
#include <zeb/ITpAccessFactory.h>
#include <zebutil/LoggerFactory.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include "ProcessBase.h"
#include "ProcessLogging.h"
#include "StopObservers.h"

namespace kelo_client {

namespace {

constexpr const char* kStopped = "the client was stopped";

/// A step of the end that throws, for want of memory, does not keep the next ones from being done. There is
/// no memory for a line in the log either.
template <typename Step>
void attempt(Step step) noexcept {
    try {
        step();
    } catch (...) {
        return;
    }
}

}  // namespace

ProcessBaseObject::ProcessBaseObject() {
    csc_logging::ProcessLogging::make();
    zebobjects_ZEB::ClampcontrolService::getServiceName();
    zebobjects_ZEB::ClampcontrolService::Clamp::getResourceName();
    base_.reset(new ClientServiceBase());
}

void ProcessBaseObject::end() {
    // One that is still being filled is stopped by the thread that fills it.
    if (base_.use_count() > 1 && base_->isInitialised()) {
        base_->stop();
    }
}

std::shared_ptr<ClientServiceBase> ClientServiceBase::getInstance() {
    std::shared_ptr<ClientServiceBase> base;
    ProcessBase::with([&base](ProcessBaseObject& process) { base = process.base(); });
    return base;
}

ClientServiceBase::ClientServiceBase() : stopObservers_(std::make_shared<StopObservers>()) {}

ClientServiceBase::~ClientServiceBase() {
    stop();
}

bool ClientServiceBase::isOfParentProcess() const {
    const pid_t process = process_;
    return process != 0 && process != ::getpid();
}

void ClientServiceBase::tellWhenStopped(const std::shared_ptr<StopObserver>& observer) {
    stopObservers_->add(observer);
}

bool ClientServiceBase::isStopped() const {
    return stopObservers_->areStopped();
}

std::string ClientServiceBase::getConstructionFailure() const {
    const std::lock_guard lock(diagnosticsMutex_);
    return constructionFailure_;
}

void ClientServiceBase::noteConstructionFailure(const std::string& why) {
    const std::lock_guard lock(diagnosticsMutex_);
    constructionFailure_ = why;
}

std::string ClientServiceBase::getConfigurationFile() const {
    const std::lock_guard lock(diagnosticsMutex_);
    return configurationFile_;
}

void ClientServiceBase::noteConfigurationFile(const std::string& file) {
    const std::lock_guard lock(diagnosticsMutex_);
    configurationFile_ = file;
}

void ClientServiceBase::stop() noexcept {
    if (isOfParentProcess()) {
        return;
    }
    stopObservers_->tellStopping(kStopped);
    if (elementRegistry_) {
        attempt([this] { elementRegistry_->unsubscribeFromAll(); });
    }
    if (zebExecutor_) {
        attempt([this] { zebExecutor_->stop(); });
    }
    if (httpExecutor_) {
        attempt([this] { httpExecutor_->stop(); });
    }
    if (serviceRegistry_) {
        attempt([this] { serviceRegistry_->stop(); });
    }
    if (websocketManagerFactory_) {
        attempt([this] { websocketManagerFactory_->stopAndClearAll(); });
    }
}

}  // namespace kelo_client
