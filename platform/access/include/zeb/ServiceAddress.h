#pragma once

#include <zeb/Export.h>

#include <string>

namespace zeb {

/// The address of a service: its server, and the base path of the bus on that server. The functions are the
/// rules by which the service registry accepts an address, from a configuration or from the network: whatever
/// could change the meaning of a request is refused.
///
/// A plain value. The exceptions contain no password and no query.
struct ZEB_EXPORT ServiceAddress {
    std::string serverBaseUri;  ///< scheme, host and port, nothing after them
    std::string basePath;       ///< begins and ends in "/", percent-encoded

    /// Builds an address from its two parts and brings them into the form above.
    /// @throws std::invalid_argument if `serverBaseUri` is not an http or https base URI, or `basePath` not a
    ///         path
    static ServiceAddress of(const std::string& serverBaseUri, const std::string& basePath);

    /// Builds an address from one text, which is a base URI with the base path behind it.
    /// @throws std::invalid_argument as above
    static ServiceAddress parse(const std::string& text);

    /// Brings a base path into the form above.
    /// @throws std::invalid_argument if it is not a path
    static std::string basePathOf(const std::string& text);

    /// Whether the connection uses TLS.
    bool isSecure() const;

    /// Both parts in one text.
    std::string text() const { return serverBaseUri + basePath; }
};

}  // namespace zeb
