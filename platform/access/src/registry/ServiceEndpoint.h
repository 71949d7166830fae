#pragma once

#include <zeb/ServiceAddress.h>

#include <chrono>
#include <string>

namespace zeb {

/// Where a service is, and how its connection is monitored.
struct ServiceEndpoint : ServiceAddress {
    std::string separator;  ///< empty if the service uses none
    std::chrono::milliseconds watchdogPingInterval{0};
    std::chrono::milliseconds watchdogPongTimeout{0};

    /// Builds an endpoint from its two addresses.
    /// @param origin where the addresses come from, for the exception
    /// @throws ZebException with the reason, if ServiceAddress refuses them
    static ServiceEndpoint of(const std::string& serverBaseUri, const std::string& basePath,
                              const std::string& origin);

    /// The same from one address, which is a base URI with the base path behind it.
    static ServiceEndpoint ofAddress(const std::string& address, const std::string& origin);

    /// Where requests go.
    std::string address() const { return text(); }

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
