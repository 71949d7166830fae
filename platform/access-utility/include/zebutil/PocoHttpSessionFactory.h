#pragma once

#include <zebutil/Export.h>

#include <memory>
#include <string>

namespace Poco::Net {
class HTTPClientSession;
}

namespace zebutil {

/// Makes HTTP sessions, all with the same time limits. Stateless; any thread may use it.
class ZEBUTIL_EXPORT PocoHttpSessionFactory {
 public:
    /// A session that is not connected yet, with keep-alive on.
    /// @param baseUri scheme, host and port, "http://127.0.0.1:8080"; with "https:" over TLS, as
    /// TlsClientContext says
    /// @throws std::exception when the URI cannot be used
    std::unique_ptr<Poco::Net::HTTPClientSession> createSession(const std::string& baseUri) const;
};

}  // namespace zebutil
