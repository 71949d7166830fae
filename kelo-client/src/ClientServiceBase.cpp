#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ConfigurationManager.h>
#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zeb/ElementRegistry.h>
#include <zeb/IServiceRegistry.h>
#include <zeb/ITpAccessFactory.h>
#include <zebutil/LoggerFactory.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include "ProcessBase.h"
#include "ProcessLogging.h"

namespace kelo_client {

ProcessBaseObject::ProcessBaseObject() {
    csc_logging::ProcessLogging::make();
    zebobjects_ZEB::ClampcontrolService::getServiceName();
    zebobjects_ZEB::ClampcontrolService::Clamp::getResourceName();
    base_.reset(new ClientServiceBase());
}

void ProcessBaseObject::end() {
    // A base that is still being filled has given its threads nothing to do yet.
    if (base_.use_count() > 1 && base_->isInitialised()) {
        base_->stop();
    }
}

std::shared_ptr<ClientServiceBase> ClientServiceBase::getInstance() {
    std::shared_ptr<ClientServiceBase> base;
    ProcessBase::with([&base](ProcessBaseObject& process) { base = process.base(); });
    return base;
}

ClientServiceBase::ClientServiceBase() = default;

ClientServiceBase::~ClientServiceBase() {
    stop();
}

void ClientServiceBase::stop() {
    if (elementRegistry_) {
        elementRegistry_->unsubscribeFromAll();
    }
    if (zebExecutor_) {
        zebExecutor_->stop();
    }
    if (httpExecutor_) {
        httpExecutor_->stop();
    }
    if (serviceRegistry_) {
        serviceRegistry_->stop();
    }
    if (websocketManagerFactory_) {
        websocketManagerFactory_->stopAndClearAll();
    }
}

}  // namespace kelo_client
