#pragma once

#include <array>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "GrowingBody.h"
#include "HttpRequests.h"
#include "RequestTarget.h"
#include "model/BusError.h"
#include "server/BusContext.h"
#include "server/BusStream.h"
#include "server/Chained.h"
#include "server/UnfinishedInput.h"

namespace zebbussim {

/// A connection that speaks HTTP. Answers one request after the other. A WebSocket handshake ends it and
/// hands the stream on.
///
/// Owned by the server's set of connections and by its own pending operations. Used on the bus's thread.
class HttpConnection : public Chained, public std::enable_shared_from_this<HttpConnection> {
 public:
    using Request = boost::beast::http::request<GrowingBody>;

    struct Events {
        /// Throws `BusError` if no other WebSocket of the service can be taken.
        std::function<void(const std::string& service)> upgrading;
        std::function<void(BusStream&&, const std::string& service, Request&&)> upgraded;
        /// The client is to get the events of the bus.
        std::function<void(BusStream&&)> live;
        std::function<void(const std::shared_ptr<HttpConnection>&)> ended;
    };

    HttpConnection(BusStream&& stream, BusContext& busContext, Events connectionEvents);

    void start();
    void close();

    /// Whether its last request was for the control interface.
    bool isOfControl() const { return ofControl_; }

    /// Since when the connection waits for its client, which has a request to send or an answer to read;
    /// nothing while an answer is made.
    std::optional<std::chrono::steady_clock::time_point> waitingSince() const { return waitingSince_; }

 private:
    using Parser = boost::beast::http::request_parser<GrowingBody>;
    using ErrorCode = boost::system::error_code;

    template <typename Handler>
    auto linkedTo(const char* activity, Handler handler) {
        return linked(shared_from_this(), activity, std::move(handler));
    }
    void read();
    void readHead();
    void parseHead();
    /// @param headers how many the head has: there may be none behind the body
    void readBody(std::ptrdiff_t headers);
    /// Tells the client to continue with the body.
    void invite();
    void refuse(const ErrorCode& error);
    void received(const ErrorCode& error);
    void handle(const std::optional<HttpFault>& fault);
    /// Handles a large request when it is its turn.
    void handleInTurn(const std::optional<HttpFault>& fault);
    void parseTarget();
    /// Whether the request is for the control interface, for which no fault counts.
    bool isControl() const;
    void handleControl();
    /// The path of the request on the bus; empty if its target cannot be parsed.
    std::string busPath() const;
    /// For people: a path that cannot be read stands as it came.
    std::string notedPath() const;
    /// Throws `BusError` if the handshake cannot be accepted.
    void checkHandshake() const;
    void handshake(const RequestTarget& target);
    /// @param fault what is wrong with the answer, if anything
    void answer(HttpAnswer httpAnswer, bool closeAfter, const std::optional<HttpFault>& fault = std::nullopt);
    void note(const HttpAnswer& httpAnswer);
    void noteRequest(int status);
    void noteChange();
    void writeBytes(const std::string& bytes);
    /// Closes the connection when the client has closed it, or after a second.
    void finish();
    void discardInput();
    void closeWhenTheClientLeaves();
    /// Closes the connection after this time. A later call replaces the time.
    void closeIn(std::chrono::milliseconds time);

    BusStream stream_;
    boost::asio::steady_timer closeTimer_;
    boost::asio::steady_timer delayTimer_;
    BusContext& context_;
    Events events_;
    boost::beast::flat_buffer buffer_;  ///< what has arrived and is not parsed yet
    std::optional<Parser> parser_;
    std::string rawHead_;  ///< of the present request
    Request request_;
    std::variant<RequestTarget, BusError> target_;  ///< or why it was not parsed
    UnfinishedInput::Part unfinished_;
    std::array<char, 4096> leftOver_;
    std::optional<std::chrono::steady_clock::time_point> waitingSince_;
    bool ofControl_ = false;
    bool over_ = false;
};

}  // namespace zebbussim
