#pragma once

namespace zeb {

/// The steps of an attempt to connect to a service, in their order. Each begins when the one before it has
/// succeeded.
enum class ConnectStep {
    Address,       ///< to know a usable address, from the configuration or from the service registry
    Certificates,  ///< to read the files of TLS; only for https
    Resolve,       ///< to look up the host's name; not for a numeric address
    Tcp,
    Tls,        ///< only for https
    Http,       ///< to get an answer that is HTTP
    WebSocket,  ///< to get the answer that opens the WebSocket
};

}  // namespace zeb
