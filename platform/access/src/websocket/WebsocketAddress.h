#pragma once

#include <string>

namespace zeb {

/// The parts of a WebSocket URI.
struct WebsocketAddress {
    /// @throws ZebException when the text is not of the form "ws://host:port/path" or "wss://host:port/path"
    static WebsocketAddress parse(const std::string& uri);

    std::string host;        ///< name or address, an IPv6 address without its brackets
    std::string port;        ///< decimal
    std::string hostHeader;  ///< host and port, as in the Host header
    std::string target;      ///< path on the server, encoded
    bool isSecure = false;   ///< whether to use TLS
};

}  // namespace zeb
