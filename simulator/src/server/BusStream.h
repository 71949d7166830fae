#pragma once

#include <boost/asio/error.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/buffers_prefix.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/websocket/teardown.hpp>
#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <utility>

#include "Line.h"

namespace zebbussim {

/// The byte stream of a connection: TCP with or without TLS, over a line that may be slow or silent. Must not
/// be moved during an operation.
class BusStream {
 public:
    using Socket = boost::asio::ip::tcp::socket;
    using executor_type = Socket::executor_type;
    using ErrorCode = boost::system::error_code;

    /// Uses TLS if there is a context. This and the line must outlive the stream.
    BusStream(Socket&& socket, boost::asio::ssl::context* tlsContext, Line& line)
        : layers_(std::make_unique<Layers>(std::move(socket), line)) {
        if (tlsContext != nullptr) {
            layers_->tls.emplace(layers_->socket, *tlsContext);
        }
    }

    Socket& socket() { return layers_->socket; }
    executor_type get_executor() { return layers_->socket.get_executor(); }

    /// From now on, the state of the line does not matter to this stream.
    void useOwnLine() { layers_->usesLine = false; }

    /// Ends every operation.
    void close() {
        ErrorCode ignored;
        layers_->socket.close(ignored);
        layers_->isClosed = true;
        for (boost::asio::steady_timer& timer : layers_->lineTimers) {
            timer.cancel();
        }
        layers_->frozenRead.cancel();
        layers_->frozenWrite.cancel();
    }

    /// From now on, nothing is read or written until the stream is closed. It is not enough to cancel what is
    /// under way: a WebSocket answers any number of pings inside one operation.
    void freeze() {
        ErrorCode ignored;
        layers_->isFrozen = true;
        layers_->socket.cancel(ignored);
    }

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
        if (layers_->isFrozen && !layers_->isClosed) {
            Layers::waitForTheEnd(layers_->frozenRead, std::forward<Handler>(handler));
        } else if (layers_->tls) {
            layers_->tls->async_read_some(buffers, std::forward<Handler>(handler));
        } else {
            layers_->socket.async_read_some(buffers, std::forward<Handler>(handler));
        }
    }

    template <typename Buffers, typename Handler>
    void async_write_some(const Buffers& buffers, Handler&& handler) {
        if (layers_->isFrozen && !layers_->isClosed) {
            Layers::waitForTheEnd(layers_->frozenWrite, std::forward<Handler>(handler));
        } else if (!layers_->usesLine || layers_->line.isNormal()) {
            layers_->write(buffers, std::forward<Handler>(handler));
        } else {
            layers_->writeLater(buffers, std::forward<Handler>(handler));
        }
    }

 private:
    // On the heap, because the TLS stream refers to the socket, which therefore must not move.
    struct Layers {
        Layers(Socket&& accepted, Line& sharedLine)
            : socket(std::move(accepted)),
              line(sharedLine),
              frozenRead(socket.get_executor()),
              frozenWrite(socket.get_executor()) {}

        ~Layers() {
            for (boost::asio::steady_timer& timer : lineTimers) {
                line.removeSleeper(timer);
            }
        }
        Layers(const Layers&) = delete;
        Layers& operator=(const Layers&) = delete;

        template <typename Buffers, typename Handler>
        void write(const Buffers& buffers, Handler&& handler) {
            if (tls) {
                tls->async_write_some(buffers, std::forward<Handler>(handler));
            } else {
                socket.async_write_some(buffers, std::forward<Handler>(handler));
            }
        }

        /// Calls the handler when the stream is closed.
        template <typename Handler>
        static void waitForTheEnd(boost::asio::steady_timer& timer, Handler&& handler) {
            timer.expires_at(Line::Clock::time_point::max());
            timer.async_wait([handler = std::forward<Handler>(handler)](const ErrorCode&) mutable {
                handler(ErrorCode(boost::asio::error::operation_aborted), std::size_t{0});
            });
        }

        // Beast may answer a ping while raw bytes are written: each write has a timer of its own.
        template <typename Buffers, typename Handler>
        void writeLater(const Buffers& buffers, Handler&& handler) {
            if (isFrozen && !isClosed) {
                waitForTheEnd(frozenWrite, std::forward<Handler>(handler));
                return;
            }
            const Line::Clock::time_point at = line.nextPiece(lastPiece);
            if (isClosed || !usesLine || at <= Line::Clock::now()) {
                lastPiece = Line::Clock::now();
                write(boost::beast::buffers_prefix(line.pieceSize(), buffers),
                      std::forward<Handler>(handler));
                return;
            }
            lineTimers.emplace_front(socket.get_executor());
            const auto timer = lineTimers.begin();
            line.addSleeper(*timer);
            timer->expires_at(at);
            timer->async_wait(
                [this, timer, buffers, handler = std::forward<Handler>(handler)](const ErrorCode&) mutable {
                    line.removeSleeper(*timer);
                    lineTimers.erase(timer);
                    writeLater(buffers, std::move(handler));
                });
        }

        Socket socket;
        std::optional<boost::asio::ssl::stream<Socket&>> tls;
        Line& line;
        bool usesLine = true;
        std::list<boost::asio::steady_timer> lineTimers;  ///< of the writes that wait
        Line::Clock::time_point lastPiece;
        boost::asio::steady_timer frozenRead;
        boost::asio::steady_timer frozenWrite;
        bool isFrozen = false;
        bool isClosed = false;
    };

    std::unique_ptr<Layers> layers_;
};

/// Beast calls this to close a stream whose time limit has run out.
inline void beast_close_socket(BusStream& stream) {
    stream.close();
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
