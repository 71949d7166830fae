#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/socket_base.hpp>
#include <boost/beast/core/string_type.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace contract {

/// The server's end of one WebSocket at a time, controlled by the test: it sends what a server must not send,
/// and observes how the platform closes. Works on the test's own thread. Every call throws std::runtime_error
/// when the limit expires.
class BareServer {
 public:
    explicit BareServer(std::chrono::seconds limit) : limit_(limit) {}

    std::string baseUri() const {
        return "http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port());
    }

    /// Accepts the next connection and answers its handshake.
    void accept(const std::string& subProtocol = "zeb.v1") {
        pollfd waiting{acceptor_.native_handle(), POLLIN, 0};
        if (::poll(&waiting, 1, static_cast<int>(std::chrono::milliseconds(limit_).count())) != 1) {
            throw std::runtime_error("no client connected");
        }
        stream_.emplace(acceptor_.accept());
        const timeval limit{limit_.count(), 0};
        ::setsockopt(socket(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        namespace websocket = boost::beast::websocket;
        stream_->set_option(
            websocket::stream_base::decorator([&subProtocol](websocket::response_type& response) {
                response.set(boost::beast::http::field::sec_websocket_protocol, subProtocol);
            }));
        stream_->accept();
    }

    /// Sends the bytes unchanged; they include the frame header.
    void sendBytes(const std::string& bytes) {
        if (::send(socket(), bytes.data(), bytes.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(bytes.size())) {
            throw std::runtime_error("cannot send");
        }
    }

    void sendText(const std::string& text) { sendBytes(textFrame(text)); }

    /// Ends the connection without a farewell.
    void reset() {
        stream_->next_layer().set_option(boost::asio::socket_base::linger(true, 0));
        stream_->next_layer().close();
    }

    /// The frame of one text message of less than 64 KiB.
    static std::string textFrame(const std::string& text) {
        std::string frame("\x81");
        if (text.size() < 126) {
            frame.push_back(static_cast<char>(text.size()));
        } else {
            frame.push_back('\x7E');
            frame.push_back(static_cast<char>(text.size() >> 8U));
            frame.push_back(static_cast<char>(text.size() & 0xFFU));
        }
        return frame + text;
    }

    /// Waits for the next text message.
    std::string receiveText() {
        Frame frame;
        do {
            frame = receiveFrame();
        } while (frame.opcode != kOpcodeText);
        return frame.payload;
    }

    /// Waits for the close frame, skipping other frames. Returns its code, 0 when it has none.
    std::uint16_t receiveClose() {
        Frame frame;
        do {
            frame = receiveFrame();
        } while (frame.opcode != kOpcodeClose);
        return frame.payload.size() < 2 ? std::uint16_t{0} : number(frame.payload.substr(0, 2));
    }

 private:
    static constexpr unsigned kOpcodeText = 1;
    static constexpr unsigned kOpcodeClose = 8;

    struct Frame {
        unsigned opcode = 0;
        std::string payload;
    };

    static std::uint16_t number(const std::string& bytes) {
        return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[0]) << 8U |
                                          static_cast<unsigned char>(bytes[1]));
    }

    int socket() { return stream_->next_layer().native_handle(); }

    std::string receiveBytes(std::size_t count) {
        std::string bytes(count, '\0');
        if (count > 0 && ::recv(socket(), &bytes[0], count, MSG_WAITALL) != static_cast<ssize_t>(count)) {
            throw std::runtime_error("the connection has ended, or nothing arrived within the limit");
        }
        return bytes;
    }

    // Handles small frames only: the platform sends no others in these tests.
    Frame receiveFrame() {
        const std::string head = receiveBytes(2);
        std::size_t size = static_cast<unsigned char>(head[1]) & 0x7FU;
        if (size == 126) {
            size = number(receiveBytes(2));
        }
        const std::string mask = receiveBytes(4);
        Frame frame{static_cast<unsigned char>(head[0]) & 0x0FU, receiveBytes(size)};
        std::size_t position = 0;
        for (char& byte : frame.payload) {
            byte = static_cast<char>(byte ^ mask[position++ % 4]);
        }
        return frame;
    }

    const std::chrono::seconds limit_;
    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor acceptor_{context_, {boost::asio::ip::address_v4::loopback(), 0}};
    std::optional<boost::beast::websocket::stream<boost::asio::ip::tcp::socket>> stream_;
};

}  // namespace contract
