#pragma once

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/teardown.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace zeb {

/// What a WebSocket runs on: TCP, with TLS in between or not. Decided once, so that the WebSocket itself need
/// not know. Confined to the I/O thread.
class TransportStream {
 public:
    // Not tcp::socket, whose executor may be any: it is copied and destroyed at every step of every read.
    using Socket =
        boost::asio::basic_stream_socket<boost::asio::ip::tcp, boost::asio::io_context::executor_type>;
    using TlsStream = boost::asio::ssl::stream<Socket&>;
    using executor_type = Socket::executor_type;

    /// `exhausted` is called when what the WebSocket was given to read has been used, before it is given more
    /// or waits for more.
    TransportStream(boost::asio::io_context& context, std::function<void()> exhausted)
        : exhausted_(std::move(exhausted)), socket_(context) {}

    /// Puts TLS between; before the connection is used.
    void useTls(boost::asio::ssl::context& context) { tls_.emplace(socket_, context); }

    /// Has `exhausted` called where the WebSocket gives up reading.
    void giveUp() { exhausted_(); }

    Socket& socket() { return socket_; }
    /// Null when there is no TLS.
    TlsStream* tls() { return tls_ ? &*tls_ : nullptr; }
    executor_type get_executor() { return socket_.get_executor(); }

    template <typename Buffers, typename Handler>
    void async_read_some(const Buffers& buffers, Handler&& handler) {
        exhausted_();
        if (tls_) {
            tls_->async_read_some(buffers, std::forward<Handler>(handler));
        } else {
            socket_.async_read_some(buffers, std::forward<Handler>(handler));
        }
    }

    template <typename Buffers, typename Handler>
    void async_write_some(const Buffers& buffers, Handler&& handler) {
        if (tls_) {
            tls_->async_write_some(buffers, std::forward<Handler>(handler));
        } else {
            socket_.async_write_some(buffers, std::forward<Handler>(handler));
        }
    }

 private:
    const std::function<void()> exhausted_;
    Socket socket_;
    std::optional<TlsStream> tls_;
};

/// How Beast gives up a transport whose time is over.
inline void beast_close_socket(TransportStream& stream) {
    boost::beast::error_code ignored;
    stream.socket().close(ignored);
}

/// How the WebSocket ends its transport after the closing handshake. The WebSocket manager closes the socket
/// right after; a TLS peer has been told by the WebSocket's own close frame.
inline void teardown(boost::beast::role_type role, TransportStream& stream, boost::beast::error_code& error) {
    boost::beast::websocket::teardown(role, stream.socket(), error);
}

/// Waits for the peer to end the connection, so that what was sent last arrives, but not longer than this:
/// the WebSocket has no limit of its own when the peer's close frame or its breach of the protocol is what
/// ends it.
constexpr std::chrono::seconds kTeardownTimeLimit{1};

template <typename Handler>
void async_teardown(boost::beast::role_type role, TransportStream& stream, Handler&& handler) {
    stream.giveUp();
    enum class State { Waiting, Late, Over };
    const auto state = std::make_shared<State>(State::Waiting);
    const auto timer = std::make_shared<boost::asio::steady_timer>(stream.get_executor(), kTeardownTimeLimit);
    timer->async_wait([state, &stream](const boost::beast::error_code& error) {
        // Until it is over, who waits for it keeps the stream.
        if (!error && *state == State::Waiting) {
            *state = State::Late;
            beast_close_socket(stream);
        }
    });
    boost::beast::websocket::async_teardown(
        role, stream.socket(),
        [state, timer, handler = std::forward<Handler>(handler)](boost::beast::error_code error) mutable {
            timer->cancel();
            if (std::exchange(*state, State::Over) == State::Late) {
                error = {};  // why the WebSocket ends is known, and more to the point
            }
            handler(error);
        });
}

}  // namespace zeb
