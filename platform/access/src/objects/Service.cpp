#include <zeb/Service.h>
#include <zeb/ZebException.h>
#include <zebutil/JsonObject.h>

#include <utility>

namespace zeb {

Service::Service(std::shared_ptr<ZebAccessor> accessor, std::shared_ptr<IWebsocketManager> websocketManager)
    : accessor_(std::move(accessor)), websocketManager_(std::move(websocketManager)) {}

Service::~Service() = default;

std::shared_ptr<Subscription> Service::subscribeUntyped(
    const XObjectDescriptor& descriptor, std::function<void(std::shared_ptr<zebutil::JsonObject>)> handler) {
    if (!descriptor.getId().hasValue()) {
        throw ZebException("cannot subscribe to an element without an id: " + descriptor.getRelativeUri(),
                           descriptor.getServiceName());
    }
    return websocketManager_->subscribe(
        descriptor.getRelativeUri(), descriptor.getId().getValue(),
        [handler = std::move(handler)](std::string_view data) {
            handler(data == "null" ? nullptr : zebutil::JsonObject::parse(data));
        },
        nullptr);
}

}  // namespace zeb
