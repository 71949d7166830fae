#pragma once

#include <zeb/Service.h>

#include <exception>
#include <functional>
#include <memory>
#include <string>

namespace zeb {

class IWebsocketManager;
class ZebAccessor;

/// A ServiceListener as the registry stores it. `createService` creates the typed service.
struct UntypedServiceListener {
    std::string serviceName;
    std::function<std::shared_ptr<Service>(std::shared_ptr<ZebAccessor>, std::shared_ptr<IWebsocketManager>)>
        createService;
    std::function<void(std::shared_ptr<Service>)> connected;
    std::function<void()> disconnected;
    std::function<void(const std::exception&)> error;
    std::weak_ptr<const void> owner = {};  ///< see ServiceListener
    std::function<void(const std::string& reason)> unavailable = {};
};

}  // namespace zeb
