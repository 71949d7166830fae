#pragma once

#include <zebutil/Optional.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>

namespace zeb {

/// The records that carry the settings of remote services from a configuration to the service registry. Plain
/// values; copy them freely.
class ZebServiceConfigurations {
 public:
    /// The longest time of a watchdog, a year. The service registry uses it in place of a longer one, which
    /// would overflow the clock.
    static constexpr std::chrono::milliseconds kLongestWatchdogTime = std::chrono::hours(24 * 365);

    /// How to talk to one service, as given in the registry's own section of the configuration. A value that
    /// is set here takes precedence over the ServiceConfiguration of the same service.
    struct ServiceSetting {
        ServiceSetting(bool useSeparatorAfterResource,
                       const zebutil::Optional<std::chrono::milliseconds>& pingInterval,
                       const zebutil::Optional<std::chrono::milliseconds>& pongTimeout)
            : useSeparator(useSeparatorAfterResource),
              watchdogPingInterval(pingInterval),
              watchdogPongTimeout(pongTimeout) {}

        /// Whether the separator follows the resource name in requests to this service.
        bool useSeparator;
        /// Time between two pings; zero turns the watchdog off.
        zebutil::Optional<std::chrono::milliseconds> watchdogPingInterval;
        /// Silence after which the connection counts as lost.
        zebutil::Optional<std::chrono::milliseconds> watchdogPongTimeout;
    };

    /// The settings, keyed by service name.
    using ServiceSettings = std::map<std::string, ServiceSetting>;

    /// Where one service is and how to talk to it.
    struct ServiceConfiguration {
        std::string serverBaseUri;           ///< scheme, host and port: "http://127.0.0.1:8080"
        std::string serverBasePath;          ///< path of the bus on that server: "/"
        std::string separatorAfterResource;  ///< text between a resource name and "?"
        std::chrono::milliseconds watchdogPingInterval{0};
        std::chrono::milliseconds watchdogPongTimeout{0};
        bool useSeparator = false;
    };
};

}  // namespace zeb
