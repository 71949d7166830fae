#pragma once

#include <zeb/IWebsocketManagerFactory.h>
#include <zebutil/TlsContextQuestion.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "WebsocketAddress.h"
#include "WebsocketStream.h"
#include "io/NameResolver.h"

namespace zeb {

/// Makes one attempt to open a WebSocket: pause, TLS's files, name look-up, TCP to one address after the
/// other, TLS, HTTP upgrade. Reads no file itself. Owned by a WebsocketManager; everything runs on the I/O
/// thread.
class WebsocketConnector {
 public:
    class Owner {
     public:
        /// The attempt has succeeded: the stream is an open WebSocket.
        virtual void onConnected() = 0;
        /// The attempt has failed. The stream may be open none the less, if the server speaks another
        /// sub-protocol.
        virtual void onConnectFailed(const WebsocketEnd& end) = 0;
        /// Something for the log that does not end the attempt.
        virtual void onWarning(const std::string& text) = 0;
        /// The pause is over: connectNow() is to be called as soon as the attempt may open a socket.
        virtual void onPauseOver() = 0;
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

    /// Opens sockets from now on.
    void connectNow();

    /// The numeric address of the peer, once there is a connection.
    const std::string& peerAddress() const { return peerAddress_; }

    /// Gives the attempt up. The owner is not called any more.
    void cancel();

 private:
    using ErrorCode = boost::beast::error_code;
    using Endpoint = boost::asio::ip::tcp::endpoint;

    void askForTls();
    void onTlsContext(const zebutil::TlsContextAnswer& answer);
    void resolve();
    void connectTo(std::vector<boost::asio::ip::address> addresses);
    void connectToNext();
    void limitAttempt();
    void onTcpConnected(const Endpoint& endpoint);
    void noteFailure(const Endpoint& endpoint, const std::string& reason);
    void shakeHandsForTls();
    void onTlsHandshake(const ErrorCode& error);
    void upgrade();
    std::string whyUpgradeFailed(const ErrorCode& error) const;
    std::string whyAnswerIsRefused() const;
    void onUpgrade(const ErrorCode& error);

    void succeed();
    void fail(const WebsocketEnd& end);
    void fail(const std::string& reason) { fail(WebsocketEnd{reason, false, step_}); }

    // Completes an operation with `step`, unless the attempt is over by then.
    template <typename Step>
    auto next(Step step);

    boost::asio::io_context& context_;
    WebsocketStream& stream_;
    const WebsocketAddress address_;
    Owner& owner_;
    bool isOver_ = false;
    ConnectStep step_ = ConnectStep::Address;  ///< the one that is under way
    boost::asio::steady_timer pause_;
    boost::asio::steady_timer timeLimit_;     ///< of everything after the pause
    boost::asio::steady_timer attemptLimit_;  ///< of one of several addresses
    std::string awaited_;                     ///< what to say if the limit ends the attempt now
    zebutil::TlsContextQuestion tlsQuestion_;
    std::shared_ptr<ssl_ctx_st> tlsContext_;  ///< null without TLS
    NameResolver::Question question_;
    std::vector<boost::asio::ip::address> addresses_;
    std::size_t tried_ = 0;  ///< how many of them
    bool isAttemptTooLate_ = false;
    std::string failures_;  ///< of the addresses tried
    std::string peerAddress_;
    boost::beast::websocket::response_type response_;
};

}  // namespace zeb
