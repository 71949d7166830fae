#pragma once

#include <zebutil/Export.h>

#include <memory>
#include <string>

struct ssl_ctx_st;

namespace zebutil {

/// How the client does TLS, over HTTP and WebSocket alike: version 1.2 at least, with verification of the
/// server's certificate chain and of its host name, from the trust store of the system or from the file that
/// the environment variable SSL_CERT_FILE names. Any thread may use it; one handshake at a time.
class ZEBUTIL_EXPORT TlsClientContext {
 public:
    /// @param host the name, or the IP address, that the server's certificate has to be for
    /// @throws std::exception when the trust store cannot be read
    explicit TlsClientContext(const std::string& host);
    ~TlsClientContext();
    TlsClientContext(const TlsClientContext&) = delete;
    TlsClientContext& operator=(const TlsClientContext&) = delete;

    /// Why a server's certificate was refused since this was last asked, as a sentence that names the host;
    /// empty when none was.
    std::string takeRefusal();

    /// The OpenSSL context; lives as long as this object unless its reference count is raised.
    ssl_ctx_st* native() const;

 private:
    friend class PocoHttpSessionFactory;
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace zebutil
