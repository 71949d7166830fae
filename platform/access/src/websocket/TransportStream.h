#pragma once

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/compose.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/websocket/error.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/teardown.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "UpgradeAnswer.h"

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

    /// From now on the answer to the upgrade is read, which goes through UpgradeAnswer.
    void expectUpgradeAnswer() { upgrade_ = std::make_unique<Upgrade>(); }
    /// The answer, as far as it has arrived; null if none was expected, or once it has been accepted and
    /// read.
    const UpgradeAnswer* upgradeAnswer() const { return upgrade_ ? &upgrade_->answer : nullptr; }

    template <typename Buffers, typename Handler>
    void async_read_some(const Buffers& buffers, Handler&& handler) {
        exhausted_();
        if (upgrade_) {
            boost::asio::async_compose<Handler, void(boost::beast::error_code, std::size_t)>(
                ReadOfAnswer<Buffers>{*this, buffers}, handler, socket_);
        } else {
            readSome(buffers, std::forward<Handler>(handler));
        }
    }

    /// Once the WebSocket is open, a write does not fail: it ends the transport for the reads. What the
    /// server has sent before may say why it has left, and is read first.
    template <typename Buffers, typename Handler>
    void async_write_some(const Buffers& buffers, Handler&& handler) {
        boost::asio::async_compose<Handler, void(boost::beast::error_code, std::size_t)>(
            Write<Buffers>{*this, buffers}, handler, socket_);
    }

    /// Whether something has arrived that has not been read yet.
    bool isReadable() { return (pollNow(POLLIN) & POLLIN) != 0; }

    /// Why TCP has given up the connection; no error if it has not. Reads nothing.
    boost::beast::error_code failureOfConnection() {
        if ((pollNow(0) & (POLLERR | POLLHUP)) == 0) {
            return {};
        }
        int error = 0;
        socklen_t size = sizeof(error);
        ::getsockopt(socket_.native_handle(), SOL_SOCKET, SO_ERROR, &error, &size);
        return error == 0 ? boost::asio::error::connection_reset
                          : boost::beast::error_code(error, boost::system::system_category());
    }

    /// Why a write has failed; no error if none has.
    const boost::beast::error_code& writeFailure() const { return writeFailure_; }

 private:
    template <typename Buffers>
    struct Write {
        using ErrorCode = boost::beast::error_code;

        TransportStream& stream;
        Buffers buffers;
        bool isBegun = false;

        template <typename Self>
        void operator()(Self& self, const ErrorCode& error = {}, std::size_t size = 0) {
            if (!isBegun) {
                isBegun = true;
                stream.writeSome(buffers, std::move(self));
            } else if (!error || stream.upgrade_) {
                self.complete(error, size);
            } else {
                stream.endReads(error);
                self.complete({}, boost::asio::buffer_size(buffers));
            }
        }
    };

    struct Upgrade {
        UpgradeAnswer answer;
        std::array<char, 2048> chunk{};
        std::size_t given = 0;  ///< bytes of the header and of what is behind it that Beast has
    };

    // Gives Beast the header of the answer alone, and then what has arrived behind it.
    template <typename Buffers>
    struct ReadOfAnswer {
        using ErrorCode = boost::beast::error_code;

        TransportStream& stream;
        Buffers buffers;
        enum class Step { Begin, Received, Give } step = Step::Begin;

        template <typename Self>
        void operator()(Self& self, ErrorCode error = {}, std::size_t size = 0) {
            Upgrade& upgrade = *stream.upgrade_;
            if (step == Step::Received && !error) {
                upgrade.answer.add({upgrade.chunk.data(), size});
            }
            if (error) {
                const bool isPart = error == boost::asio::error::eof && upgrade.answer.hasBegun();
                self.complete(isPart ? boost::beast::http::error::partial_message : error, 0);
                return;
            }
            switch (upgrade.answer.state()) {
                case UpgradeAnswer::State::Incomplete:
                    step = Step::Received;
                    stream.readSome(boost::asio::buffer(upgrade.chunk), std::move(self));
                    return;
                case UpgradeAnswer::State::Accepted:
                    if (step == Step::Begin) {
                        // Nothing may complete before the function that has begun it has returned.
                        step = Step::Give;
                        boost::asio::post(stream.get_executor(), std::move(self));
                        return;
                    }
                    self.complete({}, stream.giveOfAnswer(buffers));
                    return;
                default:
                    self.complete(boost::beast::websocket::error::upgrade_declined, 0);
            }
        }
    };

    template <typename Buffers>
    std::size_t giveOfAnswer(const Buffers& buffers) {
        const std::string_view header = upgrade_->answer.header();
        const std::string_view behind = upgrade_->answer.behind();
        std::size_t& given = upgrade_->given;
        const std::string_view next =
            given < header.size() ? header.substr(given) : behind.substr(given - header.size());
        const std::size_t size = boost::asio::buffer_copy(buffers, boost::asio::buffer(next));
        given += size;
        if (given == header.size() + behind.size()) {
            upgrade_.reset();
        }
        return size;
    }

    int pollNow(short events) {
        pollfd descriptor{socket_.native_handle(), events, 0};
        return ::poll(&descriptor, 1, 0) > 0 ? descriptor.revents : 0;
    }

    void endReads(const boost::beast::error_code& writeFailure) {
        if (!writeFailure_) {
            writeFailure_ = writeFailure;
        }
        boost::beast::error_code ignored;
        socket_.shutdown(Socket::shutdown_both, ignored);
    }

    template <typename Buffers, typename Handler>
    void writeSome(const Buffers& buffers, Handler&& handler) {
        if (tls_) {
            tls_->async_write_some(buffers, std::forward<Handler>(handler));
        } else {
            socket_.async_write_some(buffers, std::forward<Handler>(handler));
        }
    }

    template <typename Buffers, typename Handler>
    void readSome(const Buffers& buffers, Handler&& handler) {
        if (tls_) {
            tls_->async_read_some(buffers, std::forward<Handler>(handler));
        } else {
            socket_.async_read_some(buffers, std::forward<Handler>(handler));
        }
    }

    const std::function<void()> exhausted_;
    Socket socket_;
    std::optional<TlsStream> tls_;
    std::unique_ptr<Upgrade> upgrade_;  ///< null except during the upgrade
    boost::beast::error_code writeFailure_;
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
    const auto isOver = std::make_shared<bool>(false);
    const auto timer = std::make_shared<boost::asio::steady_timer>(stream.get_executor(), kTeardownTimeLimit);
    timer->async_wait([isOver, &stream](const boost::beast::error_code& error) {
        // The stream exists until the teardown is over, because the operation that waits for it keeps it.
        if (!error && !*isOver) {
            beast_close_socket(stream);
        }
    });
    boost::beast::websocket::async_teardown(
        role, stream.socket(),
        [isOver, timer, handler = std::forward<Handler>(handler)](const boost::beast::error_code&) mutable {
            *isOver = true;
            timer->cancel();
            // Why the WebSocket ends is known, and says more than how the server has left.
            handler(boost::beast::error_code{});
        });
}

}  // namespace zeb
