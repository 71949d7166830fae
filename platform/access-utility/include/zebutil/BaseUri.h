#pragma once

#include <zebutil/Export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace zebutil {

/// The base URI of a server, taken apart: scheme, host and port, and nothing else. The text may come from the
/// network, so everything that another reader could understand differently is refused: user information, a
/// path, a query, control characters, a number that only looks like an IP address.
struct ZEBUTIL_EXPORT BaseUri {
    /// @param text such as "http://127.0.0.1:8080", "https://server" or "http://[::1]:80/"
    /// @throws std::invalid_argument with the fault; the message contains neither a password nor a query
    static BaseUri parse(std::string_view text);

    bool isSecure = false;    ///< whether the scheme is https
    std::string host;         ///< name or IP address; an IPv6 address without brackets, but with its zone
    std::uint16_t port = 80;  ///< 443 by default with https

    /// The host as the server knows it: without a zone, which is a name of this machine.
    std::string name() const { return host.substr(0, host.find('%')); }

    /// Host and port as in the Host header: an IPv6 address in brackets, the scheme's own port left out.
    std::string hostHeader() const;

    /// One text for all ways to write the same base URI, without a slash at the end.
    std::string text() const;
};

/// What a message may show of an address from outside: without user information and query, with everything
/// that is not printable ASCII escaped, cut to 100 characters, in quotes.
ZEBUTIL_EXPORT std::string readableAddress(std::string_view address);

}  // namespace zebutil
