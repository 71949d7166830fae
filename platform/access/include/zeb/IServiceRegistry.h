#pragma once

#include <zeb/Export.h>
#include <zeb/ServiceListener.h>
#include <zeb/ServiceStatus.h>
#include <zeb/UntypedServiceListener.h>

#include <memory>
#include <utility>
#include <vector>

namespace zeb {

/// Knows which services are connected, and notifies their listeners. Any thread may call it.
class ZEB_EXPORT IServiceRegistry {
 public:
    virtual ~IServiceRegistry() = default;

    /// Follows service `S` from now on. The listener's `connected` is called when the service connects, or at
    /// once if it is connected already. Returns without waiting for the service.
    template <typename S>
    void registerServiceListener(const ServiceListener<S>& listener) {
        UntypedServiceListener untyped;
        untyped.serviceName = S::getServiceName();
        untyped.createService = [](std::shared_ptr<ZebAccessor> accessor,
                                   std::shared_ptr<IWebsocketManager> websocketManager) {
            return std::make_shared<S>(std::move(accessor), std::move(websocketManager));
        };
        if (listener.connected) {
            untyped.connected = [connected = listener.connected](std::shared_ptr<Service> service) {
                connected(std::static_pointer_cast<S>(std::move(service)));
            };
        }
        untyped.disconnected = listener.disconnected;
        untyped.error = listener.error;
        untyped.owner = listener.owner;
        untyped.unavailable = listener.unavailable;
        registerServiceListener(std::move(untyped));
    }

    virtual void registerServiceListener(UntypedServiceListener listener) = 0;

    /// Takes back every listener of this owner, which must not be empty. When it returns, no new call of
    /// their handlers begins; one that has begun on the executor thread may still be running. A registry that
    /// cannot take listeners back does nothing.
    virtual void removeServiceListeners(const std::weak_ptr<const void>& /*owner*/) {}

    /// What the registry knows about each service that has, or has had, a listener. Empty if the registry
    /// cannot tell.
    virtual std::vector<ServiceStatus> getServiceStatuses() const { return {}; }

    /// Ends all element subscriptions on all services; see Subscription::unsubscribe().
    virtual void unsubscribeFromAllElements() = 0;

    /// Stops following services and notifying listeners. Calling it again does nothing.
    virtual void stop() = 0;
};

}  // namespace zeb
