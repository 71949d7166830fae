#pragma once

#include <zeb/Export.h>
#include <zeb/ZebServiceConfigurations.h>

#include <chrono>
#include <string>

namespace zeb {

/// Answers what the service registry asks about a service's configuration. Implemented by the client
/// framework, owned by shared pointer, asked on the registry's executor thread. Every getter may throw a
/// std::exception when the value that was configured has the wrong type; the registry tells the listener of
/// the service.
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
