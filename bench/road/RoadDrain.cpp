// road-drain: reads everything from the socket and ignores it. The figures of a flood then show the limit of
// the server.

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <exception>
#include <iostream>
#include <string>

#include "Arguments.h"
#include "JsonText.h"

int main(int count, char** arguments) {
    namespace asio = boost::asio;
    namespace websocket = boost::beast::websocket;
    using asio::ip::tcp;
    try {
        const bench::Arguments options(count, arguments, {{"address", "", true}});
        const auto port = static_cast<std::uint16_t>(options.number("address"));
        asio::io_context context;
        tcp::socket socket(context);
        socket.connect({asio::ip::address_v4::loopback(), port});
        boost::beast::flat_buffer buffer;
        {
            websocket::stream<tcp::socket&> stream(socket);
            stream.handshake("127.0.0.1:" + std::to_string(port), "/ClampControl");
            stream.write(asio::buffer(
                std::string(R"({"action":"subscribe","path":"/ClampControl/clamps/1","requestId":"1"})")));
            stream.read(buffer);  // the response
            stream.read(buffer);  // the present state
        }
        bench::tell("ready", {});
        std::array<char, 256 * 1024> bytes{};
        boost::system::error_code error;
        while (!error) {  // until the server ends
            socket.read_some(asio::buffer(bytes), error);
        }
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
