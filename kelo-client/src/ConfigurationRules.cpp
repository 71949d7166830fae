#include "ConfigurationRules.h"

#include <Poco/Exception.h>
#include <internal/EscapedText.h>
#include <internal/SimilarWord.h>
#include <zeb/ZebServiceConfigurations.h>
#include <zebutil/BaseUri.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "ConfigurationKeys.h"
#include "KnownServices.h"
#include "ReadConfiguration.h"
#include "RegistryMode.h"

namespace kelo_client {

using Mode = zeb::ZebServiceRegistry::Mode;
using internal::mistypedWord;
using internal::similarWord;
using internal::Words;
using std::chrono::milliseconds;
using zeb::ServiceAddress;

namespace {

constexpr std::uint16_t kPlainPort = 80;
constexpr std::uint16_t kSecurePort = 443;

constexpr const char* kNeverConnected = "the library logs an error and never connects to the service";

std::string quotedMode(Mode mode) {
    return '"' + nameOf(mode) + '"';
}

std::string modes() {
    return "The modes are " + quotedMode(Mode::StaticOnly) + ", " + quotedMode(Mode::DynamicOnly) + " and " +
           quotedMode(Mode::StaticBeforeDynamic);
}

std::string inMilliseconds(milliseconds time) {
    return std::to_string(time.count()) + " ms";
}

bool isBaseUri(const std::string& text) {
    try {
        zebutil::BaseUri::parse(text);
    } catch (const std::invalid_argument&) {
        return false;
    }
    return true;
}

/// What was probably meant by a text that is not a base URI; empty if that cannot be guessed.
std::string baseUriMeantBy(const std::string& text) {
    const std::size_t schemeEnd = text.find("://");
    if (schemeEnd == std::string::npos) {
        const std::string meant = "http://" + text;
        return isBaseUri(meant) ? "; did you mean " + zebutil::readableAddress(meant) + "?" : "";
    }
    const std::size_t path = text.find('/', schemeEnd + 3);
    if (path != std::string::npos && isBaseUri(text.substr(0, path))) {
        try {
            ServiceAddress::basePathOf(text.substr(path));
        } catch (const std::invalid_argument&) {
            return "";
        }
        return "; the path " + zebutil::readableAddress(text.substr(path)) + " belongs in \"" +
               keys::kServerBasePathHttp + "\"";
    }
    return "";
}

/// What the registry says when it refuses an address; empty if it takes it. A vehicle's own platform may
/// quote more of the address than the bundled one does.
template <typename Parse>
std::string refusal(Parse parse) {
    try {
        parse();
    } catch (const std::invalid_argument& fault) {
        return internal::escapedText(fault.what());
    }
    return "";
}

class ConfigurationRules {
 public:
    ConfigurationRules(const ReadConfiguration& configuration, ConfigurationFindings& findings)
        : configuration_(configuration), findings_(findings) {}

    void check() {
        checkMode();
        checkHttpUri();
        for (const Entry& entry : outline().entries) {
            checkEntry(entry);
        }
        for (const Service& service : outline().services) {
            checkService(service);
        }
        checkThatClampControlIsConfigured();
        checkProtocols();
    }

 private:
    using Entry = ReadConfiguration::Entry;
    using Kind = JsonPlace::Kind;
    using Member = ReadConfiguration::Member;
    using Service = ReadConfiguration::Service;
    using Severity = ConfigurationFinding::Severity;

    /// An address that is or will be connected to.
    struct Address {
        std::size_t byte;
        std::string path;
        bool isSecure;
    };

    const ConfigurationOutline& outline() const { return configuration_.outline(); }
    const ConfigurationManager& manager() const { return configuration_.manager(); }
    Mode mode() const { return configuration_.mode(); }

    void error(std::size_t byte, const std::string& path, const std::string& text) {
        findings_.add(Severity::Error, byte, path, text);
    }
    void warn(std::size_t byte, const std::string& path, const std::string& text) {
        findings_.add(Severity::Warning, byte, path, text);
    }
    void note(std::size_t byte, const std::string& path, const std::string& text) {
        findings_.add(Severity::Note, byte, path, text);
    }

    /// Where something is missing: in the section if there is one.
    std::size_t sectionPlace(const char* section) const {
        const Member* const member = ReadConfiguration::find(outline().root, section);
        return member == nullptr ? ConfigurationFindings::kWholeFile : member->key;
    }

    // ------------------------------------------------------------------------------------ the registry

    void checkMode() {
        const std::string path = memberPath(keys::kServiceRegistrySettings, keys::kMode);
        const std::string applies = "the mode is " + quotedMode(mode());
        const Member* const member = ReadConfiguration::find(outline().registry, keys::kMode);
        if (member == nullptr) {
            note(sectionPlace(keys::kServiceRegistrySettings), path,
                 "not set, so " + applies + ". " + modes());
            return;
        }
        const std::size_t byte = member->value.begin;
        if (member->value.kind != Kind::String) {
            warn(byte, path,
                 "expected a string, found " + configuration_.found(*member) + "; it is ignored, and " +
                     applies + ". " + modes());
            return;
        }
        const std::string& text = manager().getServiceRegistrySettings().mode;
        if (registryModeOf(text)) {
            return;
        }
        if (text.empty() || text == ConfigurationManager::ServiceRegistrySettings().mode) {
            note(byte, path, quoted(text) + " does not name a mode, so " + applies + ". " + modes());
            return;
        }
        const Words names = {nameOf(Mode::StaticOnly), nameOf(Mode::DynamicOnly),
                             nameOf(Mode::StaticBeforeDynamic)};
        const std::string_view meant = similarWord(text, names);
        warn(byte, path,
             "unknown mode " + quoted(text) + ", so " + applies +
                 (meant.empty() ? ". " : "; did you mean \"" + std::string(meant) + "\"? ") + modes());
    }

    /// Whether the client's service is looked for in the registry.
    bool isRegistryNeeded() const { return !configuration_.hasConfiguredAddress(std::string(kClampControl)); }

    void checkHttpUri() {
        const std::string path = memberPath(keys::kServiceRegistrySettings, keys::kHttpUri);
        const std::string& uri = manager().getServiceRegistrySettings().httpUri;
        const std::string expectedAt = "the service registry is expected at " + zebutil::readableAddress(uri);
        const Member* const member = ReadConfiguration::find(outline().registry, keys::kHttpUri);
        const bool isUsed = mode() != Mode::StaticOnly;
        if (member == nullptr) {
            if (isUsed) {
                findings_.add(isRegistryNeeded() ? Severity::Warning : Severity::Note,
                              sectionPlace(keys::kServiceRegistrySettings), path,
                              "not set, so " + expectedAt +
                                  "; services whose address comes from the registry stay disconnected if "
                                  "it is not there");
            }
            return;
        }
        const std::size_t byte = member->value.begin;
        if (member->value.kind != Kind::String) {
            warn(byte, path,
                 "expected a string, found " + configuration_.found(*member) + "; it is ignored, and " +
                     expectedAt);
            return;
        }
        const std::string fault = refusal([&uri] { ServiceAddress::parse(uri); });
        if (!isUsed) {
            note(byte, path,
                 "not used with the mode " + quotedMode(mode()) + (fault.empty() ? "" : "; also, " + fault));
        } else if (!fault.empty()) {
            findings_.add(isRegistryNeeded() ? Severity::Error : Severity::Warning, byte, path,
                          fault + "; services whose address comes from the registry stay disconnected" +
                              baseUriMeantBy(uri));
        } else {
            const ServiceAddress address = ServiceAddress::parse(uri);
            checkPort(byte, path, address.serverBaseUri);
            addresses_.push_back({byte, path, address.isSecure()});
        }
    }

    // --------------------------------------------------------------------------- entries of serviceSettings

    void checkEntry(const Entry& entry) {
        if (!entry.content.isComplete()) {
            warn(entry.place.begin, entry.path, "this entry is skipped: " + faultsOf(entry));
        } else if (const Entry* const first = configuration_.entry(*entry.content.service); first != &entry) {
            warn(entry.place.begin, entry.path,
                 "this entry is ignored: service " + quoted(*entry.content.service) +
                     " has an entry already, at " + configuration_.place(first->place.begin) +
                     ", and the first one counts");
        } else {
            checkWatchdog(*entry.content.service);
        }
        if (entry.content.service) {
            const Member* const member = ReadConfiguration::find(entry.members, keys::kService);
            checkName(*entry.content.service, member->value.begin, memberPath(entry.path, keys::kService));
        }
    }

    /// Why an entry is skipped, and what that leads to.
    std::string faultsOf(const Entry& entry) const {
        std::string faults;
        const auto addFault = [&](const char* key, bool isThere, const char* expected) {
            if (isThere) {
                return;
            }
            const Member* const member = ReadConfiguration::find(entry.members, key);
            faults += (faults.empty() ? "\"" : ", \"") + std::string(key) + "\" is " +
                      (member == nullptr ? "missing" : configuration_.found(*member)) + " (expected " +
                      expected + ")";
        };
        addFault(keys::kService, entry.content.service.has_value(), "a string");
        addFault(keys::kUseSeparator, entry.content.useSeparator.has_value(), "true or false");
        addFault(keys::kWatchdogTimeout, entry.content.watchdogTimeout.has_value(),
                 "an integer of 64 bits, in milliseconds");
        if (!entry.content.service) {
            return faults;
        }
        if (entry.content.watchdogTimeout && *entry.content.watchdogTimeout < 0) {
            faults += ", \"" + std::string(keys::kWatchdogTimeout) + "\" is negative (expected " +
                      "milliseconds, such as 1000)";
        }
        const auto interval = configuration_.watchdogInterval(*entry.content.service);
        if (interval && interval->count() == 0) {
            faults += "; so service " + quoted(*entry.content.service) + " has no watchdog";
        }
        return faults;
    }

    // ------------------------------------------------------------------------------------ services

    void checkService(const Service& service) {
        const std::string path = memberPath(keys::kServices, service.name);
        const bool isMistyped = checkName(service.name, service.place.key, keys::kServices);
        if (service.place.value.kind != Kind::Object) {
            warn(service.place.value.begin, path,
                 "expected an object, found " + configuration_.found(service.place) + "; it is ignored");
            return;
        }
        const Unreadable unreadable = checkTypes(service, path);
        checkAddress(service, path, unreadable);
        // The author means another service. What this one lacks would distract from that.
        if (!isMistyped) {
            checkUnused(service, path, unreadable);
            if (configuration_.entry(service.name) == nullptr && !hasSkippedEntry(service.name) &&
                unreadable.count(keys::kWatchdogTimeout) == 0) {
                checkWatchdog(service.name);
            }
        }
    }

    /// The keys of a service whose values have the wrong type. The checks go on without them, so that all
    /// faults are found at once.
    using Unreadable = std::set<std::string>;

    Unreadable checkTypes(const Service& service, const std::string& path) {
        Unreadable unreadable;
        const auto checkType = [&](const char* key, const char* expected, const auto& get) {
            try {
                get();
            } catch (const Poco::Exception&) {
                const Member* const member = ReadConfiguration::find(service.members, key);
                error(member->value.begin, memberPath(path, key),
                      std::string("expected ") + expected + ", found " + configuration_.found(*member) +
                          "; " + kNeverConnected);
                unreadable.insert(key);
            }
        };
        const std::string& name = service.name;
        checkType(keys::kServerBaseUri, "a string", [&] { manager().getServerBaseUri(name); });
        checkType(keys::kServerBasePathHttp, "a string", [&] { manager().getServerBasePath(name); });
        checkType(keys::kSeparatorAfterRessource, "a string",
                  [&] { manager().getSeparatorAfterResource(name); });
        checkType(keys::kWatchdogTimeout, "an integer of 64 bits, in milliseconds",
                  [&] { manager().getWatchdogPingInterval(name); });
        return unreadable;
    }

    void checkAddress(const Service& service, const std::string& path, const Unreadable& unreadable) {
        const bool isUsed = configuration_.hasConfiguredAddress(service.name);
        const Severity severity = isUsed ? Severity::Error : Severity::Warning;
        const std::string effect =
            isUsed ? std::string("; ") + kNeverConnected
                   : "; with the mode " + quotedMode(mode()) + " it is not used to connect";
        bool isUsable = unreadable.empty();
        const std::string uriPath = memberPath(path, keys::kServerBaseUri);
        const bool isUri = unreadable.count(keys::kServerBaseUri) == 0;
        const std::string uri = isUri ? manager().getServerBaseUri(service.name) : std::string();
        const Member* const uriMember = ReadConfiguration::find(service.members, keys::kServerBaseUri);
        if (!isUri) {
            isUsable = false;
        } else if (uriMember == nullptr) {
            isUsable = false;
            if (isUsed) {
                error(service.place.key, path,
                      std::string("\"") + keys::kServerBaseUri + "\" is missing; " + kNeverConnected +
                          ". Expected: its server, such as \"http://127.0.0.1:8080\"");
            }
        } else if (const std::string fault = refusal([&uri] { zebutil::BaseUri::parse(uri); });
                   !fault.empty()) {
            isUsable = false;
            findings_.add(severity, uriMember->value.begin, uriPath, fault + effect + baseUriMeantBy(uri));
        } else {
            checkPort(uriMember->value.begin, uriPath, uri);
        }
        const bool isBasePath = unreadable.count(keys::kServerBasePathHttp) == 0;
        const std::string basePath = isBasePath ? manager().getServerBasePath(service.name) : "/";
        if (const std::string fault = refusal([&basePath] { ServiceAddress::basePathOf(basePath); });
            !fault.empty()) {
            isUsable = false;
            const Member* const member = ReadConfiguration::find(service.members, keys::kServerBasePathHttp);
            findings_.add(severity, member->value.begin, memberPath(path, keys::kServerBasePathHttp),
                          fault + "; expected a path such as \"/\" or \"/bus/\"" + effect);
        }
        if (isUsable && isUsed) {
            addresses_.push_back({uriMember->value.begin, uriPath, zebutil::BaseUri::parse(uri).isSecure});
        } else if (isUsable) {
            reportUnusedAddress(service.name, *uriMember, uriPath);
        }
    }

    void reportUnusedAddress(const std::string& service, const Member& uri, const std::string& path) {
        // With a mode that is named, the address may be there only to allow http.
        const bool isIntended = registryModeOf(manager().getServiceRegistrySettings().mode).has_value();
        findings_.add(isIntended ? Severity::Note : Severity::Warning, uri.value.begin, path,
                      "with the mode " + quotedMode(mode()) +
                          " it is not used to connect: the service registry says where the service is. The "
                          "modes " +
                          quotedMode(Mode::StaticOnly) + " and " + quotedMode(Mode::StaticBeforeDynamic) +
                          " use it" +
                          (zebutil::BaseUri::parse(manager().getServerBaseUri(service)).isSecure
                               ? ""
                               : ". It lets the registry name an http address"));
    }

    void checkPort(std::size_t byte, const std::string& path, const std::string& uri) {
        const zebutil::BaseUri parsed = zebutil::BaseUri::parse(uri);
        if (!parsed.isSecure && parsed.port == kSecurePort) {
            warn(byte, path, "http at port 443, where servers expect https; did you mean \"https\"?");
        } else if (parsed.isSecure && parsed.port == kPlainPort) {
            warn(byte, path, "https at port 80, where servers expect http; did you mean \"http\"?");
        }
    }

    void checkUnused(const Service& service, const std::string& path, const Unreadable& unreadable) {
        if (const Member* const websocketPath =
                ReadConfiguration::find(service.members, keys::kServerBasePathWs)) {
            const bool isText = websocketPath->value.kind == Kind::String;
            findings_.add(
                isText ? Severity::Note : Severity::Warning, websocketPath->value.begin,
                memberPath(path, keys::kServerBasePathWs),
                (isText ? "" : "expected a string, found " + configuration_.found(*websocketPath) + "; ") +
                    "not used: \"" + keys::kServerBasePathHttp + "\" is the base path of the WebSocket, too");
        }
        const Entry* const entry = configuration_.entry(service.name);
        const Member* const separator =
            ReadConfiguration::find(service.members, keys::kSeparatorAfterRessource);
        const auto isReadable = [&unreadable](const char* key) { return unreadable.count(key) == 0; };
        if (separator != nullptr && isReadable(keys::kSeparatorAfterRessource) &&
            !usesSeparator(service.name)) {
            note(separator->value.begin, memberPath(path, keys::kSeparatorAfterRessource),
                 std::string("not used: no entry of \"") + keys::kServiceSettings + "\" has \"" +
                     keys::kUseSeparator + "\": true for this service");
        }
        const Member* const watchdog = ReadConfiguration::find(service.members, keys::kWatchdogTimeout);
        if (watchdog != nullptr && isReadable(keys::kWatchdogTimeout) && entry != nullptr) {
            note(watchdog->value.begin, memberPath(path, keys::kWatchdogTimeout),
                 std::string("not used: that of the entry in \"") + keys::kServiceSettings + "\" at " +
                     configuration_.place(entry->place.begin) + " counts");
        }
    }

    bool usesSeparator(const std::string& name) const {
        const auto settings = manager().getServiceSettings();
        const auto setting = settings->find(name);
        return setting != settings->end() && setting->second.useSeparator;
    }

    void checkThatClampControlIsConfigured() {
        const std::string name(kClampControl);
        const std::string path = memberPath(keys::kServices, name);
        if (mode() == Mode::StaticOnly && !manager().isServiceConfigurationKnown(name)) {
            error(sectionPlace(keys::kServices), path,
                  "there is no object for this service, and the mode is " + quotedMode(mode()) + "; " +
                      kNeverConnected);
        }
        if (configuration_.service(name) == nullptr && configuration_.entry(name) == nullptr &&
            !hasSkippedEntry(name)) {
            checkWatchdog(name);
        }
    }

    /// Reports a name that a service of the bus probably does not have, and returns whether it is one.
    bool checkName(const std::string& name, std::size_t byte, const std::string& path) {
        const Words known(kKnownServices.begin(), kKnownServices.end());
        if (std::find(known.begin(), known.end(), name) != known.end()) {
            return false;
        }
        const std::string_view meant = mistypedWord(name, known);
        if (!meant.empty()) {
            warn(byte, path,
                 "the library does not know service " + quoted(name) + "; did you mean \"" +
                     std::string(meant) + "\"?");
        }
        return !meant.empty();
    }

    // ------------------------------------------------------------------------------------ the watchdog

    bool hasSkippedEntry(const std::string& name) const {
        return std::any_of(outline().entries.begin(), outline().entries.end(), [&name](const Entry& entry) {
            return entry.content.service == name && !entry.content.isComplete();
        });
    }

    void checkWatchdog(const std::string& name) {
        const auto interval = configuration_.watchdogInterval(name);
        if (!interval) {
            return;
        }
        const Entry* const entry = configuration_.entry(name);
        const Service* const service = configuration_.service(name);
        const Member* configured = nullptr;
        std::string path = memberPath(keys::kServices, name);
        std::int64_t value = 0;
        if (entry != nullptr) {
            configured = ReadConfiguration::find(entry->members, keys::kWatchdogTimeout);
            path = entry->path;
            value = *entry->content.watchdogTimeout;
        } else if (service != nullptr) {
            configured = ReadConfiguration::find(service->members, keys::kWatchdogTimeout);
            value = manager().getIntValueOfService(name, keys::kWatchdogTimeout, 0);
        }
        if (configured == nullptr && interval->count() > 0) {
            return;  // an entry that was not checked, because there are so many
        }
        if (configured == nullptr) {
            warn(
                service == nullptr ? ConfigurationFindings::kWholeFile : service->place.key, path,
                "the service has no watchdog, so a server that hangs, or a network that loses everything, is "
                "noticed late or never; add {\"service\": " +
                    quoted(name) + ", \"useSeparator\": false, \"watchdogTimeout\": 1000} to \"" +
                    keys::kServiceRegistrySettings + "." + keys::kServiceSettings + "\"");
            return;
        }
        path = memberPath(path, keys::kWatchdogTimeout);
        if (value < 0) {
            warn(configured->value.begin, path,
                 "a negative interval counts as 0, so service " + quoted(name) +
                     " has no watchdog; expected the milliseconds between two pings, such as 1000");
        } else if (value == 0) {
            note(configured->value.begin, path, "the watchdog of service " + quoted(name) + " is off");
        } else if (milliseconds(value) > *interval) {
            warn(configured->value.begin, path,
                 "longer than a year, so " + inMilliseconds(*interval) +
                     " apply; expected the milliseconds between two pings, such as 1000");
        }
    }

    // ------------------------------------------------------------------------------------ http and https

    void checkProtocols() {
        const auto secure = std::find_if(addresses_.begin(), addresses_.end(),
                                         [](const Address& address) { return address.isSecure; });
        if (secure == addresses_.end()) {
            return;
        }
        for (const Address& address : addresses_) {
            if (!address.isSecure) {
                warn(address.byte, address.path,
                     "uses http, although " + secure->path +
                         " uses https: what is sent and received here is neither encrypted nor protected");
            }
        }
    }

    const ReadConfiguration& configuration_;
    ConfigurationFindings& findings_;
    std::vector<Address> addresses_;
};

}  // namespace

void checkRules(const ReadConfiguration& configuration, ConfigurationFindings& findings) {
    ConfigurationRules(configuration, findings).check();
}

}  // namespace kelo_client
