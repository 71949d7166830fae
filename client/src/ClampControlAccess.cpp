#include "ClampControlAccess.h"

#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <csc_logging/CSCLogEntry.h>
#include <csc_logging/CSCLogging.h>
#include <internal/EscapedText.h>
#include <kelo-client/KeloLogger.h>
#include <zeb/IServiceRegistry.h>
#include <zeb/ServiceListener.h>
#include <zeb/Subscription.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebClientServices.h>
#include <zeb/ZebResponse.h>

#include <exception>
#include <future>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

#include "ProcessBase.h"
#include "WaitingCalls.h"

namespace clampcontrolclient {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using kelo_client::SubscribeSync;
using kelo_client::WaitingCalls;
using zebobjects_ZEB::ClampcontrolService;

namespace {

/// Sets the outcome of a subscribe call that ends without one, whatever the reason. A notification handler
/// that waits for the outcome blocks the executor.
class OutcomeGuard {
 public:
    explicit OutcomeGuard(SubscribeSync& sync) : sync_(sync) {}
    ~OutcomeGuard() { sync_.outcome.Set(SubscribeSync::kTimedOut); }
    OutcomeGuard(const OutcomeGuard&) = delete;
    OutcomeGuard& operator=(const OutcomeGuard&) = delete;

 private:
    SubscribeSync& sync_;
};

/// What a look-up waits for: the uuid, which is empty if none was found. Nothing if the wait was ended. Kept
/// by everyone who may give it; the first one counts.
using FoundUuid = std::promise<std::optional<std::string>>;

void give(FoundUuid& found, std::optional<std::string> uuid) {
    try {
        found.set_value(std::move(uuid));
    } catch (const std::future_error&) {
        // Another thread was faster.
    }
}

void logEnd(const char* operation, const WaitingCalls::Call& call) {
    const char* const reason = call.endReason();
    CSCLogging::LogError(CSCLogEntry("Clamp Control Client: ")
                         << operation
                         << " ended early: " << (reason != nullptr ? reason : "the client was stopped"));
}

void logFailure(const zeb::ZebResponse& response) {
    if (const auto exception = response.getHttpException()) {
        CSCLogging::LogError(CSCLogEntry("Clamp Control Client: ErrorCb: ")
                             << internal::escapedText(exception->what()));
    } else {
        CSCLogging::LogError(CSCLogEntry("Clamp Control Client: ErrorCb, response status: ")
                             << response.getStatusCode());
    }
}

/// The field's value. If it is absent, says which one and why before it throws. The line passes the limits
/// for what the service can cause.
template <typename T>
T valueOf(const zebutil::Optional<T>& field, const char* key, const ClampcontrolService::Clamp& clamp) {
    if (!field) {
        kelo_client::KeloLogger("Clamp Control Client")
            .warning(std::string("notification without a usable \"") + key + "\": " + clamp.whyAbsent(key));
    }
    return field.getValue();
}

/// A lack of memory for this does not keep the application from being told.
template <typename Step>
void attempt(Step step) {
    try {
        step();
    } catch (const std::bad_alloc&) {
        return;
    }
}

}  // namespace

/// A platform subscription with a flag, shared with its handler, that says that it has ended. A handler that
/// was already running at that time checks the flag before it calls the application.
class ClampControlAccess::ElementSubscription : public zeb::Subscription {
 public:
    ElementSubscription(std::shared_ptr<zeb::Subscription> subscription,
                        std::shared_ptr<std::atomic<bool>> ended)
        : subscription_(std::move(subscription)), ended_(std::move(ended)) {}
    ~ElementSubscription() override { *ended_ = true; }

    std::string getUuidOfElement() const override { return subscription_->getUuidOfElement(); }

    void unsubscribe() override {
        *ended_ = true;
        subscription_->unsubscribe();
    }

 private:
    const std::shared_ptr<zeb::Subscription> subscription_;
    const std::shared_ptr<std::atomic<bool>> ended_;
};

ClampControlAccess::ClampControlAccess(std::shared_ptr<zeb::ZebClientServices> clientServices)
    : ClampControlAccess(std::move(clientServices), TimeLimits()) {}

ClampControlAccess::ClampControlAccess(std::shared_ptr<zeb::ZebClientServices> clientServices,
                                       const TimeLimits& timeLimits)
    : zeb::ZebClient(std::move(clientServices)),
      waitingCalls_(std::make_shared<WaitingCalls>()),
      timeLimits_(timeLimits) {}

ClampControlAccess::~ClampControlAccess() = default;

void ClampControlAccess::start() {
    const auto weak = weak_from_this();
    zeb::ServiceListener<ClampcontrolService> listener;
    listener.owner = weak;
    listener.connected = [weak](std::shared_ptr<ClampcontrolService> service) {
        if (const auto self = weak.lock()) {
            self->ServiceConnected(std::move(service));
        }
    };
    listener.disconnected = [weak] {
        if (const auto self = weak.lock()) {
            self->ServiceDisconnected();
        }
    };
    // The exception is taken by value, so the text is that of std::exception itself. The platform logs the
    // real one.
    listener.error = [weak](std::exception exception) {
        if (const auto self = weak.lock()) {
            CSCLogging::LogError(CSCLogEntry("Clamp Control Client: ServiceListener Error: ")
                                 << exception.what());
        }
    };
    getClientServices()->getServiceRegistry()->registerServiceListener(listener);
}

void ClampControlAccess::AssignCallback(ClampControlCallbackIf* callback) {
    callback_ = callback;
}

void ClampControlAccess::DetachCallback() {
    waitingCalls_->close("the client was destroyed");
    gate_.close();
}

void ClampControlAccess::ReleaseService() {
    if (std::atomic_load(&service_)) {
        isServiceReleased_ = true;
        std::atomic_store(&service_, std::shared_ptr<ClampcontrolService>());
    }
}

void ClampControlAccess::ServiceConnected(std::shared_ptr<ClampcontrolService> service) {
    attempt([] { CSCLogging::LogInfo("Clamp Control Client: Service Connected"); });
    std::atomic_store(&service_, std::move(service));
    gate_.pass([this] {
        if (auto* const callback = callback_.load()) {
            callback->OnConnectionStateChanged(true);
        }
    });
}

void ClampControlAccess::ServiceDisconnected() {
    attempt([] { CSCLogging::LogInfo("Clamp Control Client: Service disconnected"); });
    isServiceReleased_ = false;
    std::atomic_store(&service_, std::shared_ptr<ClampcontrolService>());
    std::atomic_store(&subscription_, std::shared_ptr<zeb::Subscription>());
    attempt([this] { waitingCalls_->end("the service disconnected"); });
    gate_.pass([this] {
        if (auto* const callback = callback_.load()) {
            callback->OnConnectionStateChanged(false);
        }
    });
}

std::shared_ptr<ClampcontrolService> ClampControlAccess::connectedService() const {
    auto service = std::atomic_load(&service_);
    if (!service && !isServiceReleased_) {
        CSCLogging::LogError("Clamp Control Client: Not ready");
        throw std::runtime_error("ClampControl client not ready");
    }
    return service;
}

std::string ClampControlAccess::GetClampControlUuid(ClampcontrolService::CLAMP_TYPE type) {
    // This function keeps the promise as well: if the platform drops the handlers without a call, the wait
    // below times out.
    const auto found = std::make_shared<FoundUuid>();
    auto onSuccess = [found](std::shared_ptr<const ClampcontrolService::Clamp> clamp,
                             std::shared_ptr<const zeb::ZebResponse> /*response*/) {
        give(*found, clamp && clamp->getId() ? clamp->getId().getValue() : std::string());
    };
    auto onError = [found](std::shared_ptr<const zeb::ZebResponse> response) {
        if (response) {
            logFailure(*response);
        }
        give(*found, std::string());
    };

    const WaitingCalls::Call call(*waitingCalls_, [found] { give(*found, std::nullopt); });
    const auto service = connectedService();
    auto answer = found->get_future();
    try {
        const kelo_client::ProcessBase::Visit visit;
        if (!visit.admitted()) {
            return {};
        }
        if (!service || call.endReason() != nullptr) {
            logEnd("GetClampControlUuid()", call);
            return {};
        }
        ClampcontrolService::ClampDescriptor descriptor;
        descriptor.setType(type);
        service->getAccessor()->findFirst<ClampcontrolService::Clamp>(
            std::move(descriptor), std::move(onSuccess), std::move(onError));
    } catch (...) {
        CSCLogging::LogError("Clamp Control Client: readResource ZebAccess exception");
        return {};
    }

    const auto deadline = std::chrono::system_clock::now() + timeLimits_.findFirst;
    if (answer.wait_until(deadline) != std::future_status::ready) {
        CSCLogging::LogError("Clamp Control Client: GetClampControlUuid() request timeout");
        return {};
    }
    const auto uuid = answer.get();
    if (!uuid) {
        logEnd("GetClampControlUuid()", call);
    }
    return uuid.value_or(std::string());
}

std::string ClampControlAccess::SubscribeClampControl() {
    if (CallbackGate::isInsideCallback()) {
        CSCLogging::LogError("Clamp Control Client: SubscribeClampControl called from inside a callback");
        return {};
    }
    const auto self = shared_from_this();  // a callback may destroy the client in the meantime

    auto uuid = GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15);
    if (uuid.empty()) {
        return {};
    }

    const auto sync = std::make_shared<SubscribeSync>();
    const OutcomeGuard outcomeGuard(*sync);
    const WaitingCalls::Call call(*waitingCalls_, [sync] { sync->notified.Set(SubscribeSync::kEnded); });
    const auto service = connectedService();
    std::weak_ptr<zeb::Subscription> thisSubscription;
    try {
        const kelo_client::ProcessBase::Visit visit;
        if (!visit.admitted()) {
            return {};
        }
        if (!service) {
            logEnd("SubscribeClampControl()", call);
            return {};
        }
        ClampcontrolService::ClampDescriptor descriptor;
        descriptor.setId(uuid);
        const auto ended = std::make_shared<std::atomic<bool>>(false);
        auto element = service->subscribeElement<ClampcontrolService::Clamp>(
            descriptor,
            [sync, ended, weak = weak_from_this()](std::shared_ptr<const ClampcontrolService::Clamp> clamp) {
                if (const auto access = weak.lock()) {
                    access->clampNotified(clamp, *sync, *ended);
                }
            });
        std::shared_ptr<zeb::Subscription> subscription =
            std::make_shared<ElementSubscription>(std::move(element), ended);
        thisSubscription = subscription;
        std::atomic_store(&subscription_, std::move(subscription));
    } catch (...) {
        CSCLogging::LogError("Clamp Control Client: Failed to Subscribe. Exception");
        return {};
    }

    if (!sync->notified.WaitFor(timeLimits_.firstNotification)) {
        CSCLogging::LogError("Clamp Control Client: Subscription timed out");
        dropSubscription(thisSubscription.lock());
        sync->outcome.Set(SubscribeSync::kTimedOut);
        return {};
    }
    if (sync->notified.Get() == SubscribeSync::kEnded) {
        logEnd("SubscribeClampControl()", call);
        dropSubscription(thisSubscription.lock());
        sync->outcome.Set(SubscribeSync::kTimedOut);
        return {};
    }
    sync->outcome.Set(SubscribeSync::kSucceeded);
    return uuid;
}

void ClampControlAccess::dropSubscription(std::shared_ptr<zeb::Subscription> subscription) {
    // Leaves the subscription of another thread alone, which may have subscribed since.
    if (subscription) {
        std::atomic_compare_exchange_strong(&subscription_, &subscription,
                                            std::shared_ptr<zeb::Subscription>());
    }
}

void ClampControlAccess::clampNotified(const std::shared_ptr<const ClampcontrolService::Clamp>& clamp,
                                       SubscribeSync& sync, const std::atomic<bool>& ended) {
    CSCLogging::LogInfo(notifiedLine_);
    sync.notified.Set(SubscribeSync::kNotified);
    const auto outcome = sync.outcome.Get();
    if (!clamp || outcome == SubscribeSync::kTimedOut) {
        return;
    }
    auto* const callback = callback_.load();
    if (!callback) {
        CSCLogging::LogError("Clamp Control Client: Element Subscription notification failed, nullptr error");
        return;
    }
    const auto type = valueOf(clamp->getType(), "type", *clamp);
    tellUnlessEnded(ended, [callback] { callback->OnClampNotification(); });
    if (type != ClampcontrolService::CLAMP_TYPE::Clamp15) {
        return;
    }
    const auto switchedOn = valueOf(clamp->getIsSwitchedOn(), "isSwitchedOn", *clamp);
    tellUnlessEnded(ended, [callback, switchedOn] { callback->OnClampStateChanged(switchedOn); });
}

template <typename Call>
void ClampControlAccess::tellUnlessEnded(const std::atomic<bool>& ended, Call call) {
    gate_.pass([&] {
        if (!ended) {
            call();
        }
    });
}

void ClampControlAccess::UnsubscribeClampControl(const std::string& uuid) {
    const auto subscription = std::atomic_load(&subscription_);
    if (!subscription || subscription->getUuidOfElement() != uuid) {
        return;
    }
    subscription->unsubscribe();
    CSCLogging::LogInfo(CSCLogEntry("Clamp Control Client: Unsubscribed uuid = ")
                        << internal::escapedText(uuid));
}

}  // namespace clampcontrolclient
