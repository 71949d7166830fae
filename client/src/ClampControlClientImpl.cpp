#include "ClampControlClientImpl.h"

#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <csc_logging/CSCLogEntry.h>
#include <csc_logging/CSCLogging.h>
#include <internal/EscapedText.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ClientServiceUtils.h>
#include <unistd.h>
#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <algorithm>
#include <cassert>
#include <exception>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "ClampControlAccess.h"
#include "ProcessBase.h"

namespace clampcontrolclient {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using kelo_client::ClientServiceBase;
using kelo_client::ClientServiceUtils;
using zebobjects_ZEB::ClampcontrolService;

namespace {

constexpr auto kConfigurationPath = "/var/run/csc/config/kelo-client/ClientConfig.json";

constexpr std::chrono::milliseconds kFirstPause(100);
constexpr std::chrono::milliseconds kLongestPause(10000);

/// Without the memory for an error line, there is no way left to report anything.
void logError(const char* text, const char* detail = "") noexcept {
    try {
        CSCLogging::LogError(CSCLogEntry(text) << internal::escapedText(detail));
    } catch (...) {
    }
}

}  // namespace

ClampControlClientImpl::ClampControlClientImpl() : process_(::getpid()), setUp_(std::make_shared<SetUp>()) {
    setUp_->client = this;
    setUp_->pause = kFirstPause;
    make();
}

void ClampControlClientImpl::make() {
    try {
        auto base = ClientServiceUtils::CreateClientServiceBase(kConfigurationPath);
        assert(base);
        const auto clientServices = ClientServiceUtils::CreateClientServices(
            *base, ClampcontrolService::getServiceName(), "ClampControl client");
        auto isTaskWaiting = std::make_shared<std::atomic<bool>>(false);
        auto access = ClientServiceUtils::CreateClient<ClampControlAccess>(clientServices);
        base->endWhenStopped(access->waitingCalls());
        access->AssignCallback(callback_);
        clientServiceBase_ = std::move(base);
        isTaskWaiting_ = std::move(isTaskWaiting);
        access_ = std::move(access);
        isMade_ = true;
    } catch (const std::system_error& error) {
        // Each attempt says what the system lacks; this says it once.
        if (!mayBeMadeLater_.exchange(true)) {
            logError(" Exception: ", error.what());
        }
    } catch (const std::bad_alloc& exception) {
        mayBeMadeLater_ = true;
        logError(" Exception: ", exception.what());
    } catch (const std::exception& exception) {
        logError(" Exception: ", exception.what());
    } catch (...) {
        logError("Unknown exception ");
    }
}

void ClampControlClientImpl::makeLater() {
    if (isMade_ || !mayBeMadeLater_) {
        return;
    }
    try {
        const auto base = ClientServiceBase::getInstance();
        if (!base || !base->getZebExecutor()) {
            return;
        }
        if (setUp_->isPending) {
            base->getZebExecutor()->start();  // in case it still has no thread
            return;
        }
        base->getZebExecutor()->addAt(
            std::chrono::steady_clock::now() + setUp_->pause, [setUp = setUp_] { makeOnExecutor(*setUp); },
            "set-up of the client");
        setUp_->isPending = true;
        setUp_->pause = std::min(2 * setUp_->pause, kLongestPause);
    } catch (const std::bad_alloc&) {
        logError("Clamp Control Client: Start failed: ", "no memory");
    }
}

void ClampControlClientImpl::makeOnExecutor(SetUp& setUp) {
    // The end of the process waits for this, and afterwards what it needs does not exist any more.
    const kelo_client::ProcessBase::Visit visit;
    if (!visit.admitted()) {
        return;
    }
    const std::lock_guard lock(setUp.mutex);
    setUp.isPending = false;
    ClampControlClientImpl* const client = setUp.client;
    if (client == nullptr || client->isMade_ || !client->mayBeMadeLater_) {
        return;
    }
    client->make();
    client->makeLater();
    client->startAccess();
}

ClampControlClientImpl::~ClampControlClientImpl() {
    // In a forked child, nobody may ever unlock the mutex, and there is no task.
    if (!isOfParentProcess()) {
        const std::lock_guard lock(setUp_->mutex);
        setUp_->client = nullptr;
    }
    if (isUsable()) {
        access_->DetachCallback();
    } else if (access_) {
        // Releasing it would lock what a thread of the parent process may have locked. So it is never
        // released.
        static_cast<void>(new (std::nothrow) std::shared_ptr<ClampControlAccess>(std::move(access_)));
    }
}

bool ClampControlClientImpl::isUsable() const {
    return isMade_ && !isOfParentProcess();
}

bool ClampControlClientImpl::isOfParentProcess() const {
    return process_ != ::getpid();
}

void ClampControlClientImpl::Start() {
    if (!isMade_ && mayBeMadeLater_ && !isOfParentProcess()) {
        const std::lock_guard lock(setUp_->mutex);
        // Stop() may have come first.
        if (!isMade_ && mayBeMadeLater_) {
            make();
            makeLater();
        }
    }
    startAccess();
}

void ClampControlClientImpl::startAccess() {
    // An application that was told "not ready" may call Start() again.
    if (!isUsable() || isStarted_.exchange(true)) {
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
    if (!isMade_ && !isOfParentProcess()) {
        // A set-up that has begun on another thread ends first, and is stopped then.
        const std::lock_guard lock(setUp_->mutex);
        mayBeMadeLater_ = false;
    }
    if (!isUsable()) {
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
    if (!isMade_ && !isOfParentProcess()) {
        const std::lock_guard lock(setUp_->mutex);
        callback_ = callback;
    }
    if (isMade_) {
        access_->AssignCallback(callback);
    }
}

std::string ClampControlClientImpl::SubscribeClampControl() {
    try {
        if (!isUsable()) {
            makeSetUpThread();
            logError("Clamp Control Client: Not ready");
            throw std::runtime_error("ClampControl client not ready");
        }
        return subscribe();
    } catch (const std::bad_alloc&) {
        logError("Clamp Control Client: Failed to Subscribe. No memory");
        return {};
    }
}

std::string ClampControlClientImpl::subscribe() {
    try {
        return access_->SubscribeClampControl();
    } catch (const std::runtime_error&) {
        makeExecutorThread();
        throw;
    }
}

// The client may be not ready because the executor still has no thread. What makes it try again is a task,
// and nobody else adds one: that takes a connection.
void ClampControlClientImpl::makeExecutorThread() {
    const auto& executor = clientServiceBase_->getZebExecutor();
    if (isTaskWaiting_->exchange(true)) {
        executor->start();  // tries again as well, and queues nothing
    } else {
        executor->add([isWaiting = isTaskWaiting_] { *isWaiting = false; }, "executor thread");
    }
}

// The same for a client that is made later.
void ClampControlClientImpl::makeSetUpThread() {
    if (!isMade_ && mayBeMadeLater_ && !isOfParentProcess()) {
        const std::lock_guard lock(setUp_->mutex);
        if (setUp_->isPending) {
            makeLater();
        }
    }
}

void ClampControlClientImpl::UnsubscribeClampControl(const std::string& uuid) {
    if (!isUsable()) {
        return;
    }
    try {
        access_->UnsubscribeClampControl(uuid);
    } catch (const std::bad_alloc&) {
        logError("Clamp Control Client: Failed to Unsubscribe. No memory");
    }
}

}  // namespace clampcontrolclient
