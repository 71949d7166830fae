#include "ServiceDirectory.h"

#include <zebutil/ILogger.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonObject.h>

#include <utility>

namespace zeb {

// The registry service, reduced to what is needed here: one subscription to all of its elements.
class ServiceDirectory::RegistryService : public Service {
 public:
    RegistryService(std::shared_ptr<ZebAccessor> accessor,
                    std::shared_ptr<IWebsocketManager> websocketManager)
        : Service(std::move(accessor), websocketManager), websocketManager_(std::move(websocketManager)) {}

    std::shared_ptr<Subscription> subscribeServices(IWebsocketManager::DataHandler handler) {
        // Without this subscription the directory learns nothing more about the services. Closing the
        // connection makes the registry reconnect, and the new connection subscribes again.
        auto reconnect =
            [manager = std::weak_ptr<IWebsocketManager>(websocketManager_)](const std::string& reason) {
                if (const auto connection = manager.lock()) {
                    connection->close("the subscription to the services was refused or ended: " + reason);
                }
            };
        return websocketManager_->subscribe("/serviceregistry/services", "", std::move(handler),
                                            std::move(reconnect));
    }

 private:
    std::shared_ptr<IWebsocketManager> websocketManager_;
};

ServiceDirectory::ServiceDirectory(std::shared_ptr<zebutil::ILogger> logger, std::function<void()> changed)
    : logger_(std::move(logger)), changed_(std::move(changed)) {}

ServiceDirectory::~ServiceDirectory() = default;

UntypedServiceListener ServiceDirectory::listener() {
    UntypedServiceListener listener;
    listener.serviceName = kServiceName;
    listener.createService = [](std::shared_ptr<ZebAccessor> accessor,
                                std::shared_ptr<IWebsocketManager> websocketManager) {
        return std::make_shared<RegistryService>(std::move(accessor), std::move(websocketManager));
    };
    listener.connected = [weak = weak_from_this()](const std::shared_ptr<Service>& service) {
        if (const auto self = weak.lock()) {
            self->subscription_ = std::static_pointer_cast<RegistryService>(service)->subscribeServices(
                [weak](std::string_view services) {
                    if (const auto directory = weak.lock()) {
                        directory->update(services);
                    }
                });
        }
    };
    listener.disconnected = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->subscription_.reset();
        }
    };
    return listener;
}

std::optional<ServiceEndpoint> ServiceDirectory::find(const std::string& service) const {
    const std::lock_guard lock(mutex_);
    const auto found = endpoints_.find(service);
    return found == endpoints_.end() ? std::nullopt : std::make_optional(found->second);
}

void ServiceDirectory::update(std::string_view services) {
    const auto list =
        zebutil::JsonObject::parse("{\"services\":" + std::string(services) + "}")->getArray("services");
    std::map<std::string, ServiceEndpoint> endpoints;
    for (std::size_t position = 0; position < list->size(); ++position) {
        try {
            const auto element = list->getObject(position);
            endpoints.emplace(element->getString("name"),
                              ServiceEndpoint::of(element->getString("serverBaseUri"),
                                                  element->getString("serverBasePath")));
        } catch (const std::exception& exception) {
            logger_->warning("entry " + std::to_string(position) +
                             " of the service registry ignored: " + exception.what());
        }
    }
    {
        const std::lock_guard lock(mutex_);
        endpoints_ = std::move(endpoints);
    }
    changed_();
}

}  // namespace zeb
