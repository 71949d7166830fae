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
    if (!field.hasValue()) {
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

/// One subscribe call. Shared by its caller, the handler of its subscription, and a call of another thread
/// whose subscription is replaced by this one.
struct ClampControlAccess::Attempt {
    explicit Attempt(std::uint64_t attempt) : number(attempt) {}

    const std::uint64_t number;  ///< in the order in which the calls have found the element
    SubscribeSync sync;
    /// The subscription has ended. A handler that was already running then checks this before it calls the
    /// application.
    std::atomic<bool> hasEnded = false;
    std::promise<std::string> answerOfCall;
    const std::shared_future<std::string> answer{answerOfCall.get_future().share()};
    std::shared_ptr<Attempt> replacedBy;  ///< accessed atomically

    /// Ends the call, whatever the reason, for those who wait for it. A notification handler that waits for
    /// the outcome blocks the executor.
    class End {
     public:
        explicit End(Attempt& attempt) : attempt_(attempt) {}
        ~End() {
            attempt_.sync.outcome.Set(SubscribeSync::kTimedOut);
            attempt_.answerOfCall.set_value(std::move(answer));
        }
        End(const End&) = delete;
        End& operator=(const End&) = delete;

        std::string answer;

     private:
        Attempt& attempt_;
    };
};

/// A platform subscription, and the subscribe call that has made it.
class ClampControlAccess::ElementSubscription : public zeb::Subscription {
 public:
    ElementSubscription(std::shared_ptr<zeb::Subscription> subscription, std::shared_ptr<Attempt> attempt)
        : subscription_(std::move(subscription)), attempt_(std::move(attempt)) {}
    ~ElementSubscription() override { attempt_->hasEnded = true; }

    std::string getUuidOfElement() const override { return subscription_->getUuidOfElement(); }
    bool isActive() const override { return !attempt_->hasEnded && subscription_->isActive(); }

    void unsubscribe() override {
        attempt_->hasEnded = true;
        subscription_->unsubscribe();
    }

    bool isLaterThan(const ElementSubscription& other) const {
        return attempt_->number > other.attempt_->number;
    }

    /// The caller that may still wait for this one gets the answer of that one.
    void replaceBy(const ElementSubscription& other) {
        std::atomic_store(&attempt_->replacedBy, other.attempt_);
        attempt_->sync.notified.Set(SubscribeSync::kReplaced);
    }

 private:
    const std::shared_ptr<zeb::Subscription> subscription_;
    const std::shared_ptr<Attempt> attempt_;
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
    std::atomic_store(&subscription_, std::shared_ptr<ElementSubscription>());
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

    const auto attempt = std::make_shared<Attempt>(++attempts_);
    Attempt::End end(*attempt);
    const WaitingCalls::Call call(*waitingCalls_,
                                  [attempt] { attempt->sync.notified.Set(SubscribeSync::kEnded); });
    const auto service = connectedService();
    std::weak_ptr<ElementSubscription> thisSubscription;
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
        auto element = service->subscribeElement<ClampcontrolService::Clamp>(
            descriptor,
            [attempt, weak = weak_from_this()](std::shared_ptr<const ClampcontrolService::Clamp> clamp) {
                if (const auto access = weak.lock()) {
                    access->clampNotified(clamp, *attempt);
                }
            });
        const auto subscription = std::make_shared<ElementSubscription>(std::move(element), attempt);
        thisSubscription = subscription;
        store(subscription);
    } catch (...) {
        CSCLogging::LogError("Clamp Control Client: Failed to Subscribe. Exception");
        return {};
    }

    SubscribeSync& sync = attempt->sync;
    if (!sync.notified.WaitFor(timeLimits_.firstNotification)) {
        CSCLogging::LogError("Clamp Control Client: Subscription timed out");
        dropSubscription(thisSubscription.lock());
        return {};
    }
    if (sync.notified.Get() == SubscribeSync::kEnded) {
        logEnd("SubscribeClampControl()", call);
        dropSubscription(thisSubscription.lock());
        return {};
    }
    if (sync.notified.Get() == SubscribeSync::kReplaced) {
        // The handler may have begun meanwhile, and what the other call waits for runs behind it.
        sync.outcome.Set(SubscribeSync::kTimedOut);
        end.answer = std::atomic_load(&attempt->replacedBy)->answer.get();
        return end.answer;
    }
    end.answer = uuid;
    sync.outcome.Set(SubscribeSync::kSucceeded);
    return uuid;
}

// Of two threads that subscribe at once, the one that began first may be the last to come here.
void ClampControlAccess::store(const std::shared_ptr<ElementSubscription>& subscription) {
    auto stored = std::atomic_load(&subscription_);
    do {
        if (stored && stored->isLaterThan(*subscription)) {
            subscription->replaceBy(*stored);
            return;
        }
    } while (!std::atomic_compare_exchange_strong(&subscription_, &stored, subscription));
    if (stored) {
        stored->replaceBy(*subscription);
    }
}

void ClampControlAccess::dropSubscription(std::shared_ptr<ElementSubscription> subscription) {
    // Leaves the subscription of another thread alone, which may have subscribed since.
    if (subscription) {
        std::atomic_compare_exchange_strong(&subscription_, &subscription,
                                            std::shared_ptr<ElementSubscription>());
    }
}

void ClampControlAccess::clampNotified(const std::shared_ptr<const ClampcontrolService::Clamp>& clamp,
                                       Attempt& attempt) {
    CSCLogging::LogInfo(notifiedLine_);
    attempt.sync.notified.Set(SubscribeSync::kNotified);
    const auto outcome = attempt.sync.outcome.Get();
    if (!clamp || outcome == SubscribeSync::kTimedOut) {
        return;
    }
    auto* const callback = callback_.load();
    if (!callback) {
        CSCLogging::LogError("Clamp Control Client: Element Subscription notification failed, nullptr error");
        return;
    }
    const auto type = valueOf(clamp->getType(), "type", *clamp);
    tellUnlessEnded(attempt.hasEnded, [callback] { callback->OnClampNotification(); });
    if (type != ClampcontrolService::CLAMP_TYPE::Clamp15) {
        return;
    }
    const auto switchedOn = valueOf(clamp->getIsSwitchedOn(), "isSwitchedOn", *clamp);
    tellUnlessEnded(attempt.hasEnded, [callback, switchedOn] { callback->OnClampStateChanged(switchedOn); });
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
