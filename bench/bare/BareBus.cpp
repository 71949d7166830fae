#include "BareBus.h"

#include <boost/asio/ip/address.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <stdexcept>

namespace bench {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

constexpr const char* kHost = "127.0.0.1";

/// The text between the first `begin` and the `"` after it.
std::string between(const std::string& text, const std::string& begin) {
    const auto at = text.find(begin);
    if (at == std::string::npos) {
        throw std::runtime_error("no " + begin + " in " + text);
    }
    const auto from = at + begin.size();
    return text.substr(from, text.find('"', from) - from);
}

}  // namespace

BareBus::BareBus(const std::string& port)
    : endpoint_(asio::ip::make_address(kHost), static_cast<unsigned short>(std::stoi(port))) {}

void BareBus::shakeHands() {
    websocket_.next_layer().connect(endpoint_);
    websocket_.next_layer().set_option(Tcp::no_delay(true));
    websocket_.set_option(
        beast::websocket::stream_base::decorator([](beast::websocket::request_type& request) {
            request.set(http::field::sec_websocket_protocol, "zeb.v1");
        }));
    websocket_.handshake(kHost, "/ClampControl");
}

std::string BareBus::findClamp() {
    http_.connect(endpoint_);
    http_.set_option(Tcp::no_delay(true));
    http::request<http::empty_body> request(http::verb::get, "/ClampControl/clamps/?type=Clamp15&%24limit=1",
                                            11);
    request.set(http::field::host, kHost);
    http::write(http_, request);
    beast::flat_buffer buffer;
    http::response<http::string_body> response;
    http::read(http_, buffer, response);
    return between(response.body(), "\"id\":\"");
}

void BareBus::subscribe(const std::string& id) {
    websocket_.text(true);
    websocket_.write(asio::buffer(R"({"action":"subscribe","path":"/ClampControl/clamps/)" + id +
                                  R"(","requestId":"1"})"));
    between(read(), "\"subscriptionId\":\"");
    between(read(), "\"isSwitchedOn\":");
}

std::string BareBus::read() {
    buffer_.clear();
    websocket_.read(buffer_);
    return beast::buffers_to_string(buffer_.cdata());
}

}  // namespace bench
