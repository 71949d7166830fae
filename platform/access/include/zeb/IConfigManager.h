#pragma once

#include <zeb/Export.h>
#include <zeb/ZebServiceConfigurations.h>

#include <chrono>
#include <string>

namespace zeb {

/// Answers the service registry's questions about the configuration of a service. Implemented by the client
/// framework, owned by shared pointer, and called on the registry's executor thread. Every getter may throw a
/// std::exception if the configured value has the wrong type; the registry then reports the error to the
/// listeners of that service.
class ZEB_EXPORT IConfigManager {
 public:
    virtual ~IConfigManager() = default;

    virtual std::string getServerBaseUri(const std::string& service) const = 0;
    virtual std::string getServerBasePath(const std::string& service) const = 0;
    virtual std::string getSeparatorAfterResource(const std::string& service) const = 0;
    virtual bool isServiceConfigurationKnown(const std::string& service) const = 0;
    virtual std::chrono::milliseconds getWatchdogPingInterval(const std::string& service) const = 0;
    virtual std::chrono::milliseconds getWatchdogPongTimeout(const std::string& service) const = 0;
    virtual ZebServiceConfigurations::ServiceConfiguration getServiceConfiguration(
        const std::string& service) const = 0;
};

}  // namespace zeb
