#pragma once

#include <zeb/IWebsocketManagerFactory.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <memory>
#include <string>

#include "WebsocketAddress.h"
#include "WebsocketStream.h"

namespace zeb {

/// Makes one attempt to open a WebSocket: pause, name look-up, TCP, TLS, HTTP upgrade. Owned by a
/// WebsocketManager; everything runs on the I/O thread.
class WebsocketConnector {
 public:
    class Owner {
     public:
        /// The attempt has succeeded: the stream is an open WebSocket.
        virtual void onConnected() = 0;
        /// The attempt has failed. The stream may be open none the less, if the server speaks another
        /// sub-protocol.
        virtual void onConnectFailed(const WebsocketEnd& end) = 0;
        /// Keeps the connector and its stream alive while an operation is under way.
        virtual std::shared_ptr<void> keepAlive() = 0;

     protected:
        ~Owner() = default;
    };

    /// `stream` and `owner` outlive the connector.
    WebsocketConnector(boost::asio::io_context& context, WebsocketStream& stream, WebsocketAddress address,
                       Owner& owner);

    /// Begins after `pause`. Calls the owner exactly once, unless cancel() comes first. Called once.
    void start(std::chrono::milliseconds pause);

    /// Gives the attempt up. The owner is not called any more.
    void cancel();

 private:
    using ErrorCode = boost::beast::error_code;
    using Endpoints = boost::asio::ip::tcp::resolver::results_type;

    void resolve();
    void connect(const Endpoints& endpoints);
    void shakeHandsForTls();
    void onTlsHandshake(const ErrorCode& error);
    void upgrade();
    void onUpgrade(const ErrorCode& error);

    void succeed();
    void fail(const WebsocketEnd& end);
    void fail(const std::string& reason) { fail(WebsocketEnd{reason}); }

    // Completes an operation with `step`, unless the attempt is over by then.
    template <typename Step>
    auto next(Step step);

    WebsocketStream& stream_;
    const WebsocketAddress address_;
    Owner& owner_;
    bool isOver_ = false;
    boost::asio::steady_timer pause_;
    boost::asio::steady_timer timeLimit_;  ///< of everything after the pause
    boost::asio::ip::tcp::resolver resolver_;
    boost::beast::websocket::response_type response_;
};

}  // namespace zeb
