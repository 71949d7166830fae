#include "HttpConnection.h"

#include <internal/EscapedText.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <boost/asio/write.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <cctype>
#include <chrono>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>

#include "control/ControlInterface.h"
#include "json/Json.h"
#include "websocket/WebSocketPeer.h"

namespace zebbussim {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr int kOk = 200;
constexpr std::size_t kMaximumBody = 1024 * 1024;
constexpr std::uint32_t kMaximumHeader = 8 * 1024;
/// Holds a head or the line of a chunk, which the parser wants in one piece, and whatever came along.
constexpr std::size_t kBuffer = 16 * 1024;
/// Of the answers that clients have not read yet. Small ones are always given.
constexpr std::size_t kMaximumAnswers = 256 * 1024 * 1024;
constexpr std::size_t kSmallAnswer = 64 * 1024;
constexpr std::chrono::seconds kFinishTime{1};
/// A request with a larger body takes long enough to keep others waiting.
constexpr std::size_t kLargeBody = 64 * 1024;

/// Whether a text is 16 bytes in base64.
bool isWebSocketKey(beast::string_view key) {
    constexpr std::size_t kDigits = 22;
    const auto isDigit = [](unsigned char character) {
        return std::isalnum(character) != 0 || character == '+' || character == '/';
    };
    return key.size() == kDigits + 2 && std::all_of(key.begin(), key.begin() + kDigits, isDigit) &&
           key.substr(kDigits) == "==";
}

std::ptrdiff_t countHeaders(const http::fields& head) {
    return std::distance(head.begin(), head.end());
}

std::optional<HttpAnswer> answerToBrokenRequest(const boost::system::error_code& error) {
    if (error == http::error::body_limit) {
        return errorAnswer({413, "payload_too_large", "A request body must not exceed 1 MiB"});
    }
    if (error == http::error::buffer_overflow) {
        return errorAnswer(BusError::badRequest("A chunk or what follows the last one has too long a head"));
    }
    if (error == http::error::unexpected_body) {
        return errorAnswer(BusError::badRequest("Headers follow the body, which could be read in two ways"));
    }
    if (error == http::error::header_limit) {
        return errorAnswer({431, "header_too_large", "The request line and headers must not exceed 8 KiB"});
    }
    const bool isHttpError = error.category() == http::make_error_code(http::error::bad_target).category();
    if (isHttpError && error != http::error::end_of_stream && error != http::error::partial_message) {
        return errorAnswer(BusError::badRequest("This is not an HTTP request: " + error.message()));
    }
    return std::nullopt;
}

}  // namespace

HttpConnection::HttpConnection(BusStream&& stream, BusContext& busContext, Events connectionEvents)
    : stream_(std::move(stream)),
      closeTimer_(stream_.get_executor()),
      delayTimer_(stream_.get_executor()),
      context_(busContext),
      events_(std::move(connectionEvents)),
      buffer_(kBuffer),
      unfinished_(context_.unfinishedInput, [this] { close(); }) {}

void HttpConnection::start() {
    waitingSince_ = std::chrono::steady_clock::now();
    closeIn(context_.patience);
    stream_.begin(linkedTo("beginning TLS", [self = shared_from_this()](const ErrorCode& error) {
        if (error) {
            self->close();
        } else if (!self->over_) {
            self->read();
        }
    }));
}

void HttpConnection::closeIn(std::chrono::milliseconds time) {
    closeTimer_.expires_after(time);
    closeTimer_.async_wait([self = shared_from_this()](const ErrorCode& error) {
        // The timer may expire, and get a new time before this handler runs.
        const bool isPutOff = self->closeTimer_.expiry() > std::chrono::steady_clock::now();
        if (!error && !isPutOff) {
            self->close();
        }
    });
}

void HttpConnection::read() {
    parser_.emplace();
    parser_->header_limit(kMaximumHeader);
    parser_->body_limit(kMaximumBody);
    parser_->on_chunk_header(checkChunkHead);
    rawHead_.clear();
    waitingSince_ = std::chrono::steady_clock::now();
    closeIn(context_.patience);
    parseHead();  // of a request that came along with the one before
}

void HttpConnection::readHead() {
    stream_.async_read_some(
        buffer_.prepare(kBuffer - buffer_.size()),
        linkedTo("reading a request", [self = shared_from_this()](const ErrorCode& error, std::size_t size) {
            if (self->over_) {
                return;
            }
            if (error) {
                self->close();
                return;
            }
            self->buffer_.commit(size);
            self->parseHead();
        }));
}

void HttpConnection::parseHead() {
    ErrorCode error;
    while (!error && !parser_->is_header_done() && buffer_.size() > 0) {
        const std::size_t parsed = parser_->put(buffer_.data(), error);
        rawHead_.append(static_cast<const char*>(buffer_.data().data()), parsed);
        buffer_.consume(parsed);
    }
    if (error == http::error::need_more || (!error && !parser_->is_header_done())) {
        if (buffer_.size() < kBuffer) {
            readHead();
            return;
        }
        error = http::error::header_limit;
    }
    if (error) {
        refuse(error);
        return;
    }
    try {
        checkHead(parser_->get().base(), rawHead_, context_.names);
    } catch (const BusError& problem) {
        request_ = parser_->release();
        target_.emplace<BusError>(problem);
        answer(errorAnswer(problem), true);
        return;
    }
    if (parser_->is_done()) {
        received({});
    } else if (buffer_.size() == 0 && waitsForContinue(parser_->get().base())) {
        invite();
    } else {
        readBody(countHeaders(parser_->get()));
    }
}

void HttpConnection::readBody(std::ptrdiff_t headers) {
    http::async_read_some(
        stream_, buffer_, *parser_,
        linkedTo("reading a request",
                 [self = shared_from_this(), headers](const ErrorCode& error, std::size_t) {
                     if (self->over_) {
                         return;
                     }
                     if (error) {
                         self->received(error);
                     } else if (self->parser_->is_done()) {
                         const bool isFollowed = countHeaders(self->parser_->get()) != headers;
                         self->received(isFollowed ? ErrorCode(http::error::unexpected_body) : ErrorCode());
                     } else {
                         self->unfinished_.setSize(self->parser_->get().body().capacity());
                         if (!self->over_) {
                             self->readBody(headers);
                         }
                     }
                 }));
}

void HttpConnection::invite() {
    static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    asio::async_write(
        stream_, asio::buffer(kContinue),
        linkedTo("reading a request", [self = shared_from_this()](const ErrorCode& error, std::size_t) {
            if (self->over_) {
                return;
            }
            error ? self->close() : self->readBody(countHeaders(self->parser_->get()));
        }));
}

void HttpConnection::refuse(const ErrorCode& error) {
    const std::optional<HttpAnswer> refusal = answerToBrokenRequest(error);
    if (refusal) {
        request_ = {};
        request_.version(11);
        target_.emplace<BusError>(BusError::badRequest({}));
        answer(*refusal, true);
    } else {
        close();
    }
}

void HttpConnection::received(const ErrorCode& error) {
    if (over_) {
        return;
    }
    waitingSince_.reset();
    unfinished_.finish();
    if (error) {
        refuse(error);
        return;
    }
    closeTimer_.cancel();
    request_ = parser_->release();
    parseTarget();
    if (isControl()) {
        handleControl();
        return;
    }
    const std::string path = busPath();
    if (!beast::websocket::is_upgrade(request_)) {
        context_.observations.countRequest(path);
        BusEvent event;
        event.kind = BusEvent::Kind::RequestArrived;
        event.path = path;
        context_.journal.note(std::move(event));
    }

    const std::optional<HttpFault> fault = context_.faults.find(path);
    if (fault && fault->silent) {
        noteRequest(0);
        waitingSince_ = std::chrono::steady_clock::now();
        discardInput();
        return;
    }
    if (fault && fault->delay.count() > 0) {
        waitingSince_ = std::chrono::steady_clock::now();
        closeWhenTheClientLeaves();
        delayTimer_.expires_after(fault->delay);
        delayTimer_.async_wait(
            linkedTo("delaying an answer", [self = shared_from_this(), fault](const ErrorCode& timerError) {
                if (!timerError && !self->over_) {
                    self->handle(fault);
                }
            }));
        return;
    }
    request_.body().size() > kLargeBody ? handleInTurn(fault) : handle(fault);
}

void HttpConnection::handleInTurn(const std::optional<HttpFault>& fault) {
    const bool isTaken = context_.heavyWork.add(stream_.get_executor(), request_.body().size(),
                                                [self = shared_from_this(), fault] {
                                                    if (!self->over_) {
                                                        Link link(self, "handling a request");
                                                        self->handle(fault);
                                                        link.release();
                                                    }
                                                });
    if (!isTaken) {
        answer(errorAnswer(BusError::unavailable("Too many large requests wait")), false);
    }
}

void HttpConnection::handle(const std::optional<HttpFault>& fault) {
    waitingSince_.reset();
    const bool isUpgrade = beast::websocket::is_upgrade(request_);
    if (fault && fault->bytes) {
        noteRequest(0);
        writeBytes(*fault->bytes);
    } else if (fault && fault->status) {
        answer({*fault->status, fault->body}, false);
    } else if (fault && fault->isCut && isUpgrade) {
        noteRequest(0);
        writeBytes("HTTP/1.1 101 Switching Protocols\r\nUpgra");
    } else if (const auto* const unreadable = std::get_if<BusError>(&target_)) {
        answer(errorAnswer(*unreadable), false);
    } else if (isUpgrade) {
        try {
            handshake(std::get<RequestTarget>(target_));
        } catch (const BusError& error) {
            answer(errorAnswer(error), false);
        }
    } else {
        HttpAnswer right = answerHttpRequest(context_.model, std::string(request_.method_string()),
                                             std::get<RequestTarget>(target_), request_.body());
        if (request_.method() == http::verb::post && right.status == kOk) {
            noteChange();
        }
        answer(std::move(right), false, fault);
    }
}

bool HttpConnection::isControl() const {
    const auto* const target = std::get_if<RequestTarget>(&target_);
    if (target == nullptr || beast::websocket::is_upgrade(request_)) {
        return false;
    }
    const bool isPage = request_.target() == "/" || request_.target() == context_.basePath;
    return target->segments.empty() ? isPage : ControlInterface::isFor(*target);
}

void HttpConnection::handleControl() {
    ofControl_ = true;
    stream_.useOwnLine();
    HttpAnswer controlAnswer = context_.control.answer(std::string(request_.method_string()),
                                                       std::get<RequestTarget>(target_), request_.body());
    if (controlAnswer.isLive) {
        over_ = true;
        events_.ended(shared_from_this());
        events_.live(std::move(stream_));
    } else {
        answer(std::move(controlAnswer), false);
    }
}

// So that a recording has what clients change.
void HttpConnection::noteChange() {
    BusEvent event;
    event.kind = BusEvent::Kind::StepDone;
    event.name = "set";
    event.path = busPath();
    event.source = "client";
    // In the order of the text of a step, so that a recording that is played and recorded again is the same.
    event.data = std::make_shared<const std::string>(R"({"set":{"data":)" +
                                                     readJsonObject(request_.body(), "The body") +
                                                     R"(,"path":)" + quoted(event.path) + "}}");
    event.text = "a client sets " + event.path;
    context_.journal.note(std::move(event));
}

void HttpConnection::note(const HttpAnswer& httpAnswer) {
    constexpr std::array<int, 4> kViolations{400, 405, 413, 431};
    if (isControl() || !context_.journal.isHeard()) {
        return;
    }
    noteRequest(httpAnswer.status);
    const bool isViolation =
        std::find(kViolations.begin(), kViolations.end(), httpAnswer.status) != kViolations.end();
    if (isViolation && !httpAnswer.problem.empty()) {
        BusEvent event;
        event.kind = BusEvent::Kind::Violation;
        const auto agent = request_[http::field::user_agent];
        event.program = internal::escapedText(shortened({agent.data(), agent.size()}));
        event.path = notedPath();
        const std::string method(request_.method_string());
        event.text = (method.empty() ? "" : method + " " + event.path + ": ") + httpAnswer.problem;
        context_.journal.note(std::move(event));
    }
}

void HttpConnection::noteRequest(int status) {
    BusEvent event;
    event.kind = BusEvent::Kind::Request;
    event.name = std::string(request_.method_string());
    event.path = notedPath();
    event.status = status;
    const auto agent = request_[http::field::user_agent];
    event.program = internal::escapedText(shortened({agent.data(), agent.size()}));
    context_.journal.note(std::move(event));
}

void HttpConnection::parseTarget() {
    if (request_.target() == "/") {
        target_.emplace<RequestTarget>();  // the panel, wherever the services are
        return;
    }
    try {
        target_.emplace<RequestTarget>(parseRequestTarget(std::string(request_.target()), context_.basePath));
    } catch (const BusError& error) {
        target_.emplace<BusError>(error);
    }
}

std::string HttpConnection::busPath() const {
    const auto* const target = std::get_if<RequestTarget>(&target_);
    return target == nullptr ? "" : target->path();
}

std::string HttpConnection::notedPath() const {
    return std::holds_alternative<BusError>(target_)
               ? internal::escapedText(shortened({request_.target().data(), request_.target().size()}))
               : busPath();
}

void HttpConnection::checkHandshake() const {
    if (!request_.body().empty()) {
        throw BusError::badRequest("A WebSocket handshake has no body");
    }
    if (request_.count(http::field::sec_websocket_version) != 1 ||
        request_[http::field::sec_websocket_version] != "13") {
        throw BusError(426, "upgrade_required", "The handshake needs Sec-WebSocket-Version: 13, once");
    }
    if (request_.count(http::field::sec_websocket_key) != 1 ||
        !isWebSocketKey(request_[http::field::sec_websocket_key])) {
        throw BusError::badRequest("The handshake needs Sec-WebSocket-Key with 16 bytes in base64, once");
    }
    // A client may offer each in a line of its own.
    const auto [first, last] = request_.equal_range(http::field::sec_websocket_protocol);
    if (std::none_of(first, last, [](const auto& line) {
            return http::token_list(line.value()).exists(WebSocketPeer::kSubProtocol);
        })) {
        throw BusError::badRequest(std::string("The handshake does not offer the sub-protocol ") +
                                   WebSocketPeer::kSubProtocol);
    }
    if (buffer_.size() > 0) {
        throw BusError::badRequest("Something follows the handshake before it is answered");
    }
}

void HttpConnection::handshake(const RequestTarget& target) {
    if (target.segments.size() != 1) {
        throw BusError::invalidPath("The WebSocket of a service is at " + context_.basePath + "<service>");
    }
    const std::string& service = target.segments[0];
    context_.model.reachableService(service);
    checkHandshake();
    events_.upgrading(service);
    over_ = true;
    events_.ended(shared_from_this());  // first: the WebSocket may be refused for lack of memory
    events_.upgraded(std::move(stream_), service, std::move(request_));
}

void HttpConnection::answer(HttpAnswer httpAnswer, bool closeAfter, const std::optional<HttpFault>& fault) {
    note(httpAnswer);
    if (fault && fault->contentType) {
        httpAnswer.contentType = *fault->contentType;
    }
    if (fault && fault->paddedTo > httpAnswer.body.size()) {
        httpAnswer.body.resize(fault->paddedTo, ' ');
    }
    waitingSince_ = std::chrono::steady_clock::now();
    std::string().swap(request_.body());  // the connection may stay open for long
    const std::size_t size = httpAnswer.body.size();
    if (size > kSmallAnswer && context_.answerBytes + size > kMaximumAnswers) {
        answer(errorAnswer(BusError::unavailable("Too many clients do not read their answers")), closeAfter);
        return;
    }
    context_.answerBytes += size;
    const std::shared_ptr<void> counted(nullptr,
                                        [&context = context_, size](void*) { context.answerBytes -= size; });
    auto response = std::make_shared<http::response<http::string_body>>();
    response->version(request_.version());
    response->result(static_cast<unsigned int>(httpAnswer.status));
    response->set(http::field::server, "zeb-bus-sim");
    response->set(http::field::content_type, httpAnswer.contentType);
    for (const auto& [name, value] : httpAnswer.headers) {
        response->set(name, value);
    }
    if (!httpAnswer.allow.empty()) {
        response->set(http::field::allow, httpAnswer.allow);
    }
    if (httpAnswer.status == 426) {
        response->set(http::field::upgrade, "websocket");
        response->set(http::field::sec_websocket_version, "13");
    }
    response->keep_alive(!closeAfter && request_.keep_alive());
    response->body() = std::move(httpAnswer.body);
    response->prepare_payload();
    if (request_.method() == http::verb::head) {
        response->body().clear();  // the length of the omitted body stays
    }
    if (fault && fault->isCut) {
        std::ostringstream text;
        text << *response;
        writeBytes(text.str().substr(0, text.str().size() / 2));
        return;
    }
    closeIn(context_.patience);
    http::async_write(stream_, *response,
                      linkedTo("writing an answer", [self = shared_from_this(), response, counted](
                                                        const ErrorCode& error, std::size_t) {
                          if (self->over_) {
                              return;
                          }
                          if (error) {
                              self->close();
                          } else if (!response->keep_alive()) {
                              self->finish();
                          } else {
                              self->read();
                          }
                      }));
}

void HttpConnection::writeBytes(const std::string& bytes) {
    const auto kept = std::make_shared<const std::string>(bytes);
    waitingSince_ = std::chrono::steady_clock::now();
    closeIn(context_.patience);
    asio::async_write(stream_, asio::buffer(*kept),
                      linkedTo("writing an answer", [self = shared_from_this(), kept](
                                                        const ErrorCode&, std::size_t) { self->finish(); }));
}

void HttpConnection::finish() {
    // Closing a connection with unread bytes resets it, and the client may lose the answer.
    closeIn(kFinishTime);
    stream_.end(linkedTo("ending", [self = shared_from_this()](const ErrorCode&) {
        ErrorCode ignored;
        self->stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        self->discardInput();
    }));
}

void HttpConnection::discardInput() {
    stream_.socket().async_read_some(
        asio::buffer(leftOver_),
        linkedTo("ending", [self = shared_from_this()](const ErrorCode& error, std::size_t) {
            error ? self->close() : self->discardInput();
        }));
}

void HttpConnection::closeWhenTheClientLeaves() {
    stream_.socket().async_wait(
        asio::ip::tcp::socket::wait_read,
        linkedTo("delaying an answer", [self = shared_from_this()](const ErrorCode& error) {
            char next = 0;
            const bool isDelayed = !error && !self->over_ && self->waitingSince_;
            if (isDelayed &&
                ::recv(self->stream_.socket().native_handle(), &next, 1, MSG_PEEK | MSG_DONTWAIT) == 0) {
                self->close();
            }
        }));
}

void HttpConnection::close() {
    if (over_) {
        return;
    }
    over_ = true;
    unfinished_.finish();
    delayTimer_.cancel();
    closeTimer_.cancel();
    stream_.close();
    events_.ended(shared_from_this());
}

}  // namespace zebbussim
