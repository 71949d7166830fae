#include "WebsocketConnector.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <zebutil/UserAgent.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/field.hpp>
#include <cstdint>
#include <exception>
#include <utility>

namespace zeb {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;

constexpr const char* kSubProtocol = "zeb.v1";
constexpr std::chrono::seconds kTimeLimit{5};
// Longer than kTimeLimit, which alone is to decide; counts only for a handshake that goes on after cancel().
constexpr std::chrono::seconds kBeastTimeLimit{6};
// A name may have any number of addresses.
constexpr std::size_t kMostAddresses = 8;

bool isOutOfDescriptors(const boost::system::error_code& error) {
    return error == boost::system::errc::too_many_files_open ||
           error == boost::system::errc::too_many_files_open_in_system;
}

}  // namespace

WebsocketConnector::WebsocketConnector(asio::io_context& context, WebsocketStream& stream,
                                       WebsocketAddress address, Owner& owner)
    : context_(context),
      stream_(stream),
      address_(std::move(address)),
      owner_(owner),
      pause_(context),
      timeLimit_(context),
      attemptLimit_(context) {}

template <typename Step>
auto WebsocketConnector::next(Step step) {
    return [this, alive = owner_.keepAlive(), step = std::move(step)](const auto&... results) {
        if (isOver_) {
            return;
        }
        try {
            step(results...);
        } catch (const std::exception& exception) {
            fail(std::string(exception.what()));
        }
    };
}

void WebsocketConnector::start(std::chrono::milliseconds pause) {
    if (pause <= std::chrono::milliseconds(0)) {
        owner_.onPauseOver();
        return;
    }
    pause_.expires_after(pause);
    pause_.async_wait(next([this](const ErrorCode&) { owner_.onPauseOver(); }));
}

void WebsocketConnector::connectNow() {
    timeLimit_.expires_after(kTimeLimit);
    timeLimit_.async_wait(next([this](const ErrorCode&) {
        const char* const separator = failures_.empty() || awaited_.empty() ? "" : "; ";
        fail("no connection within 5 s: " + failures_ + separator + awaited_);
    }));
    if (address_.isSecure) {
        askForTls();
    } else {
        resolve();
    }
}

// The file system may take as long as it likes, like a look-up.
void WebsocketConnector::askForTls() {
    step_ = ConnectStep::Certificates;
    awaited_ = "TLS: its files could not be read in time";
    try {
        tlsQuestion_ = zebutil::TlsContextQuestion(
            address_.service, [this, &context = context_, weak = std::weak_ptr<void>(owner_.keepAlive())](
                                  const zebutil::TlsContextAnswer& answer) {
                asio::post(context, [this, weak, answer] {
                    if (const auto alive = weak.lock()) {
                        next([this](const zebutil::TlsContextAnswer& found) { onTlsContext(found); })(answer);
                    }
                });
            });
    } catch (const std::exception& exception) {
        fail(std::string("TLS: ") + exception.what());
    }
}

void WebsocketConnector::onTlsContext(const zebutil::TlsContextAnswer& answer) {
    for (const std::string& file : zebutil::TlsContextQuestion::takeLeftOut()) {
        owner_.onWarning("TLS: " + file);
    }
    if (!answer.context) {
        fail("TLS: " + answer.failure);
        return;
    }
    tlsContext_ = answer.context;
    resolve();
}

void WebsocketConnector::resolve() {
    step_ = ConnectStep::Resolve;
    ErrorCode isNoAddress;
    const auto ipAddress = asio::ip::make_address(address_.host, isNoAddress);
    if (!isNoAddress) {
        // An address needs no look-up, which would cost a thread.
        connectTo({ipAddress});
        return;
    }
    awaited_ = "no answer to the look-up of the host \"" + address_.host + "\"";
    // The look-up may last as long as the name servers are silent. It does not keep this object, and is
    // forgotten with it.
    question_ = NameResolver::ofProcess().ask(
        address_.host, [this, &context = context_,
                        weak = std::weak_ptr<void>(owner_.keepAlive())](const NameResolver::Answer& answer) {
            asio::post(context, [this, weak, answer] {
                if (const auto alive = weak.lock()) {
                    next([this](const NameResolver::Answer& found) {
                        if (found.addresses.empty()) {
                            fail("host \"" + address_.host + "\": " + found.failure);
                        } else {
                            connectTo(found.addresses);
                        }
                    })(answer);
                }
            });
        });
}

void WebsocketConnector::connectTo(std::vector<asio::ip::address> addresses) {
    addresses_ = std::move(addresses);
    addresses_.resize(std::min(addresses_.size(), kMostAddresses));
    connectToNext();
}

void WebsocketConnector::connectToNext() {
    step_ = ConnectStep::Tcp;
    while (tried_ < addresses_.size()) {
        const Endpoint endpoint(addresses_[tried_++], static_cast<std::uint16_t>(std::stoul(address_.port)));
        const ErrorCode error = stream_.openSocket(endpoint.protocol());
        if (!error) {
            awaited_ = endpoint.address().to_string() + " does not answer";
            limitAttempt();
            stream_.socket().async_connect(
                endpoint, next([this, endpoint](const ErrorCode& failure) {
                    attemptLimit_.cancel();
                    if (!failure && !isAttemptTooLate_) {
                        onTcpConnected(endpoint);
                        return;
                    }
                    noteFailure(endpoint, isAttemptTooLate_ ? "no answer in time" : failure.message());
                    connectToNext();
                }));
            return;
        }
        noteFailure(endpoint, error.message());
        if (isOutOfDescriptors(error)) {
            break;  // it is the same for every address
        }
    }
    fail("connect: " + failures_);
}

// An address that does not answer must leave time for the others.
void WebsocketConnector::limitAttempt() {
    isAttemptTooLate_ = false;
    const std::size_t left = addresses_.size() - tried_ + 1;
    if (left == 1) {
        return;
    }
    const auto remaining = timeLimit_.expiry() - std::chrono::steady_clock::now();
    attemptLimit_.expires_after(remaining / static_cast<int>(left));
    attemptLimit_.async_wait(next([this, attempt = tried_](const ErrorCode& error) {
        if (!error && attempt == tried_ && peerAddress_.empty()) {
            isAttemptTooLate_ = true;
            ErrorCode ignored;
            stream_.socket().close(ignored);
        }
    }));
}

void WebsocketConnector::noteFailure(const Endpoint& endpoint, const std::string& reason) {
    if (addresses_.size() > 1) {
        failures_ += (failures_.empty() ? "" : "; ") + endpoint.address().to_string() + ": ";
    }
    failures_ += reason;
}

void WebsocketConnector::onTcpConnected(const Endpoint& endpoint) {
    peerAddress_ = endpoint.address().to_string();
    stream_.prepareSocket();
    if (address_.isSecure) {
        shakeHandsForTls();
    } else {
        upgrade();
    }
}

void WebsocketConnector::shakeHandsForTls() {
    step_ = ConnectStep::Tls;
    awaited_ = "TLS handshake: the server does not answer";
    try {
        stream_.addTls(address_.name, tlsContext_);
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
        fail(WebsocketEnd{"TLS: " + refusal, true, step_});
    } else if (ERR_GET_REASON(static_cast<unsigned long>(error.value())) == SSL_R_WRONG_VERSION_NUMBER) {
        fail("TLS handshake: the server does not speak TLS (" + error.message() + ")");
    } else {
        fail("TLS handshake: " + error.message());
    }
}

void WebsocketConnector::upgrade() {
    step_ = ConnectStep::Http;
    awaited_ = "WebSocket handshake: the server does not answer";
    stream_.beast().set_option(
        websocket::stream_base::timeout{kBeastTimeLimit, websocket::stream_base::none(), false});
    const std::string userAgent = zebutil::userAgent();
    stream_.beast().set_option(
        websocket::stream_base::decorator([userAgent](websocket::request_type& request) {
            request.set(http::field::sec_websocket_protocol, kSubProtocol);
            request.set(http::field::user_agent, userAgent);
        }));
    stream_.beast().next_layer().expectUpgradeAnswer();
    stream_.beast().async_handshake(response_, address_.hostHeader, address_.target,
                                    next([this](const ErrorCode& error) { onUpgrade(error); }));
}

void WebsocketConnector::onUpgrade(const ErrorCode& error) {
    const UpgradeAnswer* const answer = stream_.beast().next_layer().upgradeAnswer();
    if (!error || (answer != nullptr && answer->state() == UpgradeAnswer::State::Declined)) {
        step_ = ConnectStep::WebSocket;
    }
    const std::string refusal = error ? whyUpgradeFailed(error) : whyAnswerIsRefused();
    if (refusal.empty()) {
        succeed();
    } else {
        fail(refusal);
    }
}

std::string WebsocketConnector::whyUpgradeFailed(const ErrorCode& error) const {
    const UpgradeAnswer* const answer = stream_.beast().next_layer().upgradeAnswer();
    if (answer != nullptr && answer->state() == UpgradeAnswer::State::Declined) {
        constexpr int kNotFound = 404;
        return "the server declined with HTTP status " + std::to_string(answer->status()) +
               (answer->status() == kNotFound
                    ? ": it has no service at \"" + address_.target + "\"; is the base path right?"
                    : "");
    }
    if (answer != nullptr && answer->state() == UpgradeAnswer::State::Unusable) {
        return "WebSocket handshake: the server's answer is not HTTP/1.1 with a header of at most 8 KiB";
    }
    if (error == http::error::end_of_stream) {
        const char* const guess = address_.isSecure ? "" : "; it may expect TLS (https)";
        return std::string("WebSocket handshake: the server closed the connection without an answer") + guess;
    }
    return "WebSocket handshake: " + error.message();
}

// What Beast does not check.
std::string WebsocketConnector::whyAnswerIsRefused() const {
    for (const auto once : {http::field::sec_websocket_accept, http::field::sec_websocket_protocol}) {
        if (response_.count(once) > 1) {
            return "WebSocket handshake: the server's answer has more than one header " +
                   std::string(http::to_string(once));
        }
    }
    if (response_.count(http::field::sec_websocket_extensions) > 0) {
        // The bits of an extension would have a meaning that nobody here knows.
        return "the server uses an extension that nobody has asked for";
    }
    if (response_.count(http::field::transfer_encoding) > 0 ||
        (response_.count(http::field::content_length) > 0 && response_[http::field::content_length] != "0")) {
        return "WebSocket handshake: the server's answer announces a body, and an upgrade has none";
    }
    if (response_[http::field::sec_websocket_protocol] != kSubProtocol) {
        return "the server does not speak the sub-protocol zeb.v1";
    }
    return {};
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
    attemptLimit_.cancel();
    tlsQuestion_.forget();
    tlsContext_.reset();
    question_.forget();
    response_ = {};
}

}  // namespace zeb
