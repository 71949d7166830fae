#pragma once

#include <string>

namespace zeb {

/// A WebSocket URI, taken apart.
struct WebsocketAddress {
    /// @throws ZebException when the text is no "ws://host:port/path", or "wss:"
    static WebsocketAddress parse(const std::string& uri);

    std::string host;        ///< name or address, an IPv6 address without its brackets
    std::string port;        ///< decimal
    std::string hostHeader;  ///< host and port as the HTTP header has them
    std::string target;      ///< path on the server, encoded
    bool isSecure = false;   ///< whether TLS is to be used
};

}  // namespace zeb
