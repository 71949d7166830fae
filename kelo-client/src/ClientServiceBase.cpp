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

#include <algorithm>
#include <utility>

#include "ProcessBase.h"
#include "ProcessLogging.h"
#include "WaitingCalls.h"

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

ClientServiceBase::ClientServiceBase() = default;

ClientServiceBase::~ClientServiceBase() {
    stop();
}

bool ClientServiceBase::isOfParentProcess() const {
    const pid_t process = process_;
    return process != 0 && process != ::getpid();
}

void ClientServiceBase::endWhenStopped(const std::shared_ptr<WaitingCalls>& calls) {
    {
        const std::lock_guard lock(waitingMutex_);
        if (!isStopped_) {
            waitingCalls_.erase(std::remove_if(waitingCalls_.begin(), waitingCalls_.end(),
                                               [](const auto& other) { return other.expired(); }),
                                waitingCalls_.end());
            waitingCalls_.push_back(calls);
            return;
        }
    }
    calls->close(kStopped);
}

void ClientServiceBase::endWaitingCalls() {
    std::vector<std::weak_ptr<WaitingCalls>> waiting;
    {
        const std::lock_guard lock(waitingMutex_);
        isStopped_ = true;
        waiting.swap(waitingCalls_);
    }
    for (const auto& calls : waiting) {
        if (const auto ended = calls.lock()) {
            attempt([&ended] { ended->close(kStopped); });
        }
    }
}

void ClientServiceBase::stop() noexcept {
    if (isOfParentProcess()) {
        return;
    }
    attempt([this] { endWaitingCalls(); });
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
