#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <string>

namespace bench {

/// What the client libraries are measured against at start and when idle: the same talk with the bus, with
/// blocking calls on the caller's thread, and without anything around it. Not for several threads.
class BareBus {
 public:
    /// The server on 127.0.0.1. @throws std::exception, as all functions here, when it does not play along
    explicit BareBus(const std::string& port);

    /// TCP and WebSocket handshake with the clamp service.
    void shakeHands();
    /// The id of the first clamp of type Clamp15, over a connection of its own.
    std::string findClamp();
    /// Returns with the first notification.
    void subscribe(const std::string& id);
    /// Reads one message; for as long as it takes.
    std::string read();

 private:
    using Tcp = boost::asio::ip::tcp;

    boost::asio::io_context context_{1};
    const Tcp::endpoint endpoint_;
    boost::beast::websocket::stream<Tcp::socket> websocket_{context_};
    Tcp::socket http_{context_};
    boost::beast::flat_buffer buffer_;
};

}  // namespace bench
