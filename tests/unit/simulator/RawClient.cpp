#include "RawClient.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Parser.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;

namespace {

tcp::socket connectTo(asio::io_context& context, std::uint16_t port) {
    tcp::socket socket(context);
    socket.connect({asio::ip::make_address("127.0.0.1"), port});
    socket.set_option(tcp::no_delay(true));
    const timeval tenSeconds{10, 0};
    setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &tenSeconds, sizeof tenSeconds);
    setsockopt(socket.native_handle(), SOL_SOCKET, SO_SNDTIMEO, &tenSeconds, sizeof tenSeconds);
    return socket;
}

Poco::JSON::Object::Ptr parse(const std::string& text) {
    return Poco::JSON::Parser().parse(text).extract<Poco::JSON::Object::Ptr>();
}

}  // namespace

RawHttp::RawHttp(std::uint16_t port) : socket_(connectTo(context_, port)) {}

Poco::JSON::Object::Ptr RawHttp::Answer::json() const {
    return parse(body);
}

int RawHttp::Answer::errorNumber() const {
    return json()->getObject("error")->getValue<int>("number");
}

std::string RawHttp::Answer::reason() const {
    return json()->getObject("error")->getValue<std::string>("reason");
}

std::string RawHttp::Answer::ids() const {
    const Poco::JSON::Array::Ptr list = json()->getArray("data");
    std::string ids;
    for (unsigned int index = 0; index < list->size(); ++index) {
        ids += (index > 0 ? "," : "") + list->getObject(index)->getValue<std::string>("id");
    }
    return ids;
}

RawHttp::Answer RawHttp::request(const std::string& method, const std::string& target,
                                 const std::string& body) {
    write(method + " " + target + " HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
          std::to_string(body.size()) + "\r\n\r\n" + body);
    return readAnswer(method == "HEAD");
}

RawHttp::Answer RawHttp::sendBytes(const std::string& bytes) {
    write(bytes);
    return readAnswer(false);
}

void RawHttp::write(const std::string& bytes) {
    asio::write(socket_, asio::buffer(bytes));
}

RawHttp::Answer RawHttp::readAnswer(bool toHead) {
    http::response_parser<http::string_body> parser;
    parser.skip(toHead);
    parser.body_limit(64 * 1024 * 1024);
    http::read(socket_, buffer_, parser);
    const auto& response = parser.get();
    return {static_cast<int>(response.result_int()), response.body(),
            std::string(response[http::field::allow]), response.keep_alive()};
}

std::string RawHttp::readToEnd() {
    std::string text;
    boost::system::error_code error;
    asio::read(socket_, asio::dynamic_buffer(text), error);
    return text;
}

std::string RawHttp::readSome() {
    std::array<char, 4096> bytes{};
    return {bytes.data(), socket_.read_some(asio::buffer(bytes))};
}

bool RawHttp::answersWithin(std::chrono::milliseconds time) {
    pollfd waiting{socket_.native_handle(), POLLIN, 0};
    return poll(&waiting, 1, static_cast<int>(time.count())) == 1;
}

RawWebSocket::RawWebSocket(std::uint16_t port, const std::string& target, const std::string& subProtocol)
    : stream_(connectTo(context_, port)) {
    stream_.set_option(beast::websocket::stream_base::decorator([&](beast::websocket::request_type& request) {
        if (!subProtocol.empty()) {
            request.set(http::field::sec_websocket_protocol, subProtocol);
        }
    }));
    beast::websocket::response_type response;
    stream_.handshake(response, "localhost", target);
    subProtocolOfAnswer_ = std::string(response[http::field::sec_websocket_protocol]);
}

void RawWebSocket::send(const std::string& text) {
    stream_.text(true);
    stream_.write(asio::buffer(text));
}

void RawWebSocket::sendBinary(const std::string& bytes) {
    stream_.binary(true);
    stream_.write(asio::buffer(bytes));
}

void RawWebSocket::sendBytes(const std::string& bytes) {
    asio::write(stream_.next_layer(), asio::buffer(bytes));
}

std::string RawWebSocket::receiveText() {
    buffer_.clear();
    stream_.read(buffer_);
    return beast::buffers_to_string(buffer_.data());
}

Poco::JSON::Object::Ptr RawWebSocket::receive() {
    return parse(receiveText());
}

unsigned int RawWebSocket::receiveClose() {
    boost::system::error_code error;
    while (!error) {
        buffer_.clear();
        stream_.read(buffer_, error);
    }
    return error == beast::websocket::error::closed ? stream_.reason().code : 0U;
}

void RawWebSocket::ping() {
    stream_.ping({});
}

std::string RawWebSocket::bytesArrived() {
    std::string bytes(stream_.next_layer().available(), '\0');
    asio::read(stream_.next_layer(), asio::buffer(bytes));
    return bytes;
}

std::string RawWebSocket::bytesToTheEnd() {
    std::string bytes;
    boost::system::error_code end;
    asio::read(stream_.next_layer(), asio::dynamic_buffer(bytes), end);
    return bytes;
}

void RawWebSocket::close() {
    stream_.close(beast::websocket::close_code::normal);
}

std::string RawWebSocket::subscribe(const std::string& path) {
    send(R"({"action":"subscribe","path":")" + path + R"(","requestId":"test"})");
    return receive()->getValue<std::string>("subscriptionId");
}
