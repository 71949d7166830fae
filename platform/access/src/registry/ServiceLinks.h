#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ServiceLink.h"

namespace zeb {

class IWebsocketManager;
class ServiceDirectory;

/// The links of the service registry, by service, and what one of them means for the others: as long as a
/// service has no address, the state of the link to the registry service says why.
///
/// Owned by the service registry and used under its lock, until the registry stops and takes them out.
class ServiceLinks {
 public:
    using Map = std::map<std::string, std::shared_ptr<ServiceLink>>;

    Map::const_iterator begin() const { return links_.begin(); }
    Map::const_iterator end() const { return links_.end(); }

    /// @return null if nobody follows the service
    std::shared_ptr<ServiceLink> find(const std::string& service) const;

    /// The same, but null as well if `manager` is not the WebSocket of the link: the events of an earlier one
    /// are ignored.
    std::shared_ptr<ServiceLink> find(const std::string& service,
                                      const std::weak_ptr<IWebsocketManager>& manager) const;

    /// There must be no link to the service yet.
    void add(const std::shared_ptr<ServiceLink>& link) { links_.emplace(link->name, link); }

    /// The WebSockets of all services but the registry service.
    std::vector<std::shared_ptr<IWebsocketManager>> managers() const;

    /// Notes in the status of `link` that the service has no address, and why.
    /// @param directory null unless the registry follows the registry service
    void waitForAddress(ServiceLink& link, const ServiceDirectory* directory) const;

    /// Tells the listeners of the services without an address why they have none, if `changed` is the link to
    /// the registry service.
    void tellThoseWithoutAddress(const ServiceLink& changed, const ServiceDirectory* directory) const;

 private:
    Map links_;
};

}  // namespace zeb
