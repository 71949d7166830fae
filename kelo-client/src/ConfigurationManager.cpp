#include <Poco/Exception.h>
#include <Poco/Path.h>
#include <csc_logging/CSCLogging.h>
#include <internal/EscapedText.h>
#include <kelo-client/ConfigurationManager.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>
#include <zebutil/Optional.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "ConfigurationFile.h"
#include "SettingValue.h"

namespace kelo_client {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using std::chrono::milliseconds;
using zebutil::JsonObject;

namespace {

constexpr const char* kLoopback = "http://[::1]:80";

/// Whether this error number of the system says nothing about the file.
bool mayPass(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM;
}

milliseconds pingInterval(std::int64_t configured) {
    return milliseconds(std::max<std::int64_t>(configured, 0));
}

/// Three ping intervals, or the longest representable time if that would overflow.
milliseconds pongTimeout(milliseconds interval) {
    return interval > milliseconds::max() / 3 ? milliseconds::max() : 3 * interval;
}

/// The value that the strict getter returns; empty if the key is missing or has another type. An exception
/// takes some microseconds, so a missing key is found without one.
template <typename Value>
std::optional<Value> find(const JsonObject& object, const std::string& key,
                          Value (JsonObject::*get)(const std::string&) const) {
    if (!object.has(key)) {
        return std::nullopt;
    }
    try {
        return (object.*get)(key);
    } catch (const zebutil::JsonException&) {
        return std::nullopt;
    }
}

std::optional<std::string> findString(const JsonObject& object, const std::string& key) {
    if (!object.isString(key)) {
        return std::nullopt;
    }
    return object.getString(key);
}

zebutil::Optional<milliseconds> wrapped(milliseconds value) {
    return zebutil::Optional<milliseconds>(&value);
}

/// A document of the "services" section alone, so that the rest of the file takes no memory.
std::string servicesAlone(const JsonObject& root) {
    return root.isObject("services") ? R"({"services":)" + root.getObject("services")->toString() + "}"
                                     : "{}";
}

/// Without the memory for an error line, there is no way left to report anything.
void logError(const char* text, const std::string& detail = {}) noexcept {
    try {
        CSCLogging::LogError(CSCLogEntry(text) << internal::escapedText(detail));
    } catch (...) {
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
        for (const auto& section : std::exchange(unread_, {})) {
            for (const std::string& name : section->getKeys()) {
                if (section->isObject(name)) {
                    map_->emplace(name, settingsOf(*section->getObject(name)));
                }
            }
        }
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
        take("serverBaseUri", settings.serverBaseUri);
        take("serverBasePathHTTP", settings.serverBasePathHTTP);
        take("serverBasePathWS", settings.serverBasePathWS);
        take("separatorAfterRessource", settings.separatorAfterResource);
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
    if (configFile_.empty()) {
        CSCLogging::LogError("Config File is not given!");
        return;
    }
    try {
        const Poco::Path path(configFile_);
        if (path.getFileName().empty()) {
            CSCLogging::LogError(CSCLogEntry("Config File is not a file: ") << configFile_);
        } else if (isMissing(configFile_)) {
            CSCLogging::LogError(CSCLogEntry("Config file does not exist: ") << configFile_);
        } else {
            CSCLogging::LogInfo(CSCLogEntry("Found config file: ") << configFile_ << " - try to load it");
            parseFile();
        }
    } catch (const Poco::Exception& exception) {
        isToBeLoadedAgain_ = mayPass(exception.code());
        logError("Loading config file failed, error: ", exception.displayText());
    } catch (const std::bad_alloc&) {
        isToBeLoadedAgain_ = true;
        logError("Unknown exception when loading config file ");
    } catch (...) {
        logError("Unknown exception when loading config file ");
    }
}

void ConfigurationManager::parseFile() {
    auto root = parseConfiguration(readConfigurationFile(configFile_));
    if (root->isObject("serviceRegistrySettings")) {
        parseServiceRegistrySettings(*root->getObject("serviceRegistrySettings"));
    }
    const std::string services = servicesAlone(*root);
    root.reset();
    root_ = JsonObject::parse(services);
    parseServices(*root_);
}

void ConfigurationManager::parseProperties(std::shared_ptr<const JsonObject> root) {
    if (root == nullptr) {
        return;
    }
    if (root->isObject("serviceRegistrySettings")) {
        parseServiceRegistrySettings(*root->getObject("serviceRegistrySettings"));
    }
    parseServices(*root);
}

void ConfigurationManager::parseServiceRegistrySettings(const JsonObject& settings) {
    if (const auto mode = findString(settings, "mode")) {
        serviceRegistrySettings_.mode = *mode;
    }
    if (const auto httpUri = findString(settings, "httpUri")) {
        serviceRegistrySettings_.httpUri = *httpUri;
    }
    if (!settings.isArray("serviceSettings")) {
        return;
    }

    const auto elements = settings.getArray("serviceSettings");
    for (std::size_t index = 0; index < elements->size(); ++index) {
        if (!elements->isObject(index)) {
            continue;
        }
        const auto element = elements->getObject(index);
        const auto service = findString(*element, "service");
        const auto useSeparator =
            service ? find(*element, "useSeparator", &JsonObject::getBool) : std::nullopt;
        const auto watchdogTimeout =
            useSeparator ? find(*element, "watchdogTimeout", &JsonObject::getInt64) : std::nullopt;
        if (!watchdogTimeout) {
            continue;
        }
        const milliseconds interval = pingInterval(*watchdogTimeout);
        serviceRegistrySettings_.serviceSettings->emplace(
            *service, zeb::ZebServiceConfigurations::ServiceSetting(*useSeparator, wrapped(interval),
                                                                    wrapped(pongTimeout(interval))));
    }
}

void ConfigurationManager::parseServices(const JsonObject& root) {
    if (root.isObject("services")) {
        services_->add(root.getObject("services"));
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
    if (!root_ || !root_->isObject("services")) {
        return nullptr;
    }
    const auto services = root_->getObject("services");
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
    return getValueOfService(service, "serverBaseUri", "/");
}

std::string ConfigurationManager::getServerBasePath(const std::string& service) const {
    return getValueOfService(service, "serverBasePathHTTP", "/");
}

std::string ConfigurationManager::getSeparatorAfterResource(const std::string& service) const {
    return getValueOfService(service, "separatorAfterRessource", "/");
}

bool ConfigurationManager::isServiceConfigurationKnown(const std::string& service) const {
    return sectionOf(service) != nullptr;
}

milliseconds ConfigurationManager::getWatchdogPingInterval(const std::string& service) const {
    return pingInterval(getIntValueOfService(service, "watchdogTimeout", 0));
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
