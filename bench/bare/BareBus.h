#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <string>

namespace bench {

/// The reference for the client libraries at start and when idle: the same exchange with the bus, with
/// blocking calls on the caller's thread and nothing else. Not thread-safe.
class BareBus {
 public:
    /// The server on 127.0.0.1. @throws std::exception, like all functions here, if the server does not
    /// respond as expected
    explicit BareBus(const std::string& port);

    /// Does the TCP and WebSocket handshake with the clamp service.
    void shakeHands();
    /// The id of the first clamp of type Clamp15, requested over a separate connection.
    std::string findClamp();
    /// Returns when the first notification arrives.
    void subscribe(const std::string& id);
    /// Reads one message. Has no time limit.
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
