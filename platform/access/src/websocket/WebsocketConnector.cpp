#include "WebsocketConnector.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/field.hpp>
#include <cstdint>
#include <utility>

namespace zeb {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;
using asio::ip::tcp;

constexpr const char* kSubProtocol = "zeb.v1";
constexpr std::chrono::seconds kTimeLimit{5};
// Longer than kTimeLimit, which alone is to decide; counts only for a handshake that goes on after cancel().
constexpr std::chrono::seconds kBeastTimeLimit{6};

}  // namespace

WebsocketConnector::WebsocketConnector(asio::io_context& context, WebsocketStream& stream,
                                       WebsocketAddress address, Owner& owner)
    : stream_(stream),
      address_(std::move(address)),
      owner_(owner),
      pause_(context),
      timeLimit_(context),
      resolver_(context) {}

template <typename Step>
auto WebsocketConnector::next(Step step) {
    return [this, alive = owner_.keepAlive(), step = std::move(step)](const auto&... results) {
        if (!isOver_) {
            step(results...);
        }
    };
}

void WebsocketConnector::start(std::chrono::milliseconds pause) {
    if (pause <= std::chrono::milliseconds(0)) {
        resolve();
        return;
    }
    pause_.expires_after(pause);
    pause_.async_wait(next([this](const ErrorCode&) { resolve(); }));
}

void WebsocketConnector::resolve() {
    timeLimit_.expires_after(kTimeLimit);
    timeLimit_.async_wait(next([this](const ErrorCode&) { fail("no connection within 5 s"); }));

    ErrorCode isNoAddress;
    const auto ipAddress = asio::ip::make_address(address_.host, isNoAddress);
    if (!isNoAddress) {
        // An address needs no look-up, which would cost a thread.
        const tcp::endpoint endpoint(ipAddress, static_cast<std::uint16_t>(std::stoul(address_.port)));
        connect(Endpoints::create(endpoint, address_.host, address_.port));
        return;
    }
    resolver_.async_resolve(address_.host, address_.port,
                            next([this](const ErrorCode& error, const Endpoints& endpoints) {
                                if (error) {
                                    fail("host \"" + address_.host + "\": " + error.message());
                                } else {
                                    connect(endpoints);
                                }
                            }));
}

void WebsocketConnector::connect(const Endpoints& endpoints) {
    asio::async_connect(stream_.socket(), endpoints,
                        next([this](const ErrorCode& error, const tcp::endpoint&) {
                            if (error) {
                                fail("connect: " + error.message());
                                return;
                            }
                            stream_.prepareSocket();
                            if (address_.isSecure) {
                                shakeHandsForTls();
                            } else {
                                upgrade();
                            }
                        }));
}

void WebsocketConnector::shakeHandsForTls() {
    try {
        stream_.addTls(address_.host);
    } catch (const std::exception& exception) {
        fail(std::string("TLS: ") + exception.what());
        return;
    }
    stream_.tls()->async_handshake(asio::ssl::stream_base::client,
                                   next([this](const ErrorCode& error) { onTlsHandshake(error); }));
}

void WebsocketConnector::onTlsHandshake(const ErrorCode& error) {
    if (!error) {
        upgrade();
        return;
    }
    const std::string refusal = stream_.takeTlsRefusal();
    if (!refusal.empty()) {
        fail(WebsocketEnd{"TLS: " + refusal, true});
    } else if (ERR_GET_REASON(static_cast<unsigned long>(error.value())) == SSL_R_WRONG_VERSION_NUMBER) {
        fail("TLS handshake: the server does not speak TLS (" + error.message() + ")");
    } else {
        fail("TLS handshake: " + error.message());
    }
}

void WebsocketConnector::upgrade() {
    stream_.beast().set_option(
        websocket::stream_base::timeout{kBeastTimeLimit, websocket::stream_base::none(), false});
    stream_.beast().set_option(websocket::stream_base::decorator([](websocket::request_type& request) {
        request.set(http::field::sec_websocket_protocol, kSubProtocol);
    }));
    stream_.beast().async_handshake(response_, address_.hostHeader, address_.target,
                                    next([this](const ErrorCode& error) { onUpgrade(error); }));
}

void WebsocketConnector::onUpgrade(const ErrorCode& error) {
    if (error == websocket::error::upgrade_declined) {
        fail("the server declined with HTTP status " + std::to_string(response_.result_int()));
    } else if (error == http::error::end_of_stream) {
        const char* const guess = address_.isSecure ? "" : "; it may expect TLS (https)";
        fail(std::string("WebSocket handshake: the server closed the connection without an answer") + guess);
    } else if (error) {
        fail("WebSocket handshake: " + error.message());
    } else if (response_[http::field::sec_websocket_protocol] != kSubProtocol) {
        fail("the server does not speak the sub-protocol zeb.v1");
    } else {
        succeed();
    }
}

void WebsocketConnector::succeed() {
    cancel();
    owner_.onConnected();
}

void WebsocketConnector::fail(const WebsocketEnd& end) {
    cancel();
    owner_.onConnectFailed(end);
}

void WebsocketConnector::cancel() {
    isOver_ = true;
    pause_.cancel();
    timeLimit_.cancel();
    resolver_.cancel();
    response_ = {};
}

}  // namespace zeb
