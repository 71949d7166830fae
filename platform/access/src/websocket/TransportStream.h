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

/// The transport under a WebSocket: TCP, with or without TLS in between. The WebSocket does not need to know
/// which. Used on the I/O thread only.
class TransportStream {
 public:
    // Not tcp::socket: its type-erased executor would be copied and destroyed at every step of every read.
    using Socket =
        boost::asio::basic_stream_socket<boost::asio::ip::tcp, boost::asio::io_context::executor_type>;
    using TlsStream = boost::asio::ssl::stream<Socket&>;
    using executor_type = Socket::executor_type;

    /// `exhausted` is called when the WebSocket has used up all the bytes of the last read and asks for more,
    /// before it gets more or waits for more.
    TransportStream(boost::asio::io_context& context, std::function<void()> exhausted)
        : exhausted_(std::move(exhausted)), socket_(context) {}

    /// Adds TLS. Must be called before anything is sent or received.
    void useTls(boost::asio::ssl::context& context) { tls_.emplace(socket_, context); }

    /// Calls `exhausted` when the WebSocket stops reading for good.
    void giveUp() { exhausted_(); }

    Socket& socket() { return socket_; }
    /// Null without TLS.
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

/// Called by Beast to close a transport whose time limit is over.
inline void beast_close_socket(TransportStream& stream) {
    boost::beast::error_code ignored;
    stream.socket().close(ignored);
}

/// Called by Beast to end the transport after the closing handshake. The WebSocket manager closes the socket
/// right afterwards. TLS needs no closing message of its own: the WebSocket's close frame has said it.
inline void teardown(boost::beast::role_type role, TransportStream& stream, boost::beast::error_code& error) {
    boost::beast::websocket::teardown(role, stream.socket(), error);
}

/// How long to wait for the peer to end the connection, so that what was sent last arrives. Beast itself has
/// no limit if the peer's close frame or a violation of the protocol ends the connection.
constexpr std::chrono::seconds kTeardownTimeLimit{1};

template <typename Handler>
void async_teardown(boost::beast::role_type role, TransportStream& stream, Handler&& handler) {
    stream.giveUp();
    enum class State { Waiting, Late, Over };
    const auto state = std::make_shared<State>(State::Waiting);
    const auto timer = std::make_shared<boost::asio::steady_timer>(stream.get_executor(), kTeardownTimeLimit);
    timer->async_wait([state, &stream](const boost::beast::error_code& error) {
        // The stream exists until the teardown is over, because the operation that waits for it keeps it.
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
                error = {};  // the reason why the WebSocket ends is known, and says more than this error
            }
            handler(error);
        });
}

}  // namespace zeb
