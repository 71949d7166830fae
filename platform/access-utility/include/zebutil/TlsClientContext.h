#pragma once

#include <zebutil/Export.h>

#include <memory>
#include <string>

struct ssl_ctx_st;
struct ssl_st;

namespace zebutil {

/// The client's TLS for one connection, the same for HTTP and WebSocket: at least version 1.2, with
/// verification of the server's certificate chain and of its host. Which authorities are trusted and whether
/// the client has a certificate of its own is up to the environment; see docs/tls.md. Any thread may use it,
/// one at a time.
class ZEBUTIL_EXPORT TlsClientContext {
 public:
    /// @param host    the name or IP address that the server's certificate must be valid for
    /// @param context from the answer to a TlsContextQuestion
    /// @throws std::exception if the host cannot be verified
    TlsClientContext(const std::string& host, std::shared_ptr<ssl_ctx_st> context);
    ~TlsClientContext();
    TlsClientContext(const TlsClientContext&) = delete;
    TlsClientContext& operator=(const TlsClientContext&) = delete;

    /// The OpenSSL context, shared by many connections; lives as long as this object unless its reference
    /// count is raised. Must not be changed.
    ssl_ctx_st* native() const;

    /// Makes a connection that was created from native() verify the host. Without it, nothing is verified
    /// but the chain. Must be called before the handshake.
    /// @throws std::exception if OpenSSL refuses the host
    void prepare(ssl_st* connection);

    /// Returns why the certificate was refused, as a sentence that names the host; empty if it was not.
    std::string takeRefusal();

 private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace zebutil
