#include "ClampControlClientImpl.h"

#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <csc_logging/CSCLogEntry.h>
#include <csc_logging/CSCLogging.h>
#include <internal/EscapedText.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ClientServiceUtils.h>
#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <cassert>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

#include "ClampControlAccess.h"
#include "ClientConfiguration.h"
#include "ProcessBase.h"
#include "WaitingCalls.h"

namespace clampcontrolclient {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using kelo_client::ClientServiceUtils;
using zebobjects_ZEB::ClampcontrolService;

namespace {

constexpr const char* kNotReady = "Clamp Control Client: Not ready";

/// Without the memory for an error line, there is no way left to report anything.
void logError(const char* text, const char* detail = "") noexcept {
    try {
        CSCLogging::LogError(CSCLogEntry(text) << internal::escapedText(detail));
    } catch (...) {
    }
}

}  // namespace

ClampControlClientImpl::ClampControlClientImpl()
    : setUp_(std::make_shared<SetUp>(SetUp::Steps{[this] { make(); }, [this] { startAccess(); }})) {
    setUp_->make();
}

void ClampControlClientImpl::make() {
    auto base = ClientServiceUtils::CreateClientServiceBase(kConfigurationPath);
    assert(base);
    const auto clientServices = ClientServiceUtils::CreateClientServices(
        *base, ClampcontrolService::getServiceName(), "ClampControl client");
    auto isTaskWaiting = std::make_shared<std::atomic<bool>>(false);
    auto access = ClientServiceUtils::CreateClient<ClampControlAccess>(clientServices);
    complainIfStopped(*base);
    base->tellWhenStopped(access->waitingCalls());
    access->AssignCallback(callback_);
    clientServiceBase_ = std::move(base);
    isTaskWaiting_ = std::move(isTaskWaiting);
    access_ = std::move(access);
}

ClampControlClientImpl::~ClampControlClientImpl() {
    setUp_->forget();
    if (setUp_->isUsable()) {
        access_->DetachCallback();
    } else if (access_) {
        // Releasing it would lock what a thread of the parent process may have locked. So it is never
        // released.
        static_cast<void>(new (std::nothrow) std::shared_ptr<ClampControlAccess>(std::move(access_)));
    }
}

void ClampControlClientImpl::Start() {
    setUp_->makeAgain();
    startAccess();
}

void ClampControlClientImpl::startAccess() {
    // An application that was told "not ready" may call Start() again.
    if (!setUp_->isUsable() || isStarted_.exchange(true)) {
        return;
    }
    try {
        access_->start();
    } catch (const std::exception& exception) {
        isStarted_ = false;
        logError("Clamp Control Client: Start failed: ", exception.what());
    }
}

void ClampControlClientImpl::Stop() {
    setUp_->end();
    if (!setUp_->isUsable()) {
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
    access_->ReleaseService();  // The connection that it belongs to would stay as long as the client.
}

void ClampControlClientImpl::AssignCallback(ClampControlCallbackIf* callback) {
    setUp_->changeUnlessMade([&] { callback_ = callback; });
    if (setUp_->isMade()) {
        access_->AssignCallback(callback);
    } else {
        logError(kNotReady);
    }
}

std::string ClampControlClientImpl::SubscribeClampControl() {
    try {
        if (!setUp_->isUsable()) {
            setUp_->askForThread();
            logError(kNotReady);
            throw std::runtime_error("ClampControl client not ready");
        }
        return subscribe();
    } catch (const std::bad_alloc&) {
        logError("Clamp Control Client: Failed to Subscribe. No memory");
        return {};
    }
}

// The application may destroy the client in a callback meanwhile. So everything is at hand that is needed
// afterwards.
std::string ClampControlClientImpl::subscribe() {
    const auto access = access_;
    const auto executor = clientServiceBase_->getZebExecutor();
    const auto isTaskWaiting = isTaskWaiting_;
    try {
        return access->SubscribeClampControl();
    } catch (const std::runtime_error&) {
        // The client may be not ready because the executor still has no thread. What makes it try again is a
        // task, and nobody else adds one: that takes a connection.
        if (isTaskWaiting->exchange(true)) {
            executor->start();  // tries again as well, and queues nothing
        } else {
            executor->add([isTaskWaiting] { *isTaskWaiting = false; }, "executor thread");
        }
        throw;
    }
}

void ClampControlClientImpl::UnsubscribeClampControl(const std::string& uuid) {
    if (!setUp_->isMade()) {
        logError(kNotReady);
    }
    if (!setUp_->isUsable()) {
        return;
    }
    const auto access = access_;
    try {
        access->UnsubscribeClampControl(uuid);
    } catch (const std::bad_alloc&) {
        logError("Clamp Control Client: Failed to Unsubscribe. No memory");
    }
}

}  // namespace clampcontrolclient
