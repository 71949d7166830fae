#pragma once

#include <zeb/Export.h>
#include <zeb/ITpAccess.h>

#include <memory>
#include <string>

namespace zeb {

/// Where the requests to a service go.
struct TpEndpoint {
    std::string service;        ///< name of the service on the bus
    std::string serverBaseUri;  ///< scheme, host and port
    std::string basePath;       ///< path of the bus on the server; "/" is appended if it does not end in one
    std::string separator;      ///< text after a resource name; empty if the service uses none
    /// Numeric IP address that the WebSocket of the service has reached, so that both channels of a service
    /// go to one peer. Port, Host header and the certificate's check remain those of `serverBaseUri`. Empty:
    /// the host is looked up.
    std::string address = {};
};

/// Creates the transport access to a service.
class ZEB_EXPORT ITpAccessFactory {
 public:
    virtual ~ITpAccessFactory() = default;

    /// Does not connect yet.
    /// @throws std::exception if the endpoint's URI cannot be used
    virtual std::shared_ptr<ITpAccess> createAccess(const TpEndpoint& endpoint) = 0;
};

}  // namespace zeb
