#include "ClampControlClientImpl.h"

#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <csc_logging/CSCLogEntry.h>
#include <csc_logging/CSCLogging.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ClientServiceUtils.h>
#include <zeb/DefaultWebsocketManagerFactory.h>

#include <cassert>
#include <exception>

#include "ClampControlAccess.h"
#include "ProcessBase.h"

namespace clampcontrolclient {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using kelo_client::ClientServiceUtils;
using zebobjects_ZEB::ClampcontrolService;

namespace {

constexpr auto kConfigurationPath = "/var/run/csc/config/kelo-client/ClientConfig.json";

}  // namespace

ClampControlClientImpl::ClampControlClientImpl() {
    try {
        clientServiceBase_ = ClientServiceUtils::CreateClientServiceBase(kConfigurationPath);
        assert(clientServiceBase_);
        const auto clientServices = ClientServiceUtils::CreateClientServices(
            *clientServiceBase_, ClampcontrolService::getServiceName(), "ClampControl client");
        access_ = ClientServiceUtils::CreateClient<ClampControlAccess>(clientServices);
        clientServiceBase_->endWhenStopped(access_->waitingCalls());
    } catch (const std::exception& exception) {
        CSCLogging::LogError(CSCLogEntry(" Exception: ") << exception.what());
    } catch (...) {
        CSCLogging::LogError(CSCLogEntry("Unknown exception "));
    }
}

ClampControlClientImpl::~ClampControlClientImpl() {
    if (access_) {
        access_->DetachCallback();
    }
}

void ClampControlClientImpl::Start() {
    if (access_) {
        access_->start();
    }
}

void ClampControlClientImpl::Stop() {
    if (!access_) {
        return;
    }
    clientServiceBase_->stop();
    // Once the end of the process has begun, the service's name may be gone. Then the base has been stopped
    // with all its WebSockets, and there is nothing left to remove.
    std::string serviceName;
    if (const kelo_client::ProcessBase::Visit visit; visit.admitted()) {
        serviceName = ClampcontrolService::getServiceName();
    }
    clientServiceBase_->getWebsocketManagerFactory()->removeClient(serviceName);
    access_->Stop();
    access_->DetachCallback();  // Inside a callback the executor has not ended yet.
}

void ClampControlClientImpl::AssignCallback(ClampControlCallbackIf* callback) {
    assert(access_ && "the construction of this client failed; the log says why");
    access_->AssignCallback(callback);
}

std::string ClampControlClientImpl::SubscribeClampControl() {
    assert(access_ && "the construction of this client failed; the log says why");
    return access_->SubscribeClampControl();
}

void ClampControlClientImpl::UnsubscribeClampControl(const std::string& uuid) {
    assert(access_ && "the construction of this client failed; the log says why");
    access_->UnsubscribeClampControl(uuid);
}

}  // namespace clampcontrolclient
