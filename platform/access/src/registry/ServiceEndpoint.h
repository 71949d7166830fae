#pragma once

#include <chrono>
#include <string>

namespace zeb {

/// Where a service is, and how its connection is monitored.
struct ServiceEndpoint {
    std::string serverBaseUri;  ///< scheme, host and port, nothing after them
    std::string basePath;       ///< begins and ends in "/", percent-encoded
    std::string separator;      ///< empty if the service uses none
    std::chrono::milliseconds watchdogPingInterval{0};
    std::chrono::milliseconds watchdogPongTimeout{0};

    /// Builds an endpoint from its two addresses and brings them into the form above. The addresses may come
    /// from the network, so whatever could change the meaning of a request is refused.
    /// @param origin where the addresses come from, for the exception
    /// @throws ZebException if `serverBaseUri` is not an http or https base URI, or `basePath` not a path;
    ///         its text contains no password and no query
    static ServiceEndpoint of(const std::string& serverBaseUri, const std::string& basePath,
                              const std::string& origin);

    /// Builds an endpoint from one address, which is a base URI with the base path behind it.
    /// @throws ZebException as above
    static ServiceEndpoint ofAddress(const std::string& address, const std::string& origin);

    /// Whether the connection uses TLS.
    bool isSecure() const;

    /// Where requests go.
    std::string address() const { return serverBaseUri + basePath; }

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
