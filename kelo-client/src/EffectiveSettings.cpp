#include "EffectiveSettings.h"

#include <Poco/Exception.h>
#include <kelo-client/ConfigurationCheck.h>
#include <zebutil/BaseUri.h>

#include <cstddef>
#include <set>
#include <string>

#include "ConfigurationKeys.h"
#include "KnownServices.h"
#include "ReadConfiguration.h"
#include "RegistryMode.h"

namespace kelo_client {

namespace {

using Kind = JsonPlace::Kind;
using Member = ReadConfiguration::Member;
using Mode = zeb::ZebServiceRegistry::Mode;

constexpr std::size_t kMostServices = 100;
constexpr const char* kDefault = "default";
constexpr const char* kNone = "none";

class EffectiveSettings {
 public:
    EffectiveSettings(ConfigurationReport& report, const ReadConfiguration& configuration)
        : report_(report), configuration_(configuration) {}

    void add() {
        addMode();
        addHttpUri();
        addService(std::string(kClampControl));
        for (const auto& service : configuration_.outline().services) {
            addService(service.name);
        }
        for (const auto& entry : configuration_.outline().entries) {
            if (entry.content.isComplete()) {
                addService(*entry.content.service);
            }
        }
        report_.servicesLeftOut += configuration_.outline().servicesLeftOut;
    }

 private:
    const ConfigurationManager& manager() const { return configuration_.manager(); }

    void add(const std::string& path, const std::string& value, const std::string& source) {
        report_.settings.push_back({path, value, source});
    }

    std::string place(const Member& member) const { return configuration_.place(member.value.begin); }

    std::string ignored(const Member& member, const std::string& expected) const {
        return "default: the value at " + place(member) + " is not " + expected + " and is ignored";
    }

    /// Where a string comes from that is ignored if it has another type.
    std::string sourceOf(const Member* member) const {
        if (member == nullptr) {
            return kDefault;
        }
        return member->value.kind == Kind::String ? place(*member) : ignored(*member, "a string");
    }

    // ------------------------------------------------------------------------------------ the registry

    void addMode() {
        const Member* const member = ReadConfiguration::find(configuration_.outline().registry, keys::kMode);
        const bool isNamed = registryModeOf(manager().getServiceRegistrySettings().mode).has_value();
        const bool isOther = member != nullptr && member->value.kind == Kind::String && !isNamed;
        add(memberPath(keys::kServiceRegistrySettings, keys::kMode),
            '"' + nameOf(configuration_.mode()) + '"',
            isOther ? ignored(*member, "the name of a mode") : sourceOf(member));
    }

    void addHttpUri() {
        const Member* const member =
            ReadConfiguration::find(configuration_.outline().registry, keys::kHttpUri);
        std::string source = sourceOf(member);
        if (configuration_.mode() == Mode::StaticOnly) {
            source += "; not used with this mode";
        }
        add(memberPath(keys::kServiceRegistrySettings, keys::kHttpUri), registry(), source);
    }

    std::string registry() const {
        return zebutil::readableAddress(manager().getServiceRegistrySettings().httpUri);
    }

    // ------------------------------------------------------------------------------------ services

    void addService(const std::string& name) {
        if (!added_.insert(name).second) {
            return;
        }
        if (added_.size() > kMostServices) {
            ++report_.servicesLeftOut;
            return;
        }
        const std::string path = memberPath(keys::kServices, name);
        addConnection(name, path);
        addText(name, path, keys::kServerBaseUri, true);
        addText(name, path, keys::kServerBasePathHttp, true);
        addText(name, path, keys::kSeparatorAfterRessource, false);
        addEntry(name, path);
    }

    /// Where the service is.
    void addConnection(const std::string& name, const std::string& path) {
        const std::string source = "mode \"" + nameOf(configuration_.mode()) + '"';
        if (!areSettingsReadable(name)) {
            add(path, "never connected", "the settings of the service cannot be read");
        } else if (!configuration_.hasConfiguredAddress(name)) {
            add(path, "connected where the service registry at " + registry() + " says", source);
        } else if (const auto address = configuration_.configuredAddress(name)) {
            add(path, "connected at " + zebutil::readableAddress(address->text()), source);
        } else {
            add(path, "never connected", source + ", and no address that can be used");
        }
    }

    bool areSettingsReadable(const std::string& name) const {
        try {
            manager().getServiceConfiguration(name);
        } catch (const Poco::Exception&) {
            return false;
        }
        return true;
    }

    const Member* memberOf(const std::string& name, const char* key) const {
        const auto* const service = configuration_.service(name);
        return service == nullptr ? nullptr : ReadConfiguration::find(service->members, key);
    }

    std::string unreadable(const Member& member, const std::string& expected) const {
        return "the value at " + place(member) + " is not " + expected +
               ", so the service is never connected";
    }

    void addText(const std::string& name, const std::string& path, const char* key, bool isAddress) {
        const Member* const member = memberOf(name, key);
        std::string value = kNone;
        std::string source = member == nullptr ? kDefault : place(*member);
        try {
            const bool hasDefault = key != std::string_view(keys::kServerBaseUri);
            if (member != nullptr || hasDefault) {
                const std::string text = textOf(name, key);
                value = isAddress ? zebutil::readableAddress(text) : quoted(text);
            }
        } catch (const Poco::Exception&) {
            source = unreadable(*member, "a string");
        }
        add(memberPath(path, key), value, source);
    }

    std::string textOf(const std::string& name, std::string_view key) const {
        if (key == keys::kServerBaseUri) {
            return manager().getServerBaseUri(name);
        }
        if (key == keys::kServerBasePathHttp) {
            return manager().getServerBasePath(name);
        }
        return manager().getSeparatorAfterResource(name);
    }

    /// What an entry of "serviceSettings" can say.
    void addEntry(const std::string& name, const std::string& path) {
        const auto settings = manager().getServiceSettings();
        const auto setting = settings->find(name);
        const auto* const entry = configuration_.entry(name);
        const auto sourceIn = [&](const char* key) {
            const Member* const member =
                entry == nullptr ? nullptr : ReadConfiguration::find(entry->members, key);
            // An entry beyond the limit counts, but the outline does not know its place.
            return member == nullptr ? std::string("an entry of \"serviceSettings\"") : place(*member);
        };
        const bool hasEntry = setting != settings->end();
        const std::string entryPath =
            memberPath(keys::kServiceRegistrySettings, keys::kServiceSettings) + "[" + quoted(name) + "].";
        add(entryPath + keys::kUseSeparator, hasEntry && setting->second.useSeparator ? "true" : "false",
            hasEntry ? sourceIn(keys::kUseSeparator) : kDefault);

        const std::string watchdogPath =
            hasEntry ? entryPath + keys::kWatchdogTimeout : memberPath(path, keys::kWatchdogTimeout);
        const Member* const member = memberOf(name, keys::kWatchdogTimeout);
        const auto interval = configuration_.watchdogInterval(name);
        if (!interval) {
            add(watchdogPath, kNone, unreadable(*member, "an integer of 64 bits"));
        } else {
            add(watchdogPath, std::to_string(interval->count()) + " ms",
                hasEntry            ? sourceIn(keys::kWatchdogTimeout)
                : member != nullptr ? place(*member)
                                    : kDefault);
        }
    }

    ConfigurationReport& report_;
    const ReadConfiguration& configuration_;
    std::set<std::string> added_;
};

}  // namespace

void addSettings(ConfigurationReport& report, const ReadConfiguration& configuration) {
    EffectiveSettings(report, configuration).add();
}

}  // namespace kelo_client
