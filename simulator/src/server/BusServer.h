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
#include "Room.h"
#include "control/LiveChannel.h"
#include "control/LiveFeed.h"
#include "http/HttpConnection.h"
#include "websocket/WebSocketPeer.h"

namespace zebbussim {

/// Listens on one port and owns the connections. After the construction it is used on the bus's thread only.
class BusServer {
 public:
    struct Events {
        std::function<void()> queueShrank;  ///< a message was sent, or a peer ended
        std::function<void()> closed;       ///< `close()` was called and no connection is left
    };

    /// Starts to listen, with TLS if there is a TLS context. Throws `std::runtime_error` if it cannot listen.
    BusServer(boost::asio::io_context& ioContext, Bus& bus, const std::string& address, std::uint16_t port,
              std::optional<boost::asio::ssl::context> tlsContext, Events serverEvents);

    ~BusServer() { context_.heavyWork.clear(); }
    BusServer(const BusServer&) = delete;
    BusServer& operator=(const BusServer&) = delete;

    std::uint16_t port() const { return endpoint_.port(); }

    /// Ends the connections of which a handler was lost, and says so once per cause. Accepts again.
    /// @param problem what the handler has thrown
    void repair(const char* problem);

    /// Stops listening and closes all connections; `Events::closed` reports the end.
    void close();

    /// Refuses connections and ends those that are open, except those of the control interface. Keeps the
    /// port.
    /// @param isOrderly whether the WebSockets are closed with a code, or everything is reset
    void stopListening(bool isOrderly);
    void listenAgain();

    /// The open WebSockets of a service; all, if the name is empty.
    std::vector<std::shared_ptr<WebSocketPeer>> peersOf(const std::string& service) const;
    /// The bytes queued for the slowest client.
    std::size_t longestQueue() const;

 private:
    using ErrorCode = boost::system::error_code;

    void accept();
    /// Accepts the client that waits, if there is room for it or room can be made.
    void acceptWaiting();
    void retryLater();
    /// Ends the connection or the WebSocket that has done nothing for longest. Returns false if there is
    /// none.
    bool makeRoom();
    /// Ends the WebSocket that has done nothing for longest, of one service or of all.
    bool makeRoomForWebSocket(const std::optional<std::string>& service);
    std::shared_ptr<WebSocketPeer> longestIdlePeer(const std::optional<std::string>& service) const;
    void accepted(boost::asio::ip::tcp::socket&& socket);
    /// Throws `BusError` if there is no room for another WebSocket of the service.
    void admit(const std::string& service);
    void upgraded(BusStream&& stream, const std::string& service, WebSocketPeer::Request&& request);
    void goLive(BusStream&& stream);
    void closeAll();
    /// Reports that something was lost `activity`, for instance "reading a request".
    void report(const char* problem, const char* activity);
    void checkClosed();

    BusContext& context_;
    Events events_;
    LiveFeed liveFeed_;
    std::optional<boost::asio::ssl::context> tlsContext_;
    boost::asio::ip::tcp::acceptor acceptor_;
    const boost::asio::ip::tcp::endpoint endpoint_;
    boost::asio::steady_timer retryTimer_;
    const Room room_;
    std::set<std::shared_ptr<HttpConnection>> connections_;
    std::set<std::shared_ptr<WebSocketPeer>> peers_;
    std::set<std::shared_ptr<LiveChannel>> channels_;
    std::set<std::string> reported_;
    bool accepting_ = false;  ///< a client or the next attempt is waited for
    bool listening_ = true;
    bool closing_ = false;
};

}  // namespace zebbussim
