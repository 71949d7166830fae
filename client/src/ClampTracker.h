#pragma once

#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <zeb/ZebClient.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "RetryPause.h"

namespace zeb {
class Subscription;
class ZebClientServices;
class ZebResponse;
}  // namespace zeb

namespace zebutil {
class ITimedTaskExecutor;
}

namespace clampcontrolclient {

/// Keeps a subscription to the element of terminal 15 alive: waits for the service, looks the element up,
/// subscribes to it, and does so again, after a pause, whatever has ended that.
///
/// Owner: the follower that it reports to. The platform's handlers hold it weakly. Everything runs on the
/// executor's thread, except start(), which any thread may call once.
class ClampTracker : public zeb::ZebClient, public std::enable_shared_from_this<ClampTracker> {
 public:
    using Clamp = zebobjects_ZEB::ClampcontrolService::Clamp;

    /// Receives what the tracker finds out, on the executor's thread. Does not throw, except for want of
    /// memory; it is then called again.
    class Listener {
     public:
        virtual void onConnection(bool isConnected) = 0;
        /// With the first notification of a subscription.
        virtual void onSubscribed(const std::string& uuid) = 0;
        virtual void onNotification() = 0;
        virtual void onState(bool isOn, const std::shared_ptr<zeb::Subscription>& source) = 0;
        /// The state is not known, or not any more.
        virtual void onUnknown(const std::string& reason) = 0;
        /// There is no memory for what has just come. It is told once there is some; until then, nothing is
        /// certain.
        virtual void onMemoryShortage() noexcept = 0;

     protected:
        ~Listener() = default;
    };

    /// Only tests use other values.
    struct TimeLimits {
        std::chrono::milliseconds findFirst{5000};
        std::chrono::milliseconds firstNotification{5000};
        /// A subscription that lasts so long has proved stable: the pauses start over.
        std::chrono::milliseconds stable{10000};
        RetryPause::Limits pauses;
    };

    /// `listener` is held weakly.
    ClampTracker(std::shared_ptr<zeb::ZebClientServices> clientServices,
                 std::shared_ptr<zebutil::ITimedTaskExecutor> executor, std::weak_ptr<Listener> listener,
                 const TimeLimits& timeLimits);
    ~ClampTracker() override;

    void start() override;

 private:
    using Service = zebobjects_ZEB::ClampcontrolService;
    using Clock = std::chrono::steady_clock;

    void onConnected(const std::shared_ptr<Service>& service);
    void onDisconnected();
    void onUnavailable(const std::string& reason);

    void lookUp();
    void onFound(const std::shared_ptr<const Clamp>& clamp);
    void onNotFound(const zeb::ZebResponse& response);
    void subscribe(const std::string& uuid);
    void onNotified(const std::shared_ptr<const Clamp>& clamp);
    void tellSubscribed();
    void tryAgain(const std::string& reason);

    void limit(std::chrono::milliseconds time, const char* what);
    std::string ofService(const std::string& reason) const;
    std::string cannotBeRead(const std::string& reason) const;
    std::string place() const;

    // Makes a handler of `step` that does nothing once the attempt that made it is over.
    template <typename Step>
    auto ofThisAttempt(Step step);
    template <typename Step>
    auto ofAttempt(std::uint64_t attempt, Step step);
    // The same for what does not belong to an attempt.
    template <typename Step>
    auto always(Step step);
    template <typename Tell>
    void tell(Tell tell);

    const std::shared_ptr<zebutil::ITimedTaskExecutor> executor_;
    const std::weak_ptr<Listener> listener_;
    const TimeLimits timeLimits_;
    const std::string serviceName_{Service::getServiceName()};

    std::shared_ptr<Service> service_;  ///< null while it is not connected
    std::string unavailableBecause_;    ///< what the platform said last; may be empty
    /// Counts the look-ups, with the subscriptions that follow from them. What belongs to an earlier one
    /// comes too late.
    std::uint64_t attempt_ = 0;
    std::string uuid_;
    std::shared_ptr<zeb::Subscription> subscription_;
    bool isSubscribed_ = false;  ///< whether a first notification has come
    Clock::time_point subscribedSince_;
    RetryPause pause_;
};

}  // namespace clampcontrolclient
