#pragma once

#include <zebutil/TlsClientContext.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "TransportStream.h"

namespace zeb {

/// The layers of one WebSocket: TCP, TLS if the address asks for it, and Beast's WebSocket on top. Owned by a
/// WebsocketManager and used by its parts, on the I/O thread.
class WebsocketStream {
 public:
    using Beast = boost::beast::websocket::stream<TransportStream>;
    using CloseCode = boost::beast::websocket::close_code;

    /// `allReadUsed` is called whenever the WebSocket has used up what it has read, before it waits for more.
    /// `closed` is called once the socket is closed.
    WebsocketStream(boost::asio::io_context& context, std::function<void()> allReadUsed,
                    std::function<void()> closed)
        : closed_(std::move(closed)), beast_(context, std::move(allReadUsed)) {}

    Beast& beast() { return beast_; }
    TransportStream::Socket& socket() { return beast_.next_layer().socket(); }

    /// Null until addTls().
    TransportStream::TlsStream* tls() { return beast_.next_layer().tls(); }
    /// Adds the TLS layer, before anything is sent. Reads no file.
    /// @param host    that the server's certificate must be valid for
    /// @param context from the answer to a TlsContextQuestion
    /// @throws std::exception when the host cannot be verified
    void addTls(const std::string& host, std::shared_ptr<ssl_ctx_st> context);
    /// Why the certificate was refused; empty if it was not.
    std::string takeTlsRefusal() { return tlsContext_->takeRefusal(); }

    /// Opens a socket that does not stay open in a program that the process starts. An earlier one is closed.
    boost::system::error_code openSocket(const boost::asio::ip::tcp& protocol);

    /// Sets the socket options that an open connection needs.
    void prepareSocket();

    /// Sends a close frame, unless `code` is none or the WebSocket is not open, then closes the socket.
    /// Returns at once; `alive` keeps this object until the socket is closed.
    void close(CloseCode code, std::shared_ptr<void> alive);

    /// Ends a close() that waits for the server.
    void abort() { closeSocket(); }

 private:
    void closeSocket();

    const std::function<void()> closed_;

    std::unique_ptr<zebutil::TlsClientContext> tlsContext_;  ///< null without TLS
    // Asio's handle of the same context. The stream below uses it until its own end.
    std::optional<boost::asio::ssl::context> asioTlsContext_;
    Beast beast_;
};

}  // namespace zeb
