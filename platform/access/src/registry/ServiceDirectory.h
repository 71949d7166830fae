#pragma once

#include <zeb/Service.h>
#include <zeb/Subscription.h>
#include <zeb/UntypedServiceListener.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "ServiceEndpoint.h"
#include "ServiceList.h"
#include "log/FaultLog.h"

namespace zebutil {
class ILogger;
}

namespace zeb {

/// What the registry service of the bus says about the services and their addresses. Follows the registry
/// service through a listener, like any other service. Keeps its information while the registry service is
/// unreachable. Any thread may query it.
class ServiceDirectory : public std::enable_shared_from_this<ServiceDirectory> {
 public:
    /// The registry service's name on the bus.
    static constexpr const char* kServiceName = "serviceregistry";

    /// @param changed called on the executor thread after the directory has changed
    ServiceDirectory(std::shared_ptr<zebutil::ILogger> logger, std::function<void()> changed);
    ~ServiceDirectory();

    /// The listener that must be registered for the registry service.
    UntypedServiceListener listener();

    /// Base URI and path of a service; empty if the registry service does not know it.
    /// @throws std::runtime_error if the registry service names an address that cannot be used
    std::optional<ServiceEndpoint> find(const std::string& service) const;

 private:
    class RegistryService;

    static constexpr std::size_t kMostLinesOfOneList = 8;

    void update(std::string_view services);
    void logIgnored(const ServiceList& list);

    const std::function<void()> changed_;
    // Used only on the executor thread.
    std::shared_ptr<Subscription> subscription_;
    FaultLog faults_;

    mutable std::mutex mutex_;
    std::map<std::string, ServiceEndpoint> endpoints_;
    std::map<std::string, std::string> refused_;  ///< the reasons, by the name of the service
};

}  // namespace zeb
