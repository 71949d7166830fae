#include "WebsocketStream.h"

#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace zeb {

namespace {

// These find a dead peer where no watchdog does: 30 s without traffic, then five probes 5 s apart.
constexpr int kKeepAliveIdleSeconds = 30;
constexpr int kKeepAliveIntervalSeconds = 5;
constexpr int kKeepAliveProbes = 5;
constexpr int kUnacknowledgedMilliseconds = 30'000;

}  // namespace

void WebsocketStream::addTls(const std::string& host, std::shared_ptr<ssl_ctx_st> context) {
    tlsContext_ = std::make_unique<zebutil::TlsClientContext>(host, std::move(context));
    SSL_CTX_up_ref(tlsContext_->native());
    asioTlsContext_.emplace(tlsContext_->native());
    beast_.next_layer().useTls(*asioTlsContext_);
    tlsContext_->prepare(tls()->native_handle());
}

boost::system::error_code WebsocketStream::openSocket(const boost::asio::ip::tcp& protocol) {
    boost::system::error_code error;
    socket().close(error);
    // Asio would open it without close-on-exec.
    const int descriptor =
        ::socket(protocol.family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol.protocol());
    if (descriptor < 0) {
        return {errno, boost::system::system_category()};
    }
    socket().assign(protocol, descriptor, error);
    if (error) {
        ::close(descriptor);
    }
    return error;
}

void WebsocketStream::prepareSocket() {
    // A connection on which one of these cannot be set still works.
    const auto set = [this](int level, int name, int value) {
        static_cast<void>(::setsockopt(socket().native_handle(), level, name, &value, sizeof value));
    };
    set(IPPROTO_TCP, TCP_NODELAY, 1);
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdleSeconds);
    set(IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveIntervalSeconds);
    set(IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
    set(IPPROTO_TCP, TCP_USER_TIMEOUT, kUnacknowledgedMilliseconds);
}

void WebsocketStream::close(CloseCode code, std::shared_ptr<void> alive) {
    if (code == CloseCode::none || !beast_.is_open()) {
        closeSocket();
        return;
    }
    beast_.async_close(code,
                       [this, alive = std::move(alive)](const boost::system::error_code&) { closeSocket(); });
}

void WebsocketStream::closeSocket() {
    boost::system::error_code ignored;
    socket().close(ignored);
    closed_();
}

}  // namespace zeb
