#pragma once

#include <zeb/Export.h>
#include <zeb/ServiceListener.h>
#include <zeb/UntypedServiceListener.h>

#include <memory>
#include <utility>

namespace zeb {

/// Knows which services are there and tells their listeners. Any thread may call it.
class ZEB_EXPORT IServiceRegistry {
 public:
    virtual ~IServiceRegistry() = default;

    /// Follows service `S` from now on: the listener is told when it is connected, at once if it already is.
    /// Returns without waiting for the service.
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
        registerServiceListener(std::move(untyped));
    }

    virtual void registerServiceListener(UntypedServiceListener listener) = 0;

    /// Ends every element subscription on every service; see Subscription::unsubscribe().
    virtual void unsubscribeFromAllElements() = 0;

    /// Follows no service any more and tells nobody anything any more. Calling it again does nothing.
    virtual void stop() = 0;
};

}  // namespace zeb
