#pragma once

#include <chrono>
#include <string>

namespace zeb {

/// Where a service is, and how its connection is watched.
struct ServiceEndpoint {
    std::string serverBaseUri;  ///< scheme, host and port, nothing after
    std::string basePath;       ///< begins and ends in "/"
    std::string separator;      ///< empty when the service uses none
    std::chrono::milliseconds watchdogPingInterval{0};
    std::chrono::milliseconds watchdogPongTimeout{0};

    /// Brings both addresses into the form above.
    /// @throws ZebException when `serverBaseUri` is no http or https base URI
    static ServiceEndpoint of(const std::string& serverBaseUri, const std::string& basePath);

    /// The address of the service's WebSocket.
    std::string websocketUri(const std::string& service) const;

    bool operator==(const ServiceEndpoint& other) const {
        return serverBaseUri == other.serverBaseUri && basePath == other.basePath &&
               separator == other.separator && watchdogPingInterval == other.watchdogPingInterval &&
               watchdogPongTimeout == other.watchdogPongTimeout;
    }
    bool operator!=(const ServiceEndpoint& other) const { return !(*this == other); }
};

}  // namespace zeb
