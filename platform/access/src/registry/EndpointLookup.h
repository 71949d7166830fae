#pragma once

#include <zeb/ZebServiceConfigurations.h>
#include <zeb/ZebServiceRegistry.h>

#include <memory>
#include <optional>
#include <string>

#include "ServiceEndpoint.h"

namespace zeb {

class IConfigManager;
class ServiceDirectory;

/// Finds out where a service is and how its connection is watched: from the configuration, from the service
/// directory, or from both, depending on the registry's mode. Owned by the service registry. Immutable; any
/// thread may use it.
class EndpointLookup {
 public:
    EndpointLookup(ZebServiceRegistry::Settings settings, std::shared_ptr<IConfigManager> configManager,
                   std::shared_ptr<ZebServiceConfigurations::ServiceSettings> serviceSettings);

    /// Whether only the service directory can say where `service` is, as far as the configuration can be
    /// read. Then the registry has to follow the directory's own service, too.
    bool needsDirectory(const std::string& service) const;

    /// The endpoint of `service`, or none as long as the directory does not know it.
    /// @param directory null unless the registry follows the directory's own service
    /// @throws std::exception when the configuration names no endpoint, or one that cannot be used
    std::optional<ServiceEndpoint> find(const std::string& service, const ServiceDirectory* directory) const;

 private:
    using Configuration = ZebServiceConfigurations::ServiceConfiguration;

    bool isConfigured(const std::string& service) const;
    std::optional<ServiceEndpoint> address(const std::string& service, const Configuration& configuration,
                                           const ServiceDirectory* directory) const;
    void refuseDowngrade(const std::string& service, const Configuration& configuration,
                         const ServiceEndpoint& told) const;
    void applySetting(ServiceEndpoint& endpoint, const std::string& service,
                      const std::string& separator) const;

    const ZebServiceRegistry::Settings settings_;
    const std::shared_ptr<IConfigManager> configManager_;
    const std::shared_ptr<ZebServiceConfigurations::ServiceSettings> serviceSettings_;
};

}  // namespace zeb
