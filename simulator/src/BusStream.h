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

/// What a connection runs on, whatever it speaks: TCP, with TLS in between or not. Can be moved while nothing
/// is under way.
class BusStream {
 public:
    using Socket = boost::asio::ip::tcp::socket;
    using executor_type = Socket::executor_type;
    using ErrorCode = boost::system::error_code;

    /// Without TLS when there is no context; the context outlives the stream.
    BusStream(Socket&& socket, boost::asio::ssl::context* tlsContext)
        : layers_(std::make_unique<Layers>(std::move(socket))) {
        if (tlsContext != nullptr) {
            layers_->tls.emplace(layers_->socket, *tlsContext);
        }
    }

    Socket& socket() { return layers_->socket; }
    executor_type get_executor() { return layers_->socket.get_executor(); }

    /// Makes ready to read and write; the handler is given an error code, at once where there is no TLS.
    template <typename Handler>
    void begin(Handler&& handler) {
        if (layers_->tls) {
            layers_->tls->async_handshake(boost::asio::ssl::stream_base::server,
                                          std::forward<Handler>(handler));
        } else {
            handler(ErrorCode());
        }
    }

    /// Says that nothing more is written. What is still read is of no use, and comes from the socket.
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
    // In one place that does not move, since the upper refers to the lower.
    struct Layers {
        explicit Layers(Socket&& accepted) : socket(std::move(accepted)) {}
        Socket socket;
        std::optional<boost::asio::ssl::stream<Socket&>> tls;
    };

    std::unique_ptr<Layers> layers_;
};

/// How Beast gives up a stream whose time is over.
inline void beast_close_socket(BusStream& stream) {
    BusStream::ErrorCode ignored;
    stream.socket().close(ignored);
}

/// How Beast ends the stream after the closing handshake of a WebSocket.
template <typename Handler>
void async_teardown(boost::beast::role_type role, BusStream& stream, Handler&& handler) {
    stream.end(
        [role, &stream, handler = std::forward<Handler>(handler)](const BusStream::ErrorCode&) mutable {
            // A client that has gone away without an end to TLS has still closed its WebSocket.
            boost::beast::websocket::async_teardown(role, stream.socket(), std::move(handler));
        });
}

}  // namespace zebbussim
