#pragma once

#include <chrono>
#include <string>

namespace zeb {

/// Where a service is, and how its connection is monitored.
struct ServiceEndpoint {
    std::string serverBaseUri;  ///< scheme, host and port, nothing after them
    std::string basePath;       ///< begins and ends in "/"
    std::string separator;      ///< empty if the service uses none
    std::chrono::milliseconds watchdogPingInterval{0};
    std::chrono::milliseconds watchdogPongTimeout{0};

    /// Builds an endpoint from its two addresses and brings them into the form above.
    /// @throws ZebException if `serverBaseUri` is not an http or https base URI
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
