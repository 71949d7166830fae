#pragma once

#include <zebutil/Export.h>

#include <memory>
#include <string>
#include <vector>

struct ssl_ctx_st;
struct ssl_st;

namespace zebutil {

/// The client's TLS for one connection, the same for HTTP and WebSocket: at least version 1.2, with
/// verification of the server's certificate chain and of its host. Which authorities are trusted and whether
/// the client has a certificate of its own is up to the environment; see docs/tls.md. The files are looked at
/// for every connection, and read when they have changed. Any thread may use it, one at a time.
class ZEBUTIL_EXPORT TlsClientContext {
 public:
    /// @param host the name or IP address that the server's certificate must be valid for
    /// @param service the service that the connection is for; its authority may be pinned
    /// @throws std::exception if the host cannot be verified, or if a file cannot be used; it names the file
    TlsClientContext(const std::string& host, const std::string& service);
    ~TlsClientContext();
    TlsClientContext(const TlsClientContext&) = delete;
    TlsClientContext& operator=(const TlsClientContext&) = delete;

    /// Reads the files of `service` if they have changed, so that the next connection does not have to.
    /// Takes about 50 ms then, which is too long for the thread that serves all connections. What is wrong
    /// with the files is left to that connection to report.
    static void refresh(const std::string& service) noexcept;

    /// Which of the system's files were left out since the last call because of a fault, as sentences for the
    /// log: each file once, until it changes.
    static std::vector<std::string> takeLeftOut();

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
