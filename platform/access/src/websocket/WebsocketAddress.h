#pragma once

#include <string>

namespace zeb {

/// The parts of a WebSocket URI.
struct WebsocketAddress {
    /// @throws ZebException when the text is not of the form "ws://host:port/path" or "wss://host:port/path";
    ///         its text contains no password and no query
    static WebsocketAddress parse(const std::string& uri);

    std::string host;        ///< name or address, an IPv6 address without its brackets
    std::string name;        ///< the host as the server knows it, for its certificate: without a zone
    std::string port;        ///< decimal
    std::string hostHeader;  ///< host and port, as in the Host header
    std::string target;      ///< path on the server, encoded
    std::string service;     ///< the last segment of the path, decoded: the service that the WebSocket is of
    bool isSecure = false;   ///< whether to use TLS
};

}  // namespace zeb
