#include "ServiceLinks.h"

#include "ServiceDirectory.h"

namespace zeb {

std::shared_ptr<ServiceLink> ServiceLinks::find(const std::string& service) const {
    const auto found = links_.find(service);
    return found != links_.end() ? found->second : nullptr;
}

std::shared_ptr<ServiceLink> ServiceLinks::find(const std::string& service,
                                                const std::weak_ptr<IWebsocketManager>& manager) const {
    auto link = find(service);
    if (!link || !link->websocketManager || link->websocketManager != manager.lock()) {
        return nullptr;
    }
    return link;
}

std::vector<std::shared_ptr<IWebsocketManager>> ServiceLinks::managers() const {
    std::vector<std::shared_ptr<IWebsocketManager>> managers;
    for (const auto& [name, link] : links_) {
        if (link->websocketManager && name != ServiceDirectory::kServiceName) {
            managers.push_back(link->websocketManager);
        }
    }
    return managers;
}

void ServiceLinks::waitForAddress(ServiceLink& link, const ServiceDirectory* directory) const {
    const auto found = links_.find(ServiceDirectory::kServiceName);
    if (!directory || found == links_.end()) {
        link.status.waitForAddress("without an address yet", true);
        return;
    }
    const LinkStatus& registry = found->second->status;
    if (!registry.isConnected()) {
        link.status.waitForAddress("without an address; service registry " + registry.get().reason,
                                   registry.isHopeful());
    } else if (!directory->problem().empty()) {
        link.status.waitForAddress("without an address; the list of the service registry at " +
                                       registry.get().address + " is ignored: " + directory->problem(),
                                   false);
    } else if (!directory->hasList()) {
        link.status.waitForAddress(
            "without an address; no list yet from the service registry at " + registry.get().address, true);
    } else {
        link.status.waitForAddress("not listed by the service registry at " + registry.get().address, false);
    }
}

void ServiceLinks::tellThoseWithoutAddress(const ServiceLink& changed,
                                           const ServiceDirectory* directory) const {
    if (changed.name != ServiceDirectory::kServiceName) {
        return;
    }
    for (const auto& [name, link] : links_) {
        if (link.get() != &changed && link->status.waitsForAddress()) {
            waitForAddress(*link, directory);
            link->listeners.tellUnavailable(link->status);
        }
    }
}

}  // namespace zeb
