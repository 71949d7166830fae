#pragma once

#include <Poco/JSON/Object.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <cstdint>
#include <memory>
#include <string>

/// A client that speaks HTTP and WebSocket but knows nothing about the bus. Every wait ends after ten seconds
/// with an exception.
class RawHttp {
 public:
    explicit RawHttp(std::uint16_t port);

    struct Answer {
        int status = 0;
        std::string body;
        std::string allow;
        bool keepAlive = false;

        Poco::JSON::Object::Ptr json() const;
        int errorNumber() const;
        std::string reason() const;
        /// The ids of a list of elements, joined with commas.
        std::string ids() const;
    };

    Answer get(const std::string& target) { return request("GET", target, ""); }
    Answer post(const std::string& target, const std::string& body) { return request("POST", target, body); }
    Answer request(const std::string& method, const std::string& target, const std::string& body);
    /// Sends the bytes unchanged and reads one answer.
    Answer sendBytes(const std::string& bytes);
    /// Reads until the other side closes; returns the text.
    std::string readToEnd();
    /// Reads what has arrived, at least one byte. Throws when the other side closes.
    std::string readSome();
    void write(const std::string& bytes);
    /// Whether something can be read within the time.
    bool answersWithin(std::chrono::milliseconds time);

 private:
    Answer readAnswer(bool toHead);

    boost::asio::io_context context_;
    boost::asio::ip::tcp::socket socket_;
    boost::beast::flat_buffer buffer_;
};

class RawWebSocket {
 public:
    /// Connects to the WebSocket of a service; throws when the handshake is refused.
    RawWebSocket(std::uint16_t port, const std::string& target, const std::string& subProtocol = "zeb.v1");

    void send(const std::string& text);
    void sendBinary(const std::string& bytes);
    /// Sends bytes that need not be a frame.
    void sendBytes(const std::string& bytes);
    Poco::JSON::Object::Ptr receive();
    std::string receiveText();
    /// Reads until the other side closes; returns the close code, 0 when the connection was cut without one.
    unsigned int receiveClose();
    void ping();
    /// What has arrived by now, frames and all.
    std::string bytesArrived();
    /// The bytes that arrive until the connection ends, however it ends.
    std::string bytesToTheEnd();
    void close();
    std::string acceptedSubProtocol() const { return subProtocolOfAnswer_; }

    /// Subscribes and returns the subscription id. The first notification is not read yet.
    std::string subscribe(const std::string& path);

 private:
    boost::asio::io_context context_;
    boost::beast::websocket::stream<boost::asio::ip::tcp::socket, false> stream_;
    boost::beast::flat_buffer buffer_;
    std::string subProtocolOfAnswer_;
};
