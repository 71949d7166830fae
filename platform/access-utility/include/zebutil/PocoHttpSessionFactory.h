#pragma once

#include <zebutil/Export.h>

#include <memory>
#include <string>

namespace Poco::Net {
class HTTPClientSession;
}

namespace zebutil {

/// Creates HTTP sessions, all with the same time limits. Stateless; any thread may use it.
class ZEBUTIL_EXPORT PocoHttpSessionFactory {
 public:
    /// Returns a session with keep-alive that is not connected yet.
    /// @param baseUri scheme, host and port, such as "http://127.0.0.1:8080"; "https:" uses TLS as described
    ///        for TlsClientContext
    /// @throws std::exception if the URI cannot be used
    std::unique_ptr<Poco::Net::HTTPClientSession> createSession(const std::string& baseUri) const;
};

}  // namespace zebutil
