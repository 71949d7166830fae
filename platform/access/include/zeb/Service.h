#pragma once

#include <zeb/CompleteElement.h>
#include <zeb/Export.h>
#include <zeb/IWebsocketManager.h>
#include <zeb/Subscription.h>
#include <zeb/SubscriptionEvents.h>
#include <zeb/XObjectDescriptor.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

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
    /// @param events handlers of what happens besides: the end of the subscription, and a state that cannot
    ///               be read. Such a state is also logged; `handler` is not called for it
    ///
    ///     ClampDescriptor descriptor;
    ///     descriptor.setId("1");
    ///     subscription = service->subscribeElement<Clamp>(
    ///         descriptor, [](std::shared_ptr<const Clamp> clamp) { show(clamp); },
    ///         {[](const std::string& reason) { showUnknown(reason); },    // ended
    ///          [](const std::string& reason) { showUnknown(reason); }});  // unreadable
    ///
    /// @throws std::exception if the descriptor has no id or the connection is not open
    template <typename T>
    std::shared_ptr<Subscription> subscribeElement(const typename T::Desctype& descriptor,
                                                   std::function<void(std::shared_ptr<const T>)> handler,
                                                   SubscriptionEvents events = {}) {
        return subscribeUntyped(
            descriptor, &makeElement<T>,
            [handler = std::move(handler)](std::shared_ptr<const void> element) {
                handler(std::static_pointer_cast<const T>(std::move(element)));
            },
            std::move(events));
    }

    /// Subscribes to all elements of a resource. The handler receives all of them, in the order of the
    /// resource and possibly none, at once and then whenever one of them is added, removed or changed. The
    /// promises of subscribeElement() hold here, too.
    ///
    ///     subscription = service->subscribeCollection<Clamp>(
    ///         ClampDescriptor(),
    ///         [](const std::vector<std::shared_ptr<const Clamp>>& clamps) { show(clamps); },
    ///         {[](const std::string& reason) { showUnknown(reason); },    // ended
    ///          [](const std::string& reason) { showUnknown(reason); }});  // unreadable
    ///
    /// @param descriptor only names the resource. The bus has no subscription to a part of a collection
    /// @param events     a list of which one element cannot be read, or of more than 5000 elements, counts as
    ///                   unreadable; the reason says which element it is. The bus ends the subscription when
    ///                   a notification would be larger than 1 MiB
    /// @return           a subscription whose uuid is empty
    /// @throws std::exception if the descriptor has an id, a filter or query options, or the connection is
    ///         not open
    template <typename T>
    std::shared_ptr<Subscription> subscribeCollection(
        const typename T::Desctype& descriptor,
        std::function<void(std::vector<std::shared_ptr<const T>>)> handler, SubscriptionEvents events = {}) {
        return subscribeCollectionUntyped(
            descriptor, &makeElement<T>,
            [handler = std::move(handler)](UntypedList untypedElements) {
                std::vector<std::shared_ptr<const T>> elements;
                elements.reserve(untypedElements.size());
                for (auto& element : untypedElements) {
                    elements.push_back(std::static_pointer_cast<const T>(std::move(element)));
                }
                handler(std::move(elements));
            },
            std::move(events));
    }

 private:
    using ElementFactory = std::shared_ptr<const void> (*)(std::shared_ptr<zebutil::JsonObject>);
    using ElementHandler = std::function<void(std::shared_ptr<const void>)>;
    using UntypedList = std::vector<std::shared_ptr<const void>>;
    using ListHandler = std::function<void(UntypedList)>;

    template <typename T>
    static std::shared_ptr<const void> makeElement(std::shared_ptr<zebutil::JsonObject> json) {
        return detail::completeElement<T>(std::move(json));
    }

    std::shared_ptr<Subscription> subscribeUntyped(const XObjectDescriptor& descriptor,
                                                   ElementFactory elementFactory, ElementHandler handler,
                                                   SubscriptionEvents events);
    std::shared_ptr<Subscription> subscribeCollectionUntyped(const XObjectDescriptor& descriptor,
                                                             ElementFactory elementFactory,
                                                             ListHandler handler, SubscriptionEvents events);

    std::shared_ptr<ZebAccessor> accessor_;
    std::shared_ptr<IWebsocketManager> websocketManager_;
};

}  // namespace zeb
