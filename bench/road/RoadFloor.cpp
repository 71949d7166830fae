// road-floor: what a Beast WebSocket client costs that does nothing with its messages: no time limits, no
// parsing, no second thread. The reference of the road's figures.

#include <pthread.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <exception>
#include <iostream>
#include <string>
#include <thread>

#include "Arrivals.h"

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using asio::ip::tcp;

class FloorClient {
 public:
    FloorClient(bench::Arrivals& arrivals, std::uint16_t port) : arrivals_(arrivals) {
        const tcp::endpoint server(asio::ip::address_v4::loopback(), port);
        stream_.next_layer().connect(server);
        stream_.next_layer().set_option(tcp::no_delay(true));
        stream_.set_option(websocket::stream_base::decorator([](websocket::request_type& request) {
            request.set(beast::http::field::sec_websocket_protocol, "zeb.v1");
        }));
        stream_.handshake("127.0.0.1:" + std::to_string(port), "/ClampControl");
        stream_.write(asio::buffer(
            std::string(R"({"action":"subscribe","path":"/ClampControl/clamps/1","requestId":"1"})")));
        stream_.read(buffer_);  // the answer
        buffer_.clear();
        stream_.read(buffer_);  // the present state
        buffer_.clear();
        arrivals_.present();
    }

    void run() {
        readNext();
        context_.run();
    }
    void stop() { context_.stop(); }

 private:
    void readNext() {
        stream_.async_read(buffer_, [this](const beast::error_code& error, std::size_t) {
            if (error) return;
            arrivals_.arrived();
            buffer_.clear();
            readNext();
        });
    }

    bench::Arrivals& arrivals_;
    asio::io_context context_{1};
    websocket::stream<tcp::socket> stream_{context_};
    beast::flat_buffer buffer_;
};

}  // namespace

int main(int count, char** arguments) {
    try {
        const bench::Arguments options(count, arguments, bench::Arrivals::arguments({{"address", "", true}}));
        bench::Arrivals arrivals(options);
        FloorClient client(arrivals, static_cast<std::uint16_t>(options.number("address")));
        std::thread reader([&client] { client.run(); });
        pthread_setname_np(reader.native_handle(), "reader");
        const bool isRight = arrivals.waitAndTell();
        client.stop();
        reader.join();
        return isRight ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
