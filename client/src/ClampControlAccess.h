#pragma once

#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <clampcontrolclient/ClampControlClientIf.h>
#include <kelo-client/SubscribeSync.h>
#include <zeb/ZebClient.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "CallbackGate.h"

namespace kelo_client {
class WaitingCalls;
}

namespace zeb {
class Subscription;
class ZebClientServices;
}  // namespace zeb

namespace clampcontrolclient {

/// Follows the clamp-control service, finds the element of terminal 15, subscribes to it, and passes
/// connection states and notifications on to the application's callback.
///
/// Owner: ClampControlClientImpl, by shared pointer, and a handler while it runs. The platform's handlers
/// hold the object weakly, so nothing is called once the client is destroyed.
///
/// Thread safety: any thread may call the ClampControlClientIf operations. The handlers run on the platform's
/// executor thread. Service and subscription are read and written atomically; no lock is held while anything
/// is called. Of two threads that subscribe at once, the later subscription replaces the earlier one. A
/// caller that still waits for the earlier one gets the answer of the later.
class ClampControlAccess : public zeb::ZebClient,
                           public ClampControlClientIf,
                           public std::enable_shared_from_this<ClampControlAccess> {
 public:
    /// Only tests use other values.
    struct TimeLimits {
        std::chrono::milliseconds findFirst{5000};
        std::chrono::milliseconds firstNotification{5000};
    };

    explicit ClampControlAccess(std::shared_ptr<zeb::ZebClientServices> clientServices);
    ClampControlAccess(std::shared_ptr<zeb::ZebClientServices> clientServices, const TimeLimits& timeLimits);
    ~ClampControlAccess() override;

    /// Registers the service listener; does not wait for the service.
    void start() override;

    /// Do nothing: start() and ClampControlClientImpl do the work.
    void Start() override {}
    void Stop() override {}

    void AssignCallback(ClampControlCallbackIf* callback) override;
    std::string SubscribeClampControl() override;
    void UnsubscribeClampControl(const std::string& uuid) override;

    /// Returns the id of the element with the given type, or an empty text on failure. Blocks for up to 5 s,
    /// but no longer than the wait makes sense; see waitingCalls(). Must not be called on an executor thread.
    /// @throws std::runtime_error "ClampControl client not ready" while the service is not connected
    std::string GetClampControlUuid(zebobjects_ZEB::ClampcontrolService::CLAMP_TYPE type);

    void ServiceConnected(std::shared_ptr<zebobjects_ZEB::ClampcontrolService> service);
    void ServiceDisconnected();

    /// Ends the calls of the callback: once it has returned, none is running or will begin. Inside a callback
    /// it returns at once, and that callback is the last one. Also ends the calls that wait.
    void DetachCallback();

    /// Lets go of the connected service, of which nothing can come any more because the client was stopped.
    /// Call DetachCallback() first.
    void ReleaseService();

    /// The calls on threads of the application that wait for the platform. The loss of the connection and
    /// DetachCallback() end them; the client-service base ends them when it is stopped.
    const std::shared_ptr<kelo_client::WaitingCalls>& waitingCalls() const { return waitingCalls_; }

 private:
    struct Attempt;
    class ElementSubscription;

    /// Null once ReleaseService() has released it.
    std::shared_ptr<zebobjects_ZEB::ClampcontrolService> connectedService() const;
    void store(const std::shared_ptr<ElementSubscription>& subscription);
    void dropSubscription(std::shared_ptr<ElementSubscription> subscription);
    void clampNotified(const std::shared_ptr<const zebobjects_ZEB::ClampcontrolService::Clamp>& clamp,
                       Attempt& attempt);
    template <typename Call>
    void tellUnlessEnded(const std::atomic<bool>& ended, Call call);

    std::atomic<ClampControlCallbackIf*> callback_ = nullptr;
    std::shared_ptr<zebobjects_ZEB::ClampcontrolService> service_;
    /// A client that was stopped while the service was connected still counts as connected.
    std::atomic<bool> isServiceReleased_ = false;
    std::shared_ptr<ElementSubscription> subscription_;
    std::atomic<std::uint64_t> attempts_ = 0;
    CallbackGate gate_;
    const std::shared_ptr<kelo_client::WaitingCalls> waitingCalls_;
    const TimeLimits timeLimits_;
    /// Built once, so that a notification does not build the text of a log line whose level is off.
    const std::string notifiedLine_{"Clamp Control Client: Subscription Callback"};
};

}  // namespace clampcontrolclient
