#include "EndpointLookup.h"

#include <zeb/IConfigManager.h>
#include <zeb/ZebException.h>
#include <zebutil/TlsContextQuestion.h>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "ServiceDirectory.h"

namespace zeb {

namespace {

using Mode = ZebServiceRegistry::Mode;

// Of addresses, for messages.
constexpr const char* kConfiguration = "configuration:";

constexpr auto kLongestInterval = ZebServiceConfigurations::kLongestWatchdogTime;

// An address that is missing or cannot be used allows nothing.
bool namesPlainHttp(const ZebServiceConfigurations::ServiceConfiguration& configuration) {
    try {
        return !ServiceEndpoint::of(configuration.serverBaseUri, configuration.serverBasePath, kConfiguration)
                    .isSecure();
    } catch (const ZebException&) {
        return false;
    }
}

}  // namespace

EndpointLookup::EndpointLookup(ZebServiceRegistry::Settings settings,
                               std::shared_ptr<IConfigManager> configManager,
                               std::shared_ptr<ZebServiceConfigurations::ServiceSettings> serviceSettings)
    : settings_(std::move(settings)),
      configManager_(std::move(configManager)),
      serviceSettings_(std::move(serviceSettings)) {}

bool EndpointLookup::needsDirectory(const std::string& service) const {
    return settings_.mode == Mode::DynamicOnly ||
           (settings_.mode == Mode::StaticBeforeDynamic && service != ServiceDirectory::kServiceName &&
            !isConfigured(service));
}

// A getter that throws says nothing. find() asks it again, and there it is reported.
bool EndpointLookup::isConfigured(const std::string& service) const {
    try {
        return configManager_->isServiceConfigurationKnown(service);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return false;
    }
}

std::optional<ServiceEndpoint> EndpointLookup::find(const std::string& service,
                                                    const ServiceDirectory* directory) const {
    const Configuration configuration = configManager_->getServiceConfiguration(service);
    std::optional<ServiceEndpoint> found = address(service, configuration, directory);
    if (found) {
        found->watchdogPingInterval = configuration.watchdogPingInterval;
        found->watchdogPongTimeout = configuration.watchdogPongTimeout;
        found->separator = configuration.useSeparator ? configuration.separatorAfterResource : "";
        applySetting(*found, service, configuration.separatorAfterResource);
        found->watchdogPingInterval = std::min(found->watchdogPingInterval, kLongestInterval);
        found->watchdogPongTimeout = std::min(found->watchdogPongTimeout, kLongestInterval);
    }
    return found;
}

std::optional<ServiceEndpoint> EndpointLookup::address(const std::string& service,
                                                       const Configuration& configuration,
                                                       const ServiceDirectory* directory) const {
    if (directory && service == ServiceDirectory::kServiceName) {
        return ServiceEndpoint::ofAddress(settings_.httpUri, kConfiguration);
    }
    if (settings_.mode != Mode::DynamicOnly && configManager_->isServiceConfigurationKnown(service)) {
        return ServiceEndpoint::of(configuration.serverBaseUri, configuration.serverBasePath, kConfiguration);
    }
    if (settings_.mode == Mode::StaticOnly) {
        throw ZebException("the configuration says nothing about service \"" + service +
                               "\", and the mode is " + ZebServiceRegistry::STR_MODE_STATIC_ONLY,
                           kConfiguration);
    }
    std::optional<ServiceEndpoint> told = directory ? directory->find(service) : std::nullopt;
    if (told) {
        refuseDowngrade(service, configuration, *told);
    }
    return told;
}

// Who can be trusted to name the services must not be able to take their protection away. Only the
// configuration may, by naming an http address for the service itself.
void EndpointLookup::refuseDowngrade(const std::string& service, const Configuration& configuration,
                                     const ServiceEndpoint& told) const {
    const bool isAllowed = told.isSecure() || (configManager_->isServiceConfigurationKnown(service) &&
                                               namesPlainHttp(configuration));
    if (isAllowed) {
        return;
    }
    const std::string refused =
        " names " + told.serverBaseUri +
        ", which is not: refused, since the configuration of the service names no http address itself";
    if (ServiceEndpoint::ofAddress(settings_.httpUri, kConfiguration).isSecure()) {
        throw ZebException("the service registry is reached by https and" + refused, "service registry");
    }
    if (zebutil::TlsContextQuestion::isPinned(service)) {
        throw ZebException(
            "the service has an authority of its own for https, and the service registry" + refused,
            "service registry");
    }
}

void EndpointLookup::applySetting(ServiceEndpoint& endpoint, const std::string& service,
                                  const std::string& separator) const {
    const auto setting = serviceSettings_->find(service);
    if (setting == serviceSettings_->end()) {
        return;
    }
    endpoint.separator = setting->second.useSeparator ? separator : "";
    if (setting->second.watchdogPingInterval.hasValue()) {
        endpoint.watchdogPingInterval = setting->second.watchdogPingInterval.getValue();
    }
    if (setting->second.watchdogPongTimeout.hasValue()) {
        endpoint.watchdogPongTimeout = setting->second.watchdogPongTimeout.getValue();
    }
}

}  // namespace zeb
