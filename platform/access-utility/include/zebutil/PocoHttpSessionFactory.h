#pragma once

#include <zebutil/Export.h>
#include <zebutil/HttpSession.h>

#include <memory>
#include <string>

namespace zebutil {

/// Creates HTTP sessions. The name is older than the sessions, which are not Poco's. Stateless; any thread
/// may create sessions.
class ZEBUTIL_EXPORT PocoHttpSessionFactory {
 public:
    /// Reads the variables of TLS, so construct it on a thread of the application; see docs/tls.md.
    PocoHttpSessionFactory();

    /// Returns a session with keep-alive that is not connected yet.
    /// @param baseUri   scheme, host and port, such as "http://127.0.0.1:8080"; "https:" uses TLS as for
    ///                  TlsClientContext. Host header and certificate are those of this text, whatever the
    ///                  addresses
    /// @param service   that the session is for
    /// @param addresses where to connect to
    /// @throws std::exception if the URI cannot be used
    std::unique_ptr<HttpSession> createSession(const std::string& baseUri, const std::string& service,
                                               HttpSession::Addresses addresses) const;
};

}  // namespace zebutil
