#pragma once

#include <boost/asio/error.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/teardown.hpp>
#include <optional>
#include <utility>

namespace zeb {

/// What a WebSocket runs on: TCP, with TLS in between or not. Decided once, so that the WebSocket itself need
/// not know. Confined to the I/O thread.
class TransportStream {
 public:
    using Socket = boost::asio::ip::tcp::socket;
    using TlsStream = boost::asio::ssl::stream<Socket&>;
    using executor_type = Socket::executor_type;

    explicit TransportStream(boost::asio::io_context& context) : socket_(context) {}

    /// Puts TLS between; before the connection is used.
    void useTls(boost::asio::ssl::context& context) { tls_.emplace(socket_, context); }

    Socket& socket() { return socket_; }
    /// Null when there is no TLS.
    TlsStream* tls() { return tls_ ? &*tls_ : nullptr; }
    executor_type get_executor() { return socket_.get_executor(); }

    template <class Buffers, class Handler>
    void async_read_some(const Buffers& buffers, Handler&& handler) {
        if (tls_) {
            tls_->async_read_some(buffers, std::forward<Handler>(handler));
        } else {
            socket_.async_read_some(buffers, std::forward<Handler>(handler));
        }
    }

    template <class Buffers, class Handler>
    void async_write_some(const Buffers& buffers, Handler&& handler) {
        if (tls_) {
            tls_->async_write_some(buffers, std::forward<Handler>(handler));
        } else {
            socket_.async_write_some(buffers, std::forward<Handler>(handler));
        }
    }

 private:
    Socket socket_;
    std::optional<TlsStream> tls_;
};

/// How Beast gives up a transport whose time is over.
inline void beast_close_socket(TransportStream& stream) {
    boost::beast::error_code ignored;
    stream.socket().close(ignored);
}

/// How the WebSocket ends its transport after the closing handshake. The WebSocket manager closes the socket
/// right after, so there is nothing to wait for; a TLS peer has been told by the WebSocket's own close frame.
inline void teardown(boost::beast::role_type role, TransportStream& stream, boost::beast::error_code& error) {
    boost::beast::websocket::teardown(role, stream.socket(), error);
}

template <class Handler>
void async_teardown(boost::beast::role_type role, TransportStream& stream, Handler&& handler) {
    boost::beast::websocket::async_teardown(role, stream.socket(), std::forward<Handler>(handler));
}

}  // namespace zeb
