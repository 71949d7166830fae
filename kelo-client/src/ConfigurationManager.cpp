#include <Poco/Exception.h>
#include <csc_logging/CSCLogging.h>
#include <internal/EscapedText.h>
#include <kelo-client/ConfigurationManager.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>
#include <zebutil/Optional.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "ConfigurationFile.h"
#include "ConfigurationKeys.h"
#include "ServiceEntry.h"
#include "SettingValue.h"

namespace kelo_client {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using std::chrono::milliseconds;
using zebutil::JsonObject;

namespace {

constexpr const char* kLoopback = "http://[::1]:80";

milliseconds pingInterval(std::int64_t configured) {
    return milliseconds(std::max<std::int64_t>(configured, 0));
}

/// Three ping intervals, or the longest representable time if that would overflow.
milliseconds pongTimeout(milliseconds interval) {
    return interval > milliseconds::max() / 3 ? milliseconds::max() : 3 * interval;
}

zebutil::Optional<milliseconds> wrapped(milliseconds value) {
    return zebutil::Optional<milliseconds>(&value);
}

void addEntry(zeb::ZebServiceConfigurations::ServiceSettings& settings, const ServiceEntry& entry) {
    if (!entry.isComplete()) {
        return;
    }
    const milliseconds interval = pingInterval(*entry.watchdogTimeout);
    settings.emplace(*entry.service,
                     zeb::ZebServiceConfigurations::ServiceSetting(*entry.useSeparator, wrapped(interval),
                                                                   wrapped(pongTimeout(interval))));
}

/// A document of the "services" section alone, so that the rest of the file takes no memory.
std::string servicesAlone(const JsonObject& root) {
    return root.isObject(keys::kServices) ? "{\"" + std::string(keys::kServices) +
                                                "\":" + root.getObject(keys::kServices)->toString() + "}"
                                          : "{}";
}

// Short enough to need no memory.
constexpr const char* kNoMemory = "no memory";
constexpr const char* kUnknown = "unknown fault";

/// Without the memory for an error line, there is no way left to report anything.
void logUnknownFailure() noexcept {
    try {
        CSCLogging::LogError("Unknown exception when loading config file ");
    } catch (...) {
        return;
    }
}

void logFailure(const Poco::Exception& exception) noexcept {
    try {
        CSCLogging::LogError(CSCLogEntry("Loading config file failed, error: ")
                             << internal::escapedText(exception.displayText()));
    } catch (...) {
        return;
    }
}

}  // namespace

/// The settings take many times the memory of their text, so they are made when somebody asks for them.
class ConfigurationManager::Services {
 public:
    using Map = std::map<std::string, ServiceSettings>;

    void add(std::shared_ptr<const JsonObject> section) {
        const std::lock_guard lock(mutex_);
        unread_.push_back(std::move(section));
    }

    std::shared_ptr<const Map> read() {
        const std::lock_guard lock(mutex_);
        // What has been read counts already, so a call that runs out of memory loses nothing.
        for (const auto& section : unread_) {
            for (const std::string& name : section->getKeys()) {
                if (section->isObject(name)) {
                    map_->emplace(name, settingsOf(*section->getObject(name)));
                }
            }
        }
        unread_.clear();
        return map_;
    }

 private:
    static ServiceSettings settingsOf(const JsonObject& section) {
        ServiceSettings settings;
        const auto take = [&section](const std::string& key, std::shared_ptr<std::string>& setting) {
            if (const auto text = findString(section, key)) {
                setting = std::make_shared<std::string>(*text);
            }
        };
        take(keys::kServerBaseUri, settings.serverBaseUri);
        take(keys::kServerBasePathHttp, settings.serverBasePathHTTP);
        take(keys::kServerBasePathWs, settings.serverBasePathWS);
        take(keys::kSeparatorAfterRessource, settings.separatorAfterResource);
        return settings;
    }

    std::mutex mutex_;
    std::vector<std::shared_ptr<const JsonObject>> unread_;
    const std::shared_ptr<Map> map_ = std::make_shared<Map>();
};

ConfigurationManager::ServiceSettings::ServiceSettings()
    : serverBaseUri(std::make_shared<std::string>(kLoopback)),
      serverBasePathHTTP(std::make_shared<std::string>("/")),
      serverBasePathWS(std::make_shared<std::string>("/")),
      separatorAfterResource(std::make_shared<std::string>("/")),
      watchdogTimeout(std::make_shared<long>(0)) {}

ConfigurationManager::ConfigurationManager() : ConfigurationManager(std::string()) {}

ConfigurationManager::ConfigurationManager(const std::string& configFile)
    : configFile_(configFile), services_(std::make_shared<Services>()) {
    serviceRegistrySettings_.serviceSettings =
        std::make_shared<zeb::ZebServiceConfigurations::ServiceSettings>();
}

ConfigurationManager::~ConfigurationManager() = default;

void ConfigurationManager::load() {
    isToBeLoadedAgain_ = false;
    try {
        loadFailure_.clear();
        if (configFile_.empty()) {
            loadFailure_ = "it is not given";
            CSCLogging::LogError("Config File is not given!");
        } else if (configFile_.back() == '/') {
            loadFailure_ = "it is not a file";
            CSCLogging::LogError(CSCLogEntry("Config File is not a file: ") << configFile_);
        } else if (isMissing(configFile_)) {
            loadFailure_ = "it does not exist";
            CSCLogging::LogError(CSCLogEntry("Config file does not exist: ") << configFile_);
        } else {
            CSCLogging::LogInfo(CSCLogEntry("Found config file: ") << configFile_ << " - try to load it");
            auto root = parseConfiguration(readConfigurationFile(configFile_));
            take(std::move(root));
        }
    } catch (const Poco::Exception& exception) {
        isToBeLoadedAgain_ = mayPass(exception.code());
        noteFailure(exception);
        logFailure(exception);
    } catch (const std::bad_alloc&) {
        isToBeLoadedAgain_ = true;
        loadFailure_ = kNoMemory;
        logUnknownFailure();
    } catch (...) {
        loadFailure_ = kUnknown;
        logUnknownFailure();
    }
}

void ConfigurationManager::noteFailure(const Poco::Exception& exception) noexcept {
    try {
        loadFailure_ = exception.displayText();
    } catch (const std::bad_alloc&) {
        loadFailure_ = kNoMemory;
    }
}

void ConfigurationManager::take(std::shared_ptr<const JsonObject> root) {
    ServiceRegistrySettings registry = withSettingsOf(*root);
    const std::string services = servicesAlone(*root);
    root.reset();
    keep(std::move(registry), JsonObject::parse(services));
}

void ConfigurationManager::keep(ServiceRegistrySettings&& registry, std::shared_ptr<const JsonObject> root) {
    parseServices(*root);
    // From here on, nothing can fail. A file that is read in part would be worse than none.
    root_ = std::move(root);
    replaceRegistrySettings(std::move(registry));
}

void ConfigurationManager::parseProperties(std::shared_ptr<const JsonObject> root) {
    if (root == nullptr) {
        return;
    }
    ServiceRegistrySettings registry = withSettingsOf(*root);
    parseServices(*root);
    replaceRegistrySettings(std::move(registry));
}

/// The settings in force, with those of the file added. The map is a copy.
ConfigurationManager::ServiceRegistrySettings ConfigurationManager::withSettingsOf(
    const JsonObject& root) const {
    ServiceRegistrySettings result = serviceRegistrySettings_;
    result.serviceSettings =
        std::make_shared<zeb::ZebServiceConfigurations::ServiceSettings>(*result.serviceSettings);
    if (!root.isObject(keys::kServiceRegistrySettings)) {
        return result;
    }
    const auto settings = root.getObject(keys::kServiceRegistrySettings);
    if (const auto mode = findString(*settings, keys::kMode)) {
        result.mode = *mode;
    }
    if (const auto httpUri = findString(*settings, keys::kHttpUri)) {
        result.httpUri = *httpUri;
    }
    if (settings->isArray(keys::kServiceSettings)) {
        const auto elements = settings->getArray(keys::kServiceSettings);
        for (std::size_t index = 0; index < elements->size(); ++index) {
            if (elements->isObject(index)) {
                addEntry(*result.serviceSettings, ServiceEntry::of(*elements->getObject(index)));
            }
        }
    }
    return result;
}

void ConfigurationManager::replaceRegistrySettings(ServiceRegistrySettings&& settings) noexcept {
    serviceRegistrySettings_.mode.swap(settings.mode);
    serviceRegistrySettings_.httpUri.swap(settings.httpUri);
    // Others share the map.
    serviceRegistrySettings_.serviceSettings->swap(*settings.serviceSettings);
}

void ConfigurationManager::parseServices(const JsonObject& root) {
    if (root.isObject(keys::kServices)) {
        services_->add(root.getObject(keys::kServices));
    }
}

std::shared_ptr<const std::map<std::string, ConfigurationManager::ServiceSettings>>
ConfigurationManager::getServices() const {
    return services_->read();
}

std::shared_ptr<zeb::ZebServiceConfigurations::ServiceSettings> ConfigurationManager::getServiceSettings()
    const {
    return serviceRegistrySettings_.serviceSettings;
}

std::shared_ptr<const JsonObject> ConfigurationManager::sectionOf(const std::string& service) const {
    if (!root_ || !root_->isObject(keys::kServices)) {
        return nullptr;
    }
    const auto services = root_->getObject(keys::kServices);
    return services->isObject(service) ? services->getObject(service) : nullptr;
}

std::string ConfigurationManager::getValueOfService(const std::string& service, const std::string& key,
                                                    const std::string& defaultValue) const {
    const auto section = sectionOf(service);
    return section && section->has(key) ? stringSetting(*section, service, key) : defaultValue;
}

long ConfigurationManager::getIntValueOfService(const std::string& service, const std::string& key,
                                                long defaultValue) const {
    const auto section = sectionOf(service);
    return section && section->has(key) ? integerSetting(*section, service, key) : defaultValue;
}

std::string ConfigurationManager::getServerBaseUri(const std::string& service) const {
    return getValueOfService(service, keys::kServerBaseUri, "/");
}

std::string ConfigurationManager::getServerBasePath(const std::string& service) const {
    return getValueOfService(service, keys::kServerBasePathHttp, "/");
}

std::string ConfigurationManager::getSeparatorAfterResource(const std::string& service) const {
    return getValueOfService(service, keys::kSeparatorAfterRessource, "/");
}

bool ConfigurationManager::isServiceConfigurationKnown(const std::string& service) const {
    return sectionOf(service) != nullptr;
}

milliseconds ConfigurationManager::getWatchdogPingInterval(const std::string& service) const {
    return pingInterval(getIntValueOfService(service, keys::kWatchdogTimeout, 0));
}

milliseconds ConfigurationManager::getWatchdogPongTimeout(const std::string& service) const {
    return pongTimeout(getWatchdogPingInterval(service));
}

zeb::ZebServiceConfigurations::ServiceConfiguration ConfigurationManager::getServiceConfiguration(
    const std::string& service) const {
    zeb::ZebServiceConfigurations::ServiceConfiguration configuration;
    configuration.serverBaseUri = getServerBaseUri(service);
    configuration.serverBasePath = getServerBasePath(service);
    configuration.separatorAfterResource = getSeparatorAfterResource(service);
    configuration.watchdogPingInterval = getWatchdogPingInterval(service);
    configuration.watchdogPongTimeout = getWatchdogPongTimeout(service);
    configuration.useSeparator = false;
    return configuration;
}

}  // namespace kelo_client
