#pragma once

#include <zebutil/Export.h>

#include <memory>
#include <string>

struct ssl_ctx_st;

namespace zebutil {

/// The client's TLS settings for HTTP and WebSocket alike: at least version 1.2, with verification of the
/// server's certificate chain and of its host name. The trusted certificates are those of the system, or
/// those in the file that the environment variable SSL_CERT_FILE names. Any thread may use it, for one
/// handshake at a time.
class ZEBUTIL_EXPORT TlsClientContext {
 public:
    /// @param host the name or IP address that the server's certificate must be valid for
    /// @throws std::exception if the trusted certificates cannot be read
    explicit TlsClientContext(const std::string& host);
    ~TlsClientContext();
    TlsClientContext(const TlsClientContext&) = delete;
    TlsClientContext& operator=(const TlsClientContext&) = delete;

    /// Returns why a server's certificate was refused since the last call, as a sentence that names the host;
    /// empty if none was refused.
    std::string takeRefusal();

    /// The OpenSSL context; lives as long as this object unless its reference count is raised.
    ssl_ctx_st* native() const;

 private:
    friend class PocoHttpSessionFactory;
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace zebutil
