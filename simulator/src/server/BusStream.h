#pragma once

#include <boost/asio/error.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/websocket/teardown.hpp>
#include <memory>
#include <optional>
#include <utility>

namespace zebbussim {

/// The byte stream of a connection: TCP with or without TLS. Must not be moved during an operation.
class BusStream {
 public:
    using Socket = boost::asio::ip::tcp::socket;
    using executor_type = Socket::executor_type;
    using ErrorCode = boost::system::error_code;

    /// Uses TLS if there is a context, which must outlive the stream.
    BusStream(Socket&& socket, boost::asio::ssl::context* tlsContext)
        : layers_(std::make_unique<Layers>(std::move(socket))) {
        if (tlsContext != nullptr) {
            layers_->tls.emplace(layers_->socket, *tlsContext);
        }
    }

    Socket& socket() { return layers_->socket; }
    executor_type get_executor() { return layers_->socket.get_executor(); }

    /// Does the TLS handshake, after which the stream can be read and written. The handler gets an error
    /// code; without TLS it is called at once.
    template <typename Handler>
    void begin(Handler&& handler) {
        if (layers_->tls) {
            layers_->tls->async_handshake(boost::asio::ssl::stream_base::server,
                                          std::forward<Handler>(handler));
        } else {
            handler(ErrorCode());
        }
    }

    /// Ends TLS: nothing more may be written, and further input must be read from the socket and discarded.
    /// The handler gets an error code; without TLS it is called at once.
    template <typename Handler>
    void end(Handler&& handler) {
        if (layers_->tls) {
            layers_->tls->async_shutdown(std::forward<Handler>(handler));
        } else {
            handler(ErrorCode());
        }
    }

    template <typename Buffers, typename Handler>
    void async_read_some(const Buffers& buffers, Handler&& handler) {
        if (layers_->tls) {
            layers_->tls->async_read_some(buffers, std::forward<Handler>(handler));
        } else {
            layers_->socket.async_read_some(buffers, std::forward<Handler>(handler));
        }
    }

    template <typename Buffers, typename Handler>
    void async_write_some(const Buffers& buffers, Handler&& handler) {
        if (layers_->tls) {
            layers_->tls->async_write_some(buffers, std::forward<Handler>(handler));
        } else {
            layers_->socket.async_write_some(buffers, std::forward<Handler>(handler));
        }
    }

 private:
    // On the heap, because the TLS stream refers to the socket, which therefore must not move.
    struct Layers {
        explicit Layers(Socket&& accepted) : socket(std::move(accepted)) {}
        Socket socket;
        std::optional<boost::asio::ssl::stream<Socket&>> tls;
    };

    std::unique_ptr<Layers> layers_;
};

/// Beast calls this to close a stream whose time limit has run out.
inline void beast_close_socket(BusStream& stream) {
    BusStream::ErrorCode ignored;
    stream.socket().close(ignored);
}

/// Beast calls this to end the stream after the closing handshake of a WebSocket.
template <typename Handler>
void async_teardown(boost::beast::role_type role, BusStream& stream, Handler&& handler) {
    stream.end(
        [role, &stream, handler = std::forward<Handler>(handler)](const BusStream::ErrorCode&) mutable {
            // The error is ignored: a client that disconnects without ending TLS has still closed its
            // WebSocket.
            boost::beast::websocket::async_teardown(role, stream.socket(), std::move(handler));
        });
}

}  // namespace zebbussim
