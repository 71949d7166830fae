#include "ReadConfiguration.h"

#include <Poco/Exception.h>
#include <zeb/ZebServiceConfigurations.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <stdexcept>

#include "ConfigurationKeys.h"
#include "RegistryMode.h"

namespace kelo_client {

using std::chrono::milliseconds;

ReadConfiguration::ReadConfiguration(std::string_view text, const TextPlaces& places,
                                     ConfigurationFindings& findings)
    : places_(&places) {
    reader_.emplace(text, places, findings);
    outline_ = reader_->read();
    const auto sectionAlone = [this](const char* key) {
        const Member* const member = find(outline_.root, key);
        return zebutil::JsonObject::parse(
            member == nullptr ? "{}"
                              : "{\"" + std::string(key) + "\":" + std::string(this->text(*member)) + "}");
    };
    // One section after the other, so that a large file does not take the memory of both at once.
    auto registry = manager_.withSettingsOf(*sectionAlone(keys::kServiceRegistrySettings));
    manager_.keep(std::move(registry), sectionAlone(keys::kServices));

    mode_ = registryModeOf(manager_.getServiceRegistrySettings().mode).value_or(kDefaultRegistryMode);
    for (const Entry& entry : outline_.entries) {
        if (entry.content.isComplete()) {
            entries_.emplace(*entry.content.service, &entry);
        }
    }
}

const ConfigurationOutline::Service* ReadConfiguration::service(const std::string& name) const {
    const auto found =
        std::lower_bound(outline_.services.begin(), outline_.services.end(), name,
                         [](const Service& service, const std::string& key) { return service.name < key; });
    return found != outline_.services.end() && found->name == name ? &*found : nullptr;
}

const ConfigurationOutline::Entry* ReadConfiguration::entry(const std::string& name) const {
    const auto found = entries_.find(name);
    return found == entries_.end() ? nullptr : found->second;
}

const ConfigurationOutline::Member* ReadConfiguration::find(const Members& members, std::string_view key) {
    const auto found = members.find(key);
    return found == members.end() ? nullptr : &found->second;
}

bool ReadConfiguration::hasConfiguredAddress(const std::string& name) const {
    return mode_ == Mode::StaticOnly ||
           (mode_ == Mode::StaticBeforeDynamic && manager_.isServiceConfigurationKnown(name));
}

std::optional<zeb::ServiceAddress> ReadConfiguration::configuredAddress(const std::string& name) const {
    try {
        const auto configuration = manager_.getServiceConfiguration(name);
        return zeb::ServiceAddress::of(configuration.serverBaseUri, configuration.serverBasePath);
    } catch (const Poco::Exception&) {
        return std::nullopt;
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

std::optional<milliseconds> ReadConfiguration::watchdogInterval(const std::string& name) const {
    milliseconds interval{};
    try {
        // It is read even where an entry takes precedence.
        interval = manager_.getWatchdogPingInterval(name);
    } catch (const Poco::Exception&) {
        return std::nullopt;
    }
    const auto entries = manager_.getServiceSettings();
    if (const auto found = entries->find(name); found != entries->end()) {
        interval = found->second.watchdogPingInterval.getValue();
    }
    return std::min(interval, zeb::ZebServiceConfigurations::kLongestWatchdogTime);
}

}  // namespace kelo_client
