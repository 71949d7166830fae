#include "ClampTracker.h"

#include <internal/UntilThereIsMemory.h>
#include <zeb/IServiceRegistry.h>
#include <zeb/ServiceListener.h>
#include <zeb/Subscription.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebClientServices.h>
#include <zeb/ZebResponse.h>
#include <zebutil/ITimedTaskExecutor.h>
#include <zebutil/StopHandler.h>

#include <exception>
#include <new>
#include <utility>

#include "ProcessBase.h"

namespace clampcontrolclient {

namespace {

constexpr const char* kElement = "the element of type \"Clamp15\"";

std::string inQuotes(const std::string& text) {
    return '"' + text + '"';
}

}  // namespace

ClampTracker::ClampTracker(std::shared_ptr<zeb::ZebClientServices> clientServices,
                           std::shared_ptr<zebutil::ITimedTaskExecutor> executor,
                           std::weak_ptr<Listener> listener, const TimeLimits& timeLimits)
    : zeb::ZebClient(std::move(clientServices)),
      executor_(std::move(executor)),
      listener_(std::move(listener)),
      timeLimits_(timeLimits),
      pause_(timeLimits.pauses) {}

ClampTracker::~ClampTracker() {
    executor_->removeTasks(this);
}

// What fails for want of memory would be lost for good.
template <typename Step>
auto ClampTracker::always(Step step) {
    return [weak = weak_from_this(), step = std::move(step)](const auto&... arguments) {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        internal::untilThereIsMemory(
            [&] {
                try {
                    step(*self, arguments...);
                } catch (const std::bad_alloc&) {
                    self->tell([](Listener& listener) { listener.onMemoryShortage(); });
                    throw;
                }
            },
            zebutil::StopHandler::isStopped);
    };
}

template <typename Step>
auto ClampTracker::ofThisAttempt(Step step) {
    return ofAttempt(attempt_, std::move(step));
}

template <typename Step>
auto ClampTracker::ofAttempt(std::uint64_t attempt, Step step) {
    return always([attempt, step = std::move(step)](ClampTracker& self, const auto&... arguments) {
        if (self.attempt_ == attempt) {
            step(self, arguments...);
        }
    });
}

template <typename Tell>
void ClampTracker::tell(Tell tell) {
    if (const auto listener = listener_.lock()) {
        tell(*listener);
    }
}

void ClampTracker::start() {
    zeb::ServiceListener<Service> listener;
    listener.owner = weak_from_this();
    listener.connected = always(
        [](ClampTracker& self, const std::shared_ptr<Service>& service) { self.onConnected(service); });
    listener.disconnected = always([](ClampTracker& self) { self.onDisconnected(); });
    listener.unavailable =
        always([](ClampTracker& self, const std::string& reason) { self.onUnavailable(reason); });
    getClientServices()->getServiceRegistry()->registerServiceListener(listener);
}

// -------------------------------------------------------------------------------------- of the service

void ClampTracker::onUnavailable(const std::string& reason) {
    unavailableBecause_ = ofService(reason);
    if (!service_) {
        tell([this](Listener& listener) { listener.onUnknown(unavailableBecause_); });
    }
}

void ClampTracker::onConnected(const std::shared_ptr<Service>& service) {
    unavailableBecause_.clear();  // a platform may not say why a connection is lost
    if (!service_) {
        service_ = service;
        tell([](Listener& listener) { listener.onConnection(true); });
    }
    pause_.startOver();
    ++attempt_;
    lookUp();
}

void ClampTracker::onDisconnected() {
    ++attempt_;
    executor_->removeTasks(this);
    const std::string reason = unavailableBecause_.empty() ? ofService("disconnected") : unavailableBecause_;
    tell([&reason](Listener& listener) { listener.onUnknown(reason); });
    subscription_.reset();
    if (std::exchange(service_, nullptr)) {
        tell([](Listener& listener) { listener.onConnection(false); });
    }
}

// -------------------------------------------------------------------------------------- looking up

void ClampTracker::lookUp() {
    isSubscribed_ = false;
    uuid_.clear();
    executor_->removeTasks(this);
    limit(timeLimits_.findFirst, "no answer to the look-up of ");
    try {
        // Names are in use that the end of the process destroys. It waits for visits, so none includes a
        // handler.
        const kelo_client::ProcessBase::Visit visit;
        if (!visit.admitted()) {
            return;
        }
        Service::ClampDescriptor descriptor;
        descriptor.setType(Service::CLAMP_TYPE::Clamp15);
        service_->getAccessor()->findFirst<Clamp>(
            std::move(descriptor),
            ofThisAttempt([](ClampTracker& self, const std::shared_ptr<const Clamp>& clamp,
                             const std::shared_ptr<const zeb::ZebResponse>&) { self.onFound(clamp); }),
            ofThisAttempt([](ClampTracker& self, const std::shared_ptr<const zeb::ZebResponse>& response) {
                self.onNotFound(*response);
            }));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& exception) {
        tryAgain(std::string("the look-up of ") + kElement + place() + " failed: " + exception.what());
    }
}

void ClampTracker::onFound(const std::shared_ptr<const Clamp>& clamp) {
    if (!clamp) {
        tryAgain(std::string("there is no element of type \"Clamp15\"") + place());
    } else if (!clamp->getId().hasValue() || clamp->getId().getValue().empty()) {
        tryAgain(std::string(kElement) + place() + " has no usable \"id\"");
    } else {
        subscribe(clamp->getId().getValue());
    }
}

void ClampTracker::onNotFound(const zeb::ZebResponse& response) {
    const auto exception = response.getHttpException();
    tryAgain(std::string("the look-up of ") + kElement + place() + " failed: " +
             (exception ? exception->what() : "HTTP status " + std::to_string(response.getStatusCode())));
}

// -------------------------------------------------------------------------------------- the subscription

void ClampTracker::subscribe(const std::string& uuid) {
    uuid_ = uuid;
    executor_->removeTasks(this);
    limit(timeLimits_.firstNotification, "no first state of ");
    zeb::SubscriptionEvents events;
    events.ended = ofThisAttempt([](ClampTracker& self, const std::string& reason) {
        self.tryAgain(std::string("the subscription of ") + kElement + self.place() +
                      (self.isSubscribed_ ? " was ended: " : " was refused: ") + reason);
    });
    events.unreadable = ofThisAttempt([](ClampTracker& self, const std::string& reason) {
        self.tellSubscribed();
        self.tell([&](Listener& listener) {
            listener.onNotification();
            listener.onUnknown(self.cannotBeRead(reason));
        });
    });
    try {
        const kelo_client::ProcessBase::Visit visit;
        if (!visit.admitted()) {
            return;
        }
        Service::ClampDescriptor descriptor;
        descriptor.setId(uuid);
        subscription_ = service_->subscribeElement<Clamp>(
            descriptor, ofThisAttempt([](ClampTracker& self, const std::shared_ptr<const Clamp>& clamp) {
                self.onNotified(clamp);
            }),
            std::move(events));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& exception) {
        tryAgain(std::string("the subscription of ") + kElement + place() + " failed: " + exception.what());
    }
}

void ClampTracker::tellSubscribed() {
    if (!isSubscribed_) {
        subscribedSince_ = Clock::now();
        tell([this](Listener& listener) { listener.onSubscribed(uuid_); });
        isSubscribed_ = true;
        executor_->removeTasks(this);  // the time limits
    }
}

void ClampTracker::onNotified(const std::shared_ptr<const Clamp>& clamp) {
    tellSubscribed();
    tell([](Listener& listener) { listener.onNotification(); });
    if (!clamp) {
        tell([this](Listener& listener) {
            listener.onUnknown(std::string(kElement) + place() + " has no state at present");
        });
        return;
    }
    if (!clamp->getType().hasValue() || clamp->getType().getValue() != Service::CLAMP_TYPE::Clamp15) {
        // Another element may be the one of terminal 15 now.
        tryAgain(std::string(kElement) + place() + " has changed its type" +
                 (clamp->getType().hasValue() ? std::string()
                                              : ": \"type\" cannot be read: " + clamp->whyAbsent("type")));
        return;
    }
    if (!clamp->getIsSwitchedOn().hasValue()) {
        tell([this, &clamp](Listener& listener) {
            listener.onUnknown(
                cannotBeRead(inQuotes("isSwitchedOn") + ": " + clamp->whyAbsent("isSwitchedOn")));
        });
        return;
    }
    tell([&](Listener& listener) { listener.onState(clamp->getIsSwitchedOn().getValue(), subscription_); });
}

// -------------------------------------------------------------------------------------- trying again

void ClampTracker::tryAgain(const std::string& reason) {
    tell([&reason](Listener& listener) { listener.onUnknown(reason); });
    if (isSubscribed_ && Clock::now() - subscribedSince_ >= timeLimits_.stable) {
        pause_.startOver();
    }
    executor_->removeTasks(this);
    // What is left of this attempt ends only when the next one is certain: for want of memory this is
    // repeated.
    RetryPause pause = pause_;
    executor_->addAt(Clock::now() + pause.next(),
                     ofAttempt(attempt_ + 1, [](ClampTracker& self) { self.lookUp(); }),
                     "look-up of terminal 15", this);
    pause_ = pause;
    ++attempt_;
    subscription_.reset();
}

// Ends the attempt if it has not come further by then.
void ClampTracker::limit(std::chrono::milliseconds time, const char* what) {
    constexpr const char* kTask = "time limit of terminal 15";
    executor_->addAt(Clock::now() + time, ofThisAttempt([time, what, uuid = uuid_](ClampTracker& self) {
                         // What has arrived meanwhile may still wait for this thread, and comes first.
                         self.executor_->add(self.ofThisAttempt([time, what, uuid](ClampTracker& late) {
                             if (!late.isSubscribed_ && late.uuid_ == uuid) {
                                 late.tryAgain(what + std::string(kElement) + late.place() + " within " +
                                               std::to_string(time.count()) + " ms");
                             }
                         }),
                                             kTask);
                     }),
                     kTask, this);
}

std::string ClampTracker::ofService(const std::string& reason) const {
    return "service " + inQuotes(serviceName_) + ' ' + reason;
}

std::string ClampTracker::cannotBeRead(const std::string& reason) const {
    return std::string("the state of ") + kElement + place() + " cannot be read: " + reason;
}

std::string ClampTracker::place() const {
    for (const zeb::ServiceStatus& status : getClientServices()->getServiceRegistry()->getServiceStatuses()) {
        if (status.service == serviceName_ && !status.address.empty()) {
            return " at " + status.address;
        }
    }
    return {};
}

}  // namespace clampcontrolclient
