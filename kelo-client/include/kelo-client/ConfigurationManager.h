#pragma once

#include <Poco/Exception.h>
#include <clampcontrolclient/Export.h>
#include <zeb/IConfigManager.h>
#include <zeb/ZebServiceConfigurations.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>

namespace zebutil {
class JsonObject;
}

namespace kelo_client {

/// The client's configuration: a JSON file that is read once, at start-up, with the settings of each remote
/// service. docs/configuration.md describes the file, which may have 1 MiB. A missing or broken file is
/// logged, and the defaults stay in force. checkConfiguration() in ConfigurationCheck.h says what is wrong
/// with a file.
///
/// Shared by the client-service base and the service registry. Thread safety: call load and parseProperties
/// first, on one thread; after that, every function may be called from any thread.
class CLAMPCONTROL_EXPORT ConfigurationManager : public zeb::IConfigManager {
 public:
    /// The registry's section of the file.
    struct ServiceRegistrySettings {
        std::string mode = "static";
        std::string httpUri = "http://[::1]:80";
        /// Keyed by service name; never null.
        std::shared_ptr<zeb::ZebServiceConfigurations::ServiceSettings> serviceSettings;
    };

    /// What the "services" section says about one service. No member is ever null. The bundled platform does
    /// not read these members; it calls the functions below.
    struct CLAMPCONTROL_EXPORT ServiceSettings {
        ServiceSettings();

        std::shared_ptr<std::string> serverBaseUri;           ///< default "http://[::1]:80"
        std::shared_ptr<std::string> serverBasePathHTTP;      ///< default "/"
        std::shared_ptr<std::string> serverBasePathWS;        ///< default "/"; the functions below ignore it
        std::shared_ptr<std::string> separatorAfterResource;  ///< default "/"
        std::shared_ptr<long> watchdogTimeout;                ///< always 0; see getWatchdogPingInterval
    };

    /// Starts with the defaults. There is no file to load.
    ConfigurationManager();
    /// Starts with the defaults; load reads `configFile`.
    explicit ConfigurationManager(const std::string& configFile);
    ~ConfigurationManager() override;

    /// Reads the file. The path is used as it is: "~" is a name like any other. Never throws; every failure
    /// is logged at error level, and leaves the defaults in force. Without memory even the log line may be
    /// missing; see isToBeLoadedAgain.
    void load();

    /// Whether load failed for want of descriptors or memory, which may pass. The defaults in force then say
    /// nothing about the file.
    bool isToBeLoadedAgain() const { return isToBeLoadedAgain_; }

    /// The path that was given to the constructor.
    const std::string& getConfigurationFile() const { return configFile_; }

    /// Why load has not read the file; empty if it has. For people.
    const std::string& getLoadFailure() const { return loadFailure_; }

    /// Applies the settings of a parsed file; a null root changes nothing. A key of the wrong JSON type
    /// counts as absent. If there are two entries for the same service, the first one counts.
    void parseProperties(std::shared_ptr<const zebutil::JsonObject> root);

    /// The registry's section.
    const ServiceRegistrySettings& getServiceRegistrySettings() const { return serviceRegistrySettings_; }
    /// The per-service settings of the registry's section; shared, not copied.
    std::shared_ptr<zeb::ZebServiceConfigurations::ServiceSettings> getServiceSettings() const;
    /// The "services" section, keyed by service name; shared, not copied; never null.
    std::shared_ptr<const std::map<std::string, ServiceSettings>> getServices() const;

    /// Returns the text under `key` in the section of `service`, or `defaultValue` if there is none. Throws
    /// `Poco::BadCastException` if the value is not a string, and `Poco::InvalidAccessException` if it is
    /// null; their `what()` names the service, the key, what was expected and what was found.
    std::string getValueOfService(const std::string& service, const std::string& key,
                                  const std::string& defaultValue) const;
    /// The same for an integer.
    long getIntValueOfService(const std::string& service, const std::string& key, long defaultValue) const;

    /// "serverBaseUri" of the service, "/" by default. This and the next two functions throw as
    /// getValueOfService does.
    std::string getServerBaseUri(const std::string& service) const override;
    /// "serverBasePathHTTP" of the service, "/" by default.
    std::string getServerBasePath(const std::string& service) const override;
    /// "separatorAfterRessource" of the service (the key has a double "s"), "/" by default.
    std::string getSeparatorAfterResource(const std::string& service) const override;
    /// Whether the loaded file has an object for the service in its "services" section.
    bool isServiceConfigurationKnown(const std::string& service) const override;
    /// "watchdogTimeout" of the service, 0 by default; a negative value counts as 0. Throws as
    /// getIntValueOfService does.
    std::chrono::milliseconds getWatchdogPingInterval(const std::string& service) const override;
    /// Three ping intervals.
    std::chrono::milliseconds getWatchdogPongTimeout(const std::string& service) const override;
    /// The values of these getters as one record.
    zeb::ZebServiceConfigurations::ServiceConfiguration getServiceConfiguration(
        const std::string& service) const override;

 private:
    friend class ReadConfiguration;
    class Services;

    /// Takes over the settings of a file: all of them, or none if it throws.
    void take(std::shared_ptr<const zebutil::JsonObject> root);
    /// @param root a document with the services alone
    void keep(ServiceRegistrySettings&& registry, std::shared_ptr<const zebutil::JsonObject> root);
    ServiceRegistrySettings withSettingsOf(const zebutil::JsonObject& root) const;
    void replaceRegistrySettings(ServiceRegistrySettings&& settings) noexcept;
    void noteFailure(const Poco::Exception& exception) noexcept;
    void parseServices(const zebutil::JsonObject& root);
    std::shared_ptr<const zebutil::JsonObject> sectionOf(const std::string& service) const;

    const std::string configFile_;
    bool isToBeLoadedAgain_ = false;
    std::string loadFailure_{"it was not read"};
    ServiceRegistrySettings serviceRegistrySettings_;
    /// Never copied, because a copy would share its values.
    const ServiceSettings defaultServiceSettings_;
    const std::shared_ptr<Services> services_;
    /// What the file has about services; null until load has parsed one.
    std::shared_ptr<const zebutil::JsonObject> root_;
};

}  // namespace kelo_client
