#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "NotificationDelivery.h"
#include "Watchdog.h"
#include "WebsocketStream.h"

namespace zeb {

/// An open WebSocket: reads messages, sends messages, is watched. Owned by a WebsocketManager; everything
/// runs on the I/O thread.
class OpenWebsocket : private Watchdog::Owner {
 public:
    class Owner {
     public:
        /// A message of the server, complete.
        /// @throws std::exception when it breaks the protocol: the connection then ends with onViolation()
        virtual void onMessage(std::string_view text) = 0;
        /// The connection is lost.
        virtual void onLost(const std::string& reason) = 0;
        /// The server has sent what it must not; the connection is to be closed with `code`.
        virtual void onViolation(WebsocketStream::CloseCode code, const std::string& reason) = 0;
        /// Keeps this object and its stream alive while an operation is under way.
        virtual std::shared_ptr<void> keepAlive() = 0;

     protected:
        ~Owner() = default;
    };

    /// `stream`, `delivery` and `owner` outlive this object. Onto `delivery` the owner pushes what a message
    /// brings; this object sends it on, and stops reading while it is full.
    OpenWebsocket(boost::asio::io_context& context, WebsocketStream& stream, NotificationDelivery& delivery,
                  std::chrono::milliseconds pingInterval, std::chrono::milliseconds pongTimeout,
                  Owner& owner);
    virtual ~OpenWebsocket() = default;
    OpenWebsocket(const OpenWebsocket&) = delete;
    OpenWebsocket& operator=(const OpenWebsocket&) = delete;

    /// Begins to read and to watch, once the stream is open.
    void start();
    /// Ends reading and watching; the owner is not called any more. The owner closes the stream.
    void stop();

    /// @throws ZebException when the server leaves too much unread; the connection must then be closed
    void send(std::string message);

    /// The delivery has room again.
    void resumeReading();

    /// Everything that was read has been used: the stream is about to wait for more.
    void onAllReadUsed();

 private:
    using ErrorCode = boost::beast::error_code;

    void readNext();
    void pauseReading();
    void watchPausedConnection();
    void onRead(const ErrorCode& error);
    std::string whyLost(const ErrorCode& error);
    bool takeMessage();
    void writeNext();

    void sendPing() override;
    void onSilence(std::chrono::milliseconds silence) override;
    bool hasUnread() override;
    std::shared_ptr<void> keepAlive() override { return owner_.keepAlive(); }

    void lose(const std::string& reason);

    WebsocketStream& stream_;
    NotificationDelivery& delivery_;
    Owner& owner_;
    Watchdog watchdog_;
    bool isOver_ = false;
    bool isReadingPaused_ = false;
    bool isWatched_ = false;  ///< the end of the connection is waited for, or has come
    boost::beast::flat_buffer readBuffer_;
    std::deque<std::string> outgoing_;  ///< the first is being written
    std::size_t outgoingBytes_ = 0;
};

}  // namespace zeb
