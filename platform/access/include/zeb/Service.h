#pragma once

#include <zeb/Export.h>
#include <zeb/IWebsocketManager.h>
#include <zeb/Subscription.h>
#include <zeb/XObjectDescriptor.h>

#include <functional>
#include <memory>

namespace zebutil {
class JsonObject;
}

namespace zeb {

class ZebAccessor;

/// A connected service: the base of the typed services. The service registry creates a new object for each
/// connection. Once that connection is lost, the object can still read, but no longer subscribe. Any thread
/// may use it.
class ZEB_EXPORT Service {
 public:
    Service(std::shared_ptr<ZebAccessor> accessor, std::shared_ptr<IWebsocketManager> websocketManager);
    virtual ~Service();

    /// Performs the requests to this service.
    std::shared_ptr<ZebAccessor> getAccessor() const { return accessor_; }

    /// Subscribes to the element with the descriptor's id. The handler receives the element's current state
    /// and then each change, or null if the server says that there is no state. It runs on the executor
    /// thread, never on the caller's stack, and never if this function throws.
    /// @throws std::exception if the descriptor has no id or the connection is not open
    template <typename T>
    std::shared_ptr<Subscription> subscribeElement(const typename T::Desctype& descriptor,
                                                   std::function<void(std::shared_ptr<const T>)> handler) {
        return subscribeUntyped(descriptor,
                                [handler = std::move(handler)](std::shared_ptr<zebutil::JsonObject> json) {
                                    handler(json ? std::make_shared<const T>(std::move(json)) : nullptr);
                                });
    }

 private:
    std::shared_ptr<Subscription> subscribeUntyped(
        const XObjectDescriptor& descriptor,
        std::function<void(std::shared_ptr<zebutil::JsonObject>)> handler);

    std::shared_ptr<ZebAccessor> accessor_;
    std::shared_ptr<IWebsocketManager> websocketManager_;
};

}  // namespace zeb
