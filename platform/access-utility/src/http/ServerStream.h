#pragma once

#include <openssl/ssl.h>
#include <sys/types.h>
#include <unistd.h>
#include <zebutil/BaseUri.h>
#include <zebutil/TlsClientContext.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "TimedSocket.h"
#include "tls/Pem.h"
#include "tls/TlsContextWait.h"

namespace zebutil {

/// The bytes to and from one server, through TLS if its base URI says https. Every step ends at its deadline.
///
/// Thread safety: used by one thread; any thread may call cancel().
class ServerStream {
 public:
    using Deadline = TimedSocket::Deadline;

    /// @param service whose authority may be pinned
    ServerStream(BaseUri server, std::string service);
    ~ServerStream();
    ServerStream(const ServerStream&) = delete;
    ServerStream& operator=(const ServerStream&) = delete;

    /// Connects to `address`, an IP address of the server. The stream must be closed.
    /// @throws std::exception with the step that failed. TransportError if the transport failed
    void open(const std::string& address, Deadline deadline);

    bool isOpen() const { return socket_.isOpen(); }
    void close();

    /// As for TimedSocket.
    void cancel() {
        socket_.cancel();
        tlsContext_.cancel();
    }

    /// Whether nothing has arrived that was not received yet, not even the end.
    bool isQuiet();

    /// @throws TransportError
    void send(std::string_view bytes, Deadline deadline);

    /// Waits until something has arrived. Returns its size, 0 at the end of the connection.
    /// @throws TransportError
    std::size_t receive(char* data, std::size_t size, Deadline deadline);

 private:
    using Connection = std::unique_ptr<SSL, OpenSslFree<SSL_free>>;

    void shakeHands(Deadline deadline);
    // Repeats `operation`, which returns as OpenSSL's functions do, until it succeeds or the server has ended
    // the connection; then the result is 0.
    template <typename Operation>
    int complete(Operation operation, Deadline deadline);
    [[noreturn]] void failInTls();

    // OpenSSL's way to the socket. Its own would send without MSG_NOSIGNAL.
    static const bio_method_st* bioMethod();
    static int readForTls(bio_st* bio, char* data, int size);
    static int writeForTls(bio_st* bio, const char* data, int size);
    static long controlForTls(bio_st* bio, int command, long number, void* pointer);

    const pid_t process_ = ::getpid();
    const BaseUri server_;
    const std::string service_;
    TimedSocket socket_;
    TlsContextWait tlsContext_;
    std::unique_ptr<TlsClientContext> tls_;  ///< null without TLS
    Connection connection_;                  ///< null without TLS
    std::exception_ptr failure_;             ///< of the socket, on its way through OpenSSL
    bool isAtEnd_ = false;                   ///< of the socket
    bool isDrained_ = false;                 ///< whether nothing is left of what has arrived
};

}  // namespace zebutil
