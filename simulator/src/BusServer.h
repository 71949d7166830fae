#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "BusContext.h"
#include "BusStream.h"
#include "HttpConnection.h"
#include "WebSocketPeer.h"

namespace zebbussim {

/// Listens on one port and keeps the connections. Everything but the construction runs on the context's
/// thread.
class BusServer {
 public:
    struct Events {
        std::function<void()> queueShrank;  ///< a message was sent, or a peer ended
        std::function<void()> closed;       ///< after `close()`, when no connection is left
    };

    /// Listens when it returns, with TLS if there is a context for it; throws `std::runtime_error` when it
    /// cannot.
    BusServer(boost::asio::io_context& ioContext, BusContext& busContext, const std::string& address,
              std::uint16_t port, std::optional<boost::asio::ssl::context> tlsContext, Events serverEvents);

    std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

    /// Stops listening and closes all connections.
    void close();

    /// The open WebSockets of a service.
    std::vector<std::shared_ptr<WebSocketPeer>> peersOf(const std::string& service) const;
    /// What waits for the client for which most waits.
    std::size_t longestQueue() const;

 private:
    using ErrorCode = boost::system::error_code;

    void accept();
    void accepted(const ErrorCode& error, boost::asio::ip::tcp::socket&& socket);
    void upgraded(BusStream&& stream, const std::string& service, WebSocketPeer::Request&& request);
    void checkClosed();

    BusContext& context_;
    Events events_;
    std::optional<boost::asio::ssl::context> tlsContext_;
    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::steady_timer retryTimer_;
    std::set<std::shared_ptr<HttpConnection>> connections_;
    std::set<std::shared_ptr<WebSocketPeer>> peers_;
    bool closing_ = false;
};

}  // namespace zebbussim
