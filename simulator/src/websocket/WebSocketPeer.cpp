#include "WebSocketPeer.h"

#include <internal/EscapedText.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/websocket/error.hpp>
#include <chrono>
#include <string_view>

#include "json/Json.h"

namespace zebbussim {

namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;
namespace asio = boost::asio;

namespace {

constexpr std::size_t kMaximumMessage = 1024 * 1024;
constexpr std::size_t kKeptBuffer = 64 * 1024;
/// A frame may announce 1 MiB. Memory is taken for what has arrived only.
constexpr std::size_t kPiece = 64 * 1024;
constexpr std::chrono::seconds kCloseTime{2};
/// Beast sets no longer field of a header.
constexpr std::size_t kLongestField = 32 * 1024;
constexpr std::size_t kLargeQueue = 16 * 1024 * 1024;

/// The frames of a text message in pieces, with a ping between two of them.
std::string fragmented(const std::string& text, std::size_t size) {
    constexpr std::size_t kLongestShortFrame = 125;
    constexpr char kText = 0x01;
    constexpr char kContinuation = 0x00;
    constexpr char kLast = static_cast<char>(0x80);
    constexpr std::string_view kPing("\x89\x00", 2);
    const std::size_t pieceSize = std::min(size, kLongestShortFrame);
    std::string frames;
    for (std::size_t begin = 0; begin == 0 || begin < text.size(); begin += pieceSize) {
        const std::string_view piece = std::string_view(text).substr(begin, pieceSize);
        const bool isLast = begin + pieceSize >= text.size();
        frames += static_cast<char>((begin == 0 ? kText : kContinuation) | (isLast ? kLast : 0));
        frames += static_cast<char>(piece.size());
        frames.append(piece).append(isLast ? std::string_view() : kPing);
    }
    return frames;
}

}  // namespace

WebSocketPeer::WebSocketPeer(BusStream&& stream, BusContext& busContext, const std::string& service,
                             Events peerEvents)
    : webSocket_(std::move(stream)),
      closeTimer_(webSocket_.get_executor()),
      messageTimer_(webSocket_.get_executor()),
      context_(busContext),
      number_(++busContext.lastClient),
      serviceName_(service),
      events_(std::move(peerEvents)),
      unfinished_(context_.unfinishedInput, [this] { drop(); }) {}

void WebSocketPeer::accept(Request request) {
    handshake_ = std::move(request);
    const auto agent = handshake_[beast::http::field::user_agent];
    program_ = internal::escapedText(shortened({agent.data(), agent.size()}));
    ErrorCode isGone;
    const auto endpoint = webSocket_.next_layer().socket().remote_endpoint(isGone);
    address_ = isGone ? "" : endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
    std::string padding;
    if (const auto fault = context_.faults.find("/" + serviceName_)) {
        padding.assign(fault->paddedTo, 'x');
    }
    // There is no idle limit: it would need a timer per message, and a silent client is not an error.
    webSocket_.set_option(
        websocket::stream_base::timeout{context_.patience, websocket::stream_base::none(), false});
    webSocket_.set_option(websocket::stream_base::decorator([padding](websocket::response_type& response) {
        response.set(beast::http::field::sec_websocket_protocol, kSubProtocol);
        response.set(beast::http::field::server, "zeb-bus-sim");
        for (std::size_t begin = 0; begin < padding.size(); begin += kLongestField) {
            response.insert("X-Padding", padding.substr(begin, kLongestField));
        }
    }));
    webSocket_.read_message_max(kMaximumMessage);
    webSocket_.auto_fragment(false);
    webSocket_.text(true);
    webSocket_.async_accept(
        handshake_, linkedTo("accepting a WebSocket", [self = shared_from_this()](const ErrorCode& error) {
            self->handshake_ = {};
            if (error || self->over_) {  // it may be dropped before the handshake is complete
                self->ended("the handshake was not completed");
                return;
            }
            self->open_ = true;
            // Now it is the limit of a client's answer to a close.
            self->webSocket_.set_option(
                websocket::stream_base::timeout{kCloseTime, websocket::stream_base::none(), false});
            self->noteConnected();
            if (self->closing_) {
                self->sendClose();
            } else if (!self->frozen_) {  // it may be frozen before the handshake is complete
                self->read();
            }
        }));
}

void WebSocketPeer::noteConnected() {
    context_.observations.update([this](Observations::Numbers& numbers) {
        ++numbers.webSockets[serviceName_];
        ++numbers.handshakes[serviceName_];
    });
    BusEvent event;
    event.kind = BusEvent::Kind::Connected;
    event.client = number_;
    event.name = serviceName_;
    event.address = address_;
    event.program = program_;
    context_.journal.note(std::move(event));
}

void WebSocketPeer::noteViolation(const std::string& text) {
    BusEvent event;
    event.kind = BusEvent::Kind::Violation;
    event.client = number_;
    event.program = program_;
    event.text = text;
    context_.journal.note(std::move(event));
}

void WebSocketPeer::send(std::string head, SharedText data, SharedText tail) {
    Outgoing message{std::move(head), std::move(data), std::move(tail), false};
    if (context_.messageFaults.isSentTwice) {
        enqueueMessage(message);
    }
    enqueueMessage(message);
}

void WebSocketPeer::enqueueMessage(const Outgoing& message) {
    const std::size_t fragmentSize = context_.messageFaults.fragmentSize;
    if (fragmentSize == 0) {
        enqueue(message);
    } else {
        const auto textOf = [](const SharedText& text) { return text ? *text : std::string(); };
        sendBytes(fragmented(message.head + textOf(message.data) + textOf(message.tail), fragmentSize));
    }
}

void WebSocketPeer::sendBytes(std::string bytes) {
    enqueue({std::move(bytes), nullptr, nullptr, true});
}

void WebSocketPeer::enqueue(Outgoing outgoing) {
    if (closing_ || over_ || overflown_) {
        return;
    }
    queue_.push_back(std::move(outgoing));
    setQueueSize(queueSize_ + queue_.back().size());
    context_.observations.addUnsent(1);
    if (queueSize_ > kMaximumQueue || (context_.queuedBytes > kMaximumQueues && queueSize_ > kSmallQueue)) {
        overflown_ = true;
        clearQueue(writing_ ? 1 : 0);
        // Later, because closing ends the subscriptions, and the caller may be iterating over them.
        asio::post(webSocket_.get_executor(), linkedTo("closing a WebSocket", [self = shared_from_this()] {
                       self->close(websocket::close_code::try_again_later);
                   }));
        return;
    }
    if (!writing_ && !frozen_) {
        writeNext();
    }
}

void WebSocketPeer::writeNext() {
    writing_ = true;
    lastWrite_ = std::chrono::steady_clock::now();
    const Outgoing& next = queue_.front();
    const auto bufferOf = [](const SharedText& text) {
        return text ? asio::buffer(*text) : asio::const_buffer();
    };
    const std::array<asio::const_buffer, 3> buffers{asio::buffer(next.head), bufferOf(next.data),
                                                    bufferOf(next.tail)};
    auto handler =
        linkedTo("writing a message",
                 [self = shared_from_this()](const ErrorCode& error, std::size_t) { self->written(error); });
    if (next.raw) {
        asio::async_write(webSocket_.next_layer(), buffers, std::move(handler));
    } else {
        webSocket_.async_write(buffers, std::move(handler));
    }
}

void WebSocketPeer::written(const ErrorCode& error) {
    writing_ = false;
    if (over_ || frozen_) {
        return;
    }
    if (error) {
        clearQueue(0);
        closing_ ? sendClose() : ended("the client has gone: " + error.message());
        return;
    }
    setQueueSize(queueSize_ - queue_.front().size());
    queue_.pop_front();
    context_.observations.removeUnsent(1);
    if (!queue_.empty()) {
        writeNext();
    } else if (closing_) {
        sendClose();
    }
    events_.sent();  // last, because it may send more
}

void WebSocketPeer::clearQueue(std::size_t keep) {
    const std::size_t dropped = queue_.size() - keep;
    const std::size_t sizeBefore = queueSize_;
    queue_.resize(keep);
    queue_.shrink_to_fit();
    setQueueSize(keep == 0 ? 0 : queue_.front().size());
    context_.observations.removeUnsent(dropped);
    if (sizeBefore > kLargeQueue) {
        ::malloc_trim(0);  // the allocator would keep the memory of that many small pieces
    }
}

void WebSocketPeer::setQueueSize(std::size_t size) {
    context_.queuedBytes += size;
    context_.queuedBytes -= queueSize_;
    queueSize_ = size;
}

void WebSocketPeer::close(std::uint16_t code) {
    if (closing_ || over_) {
        return;
    }
    if (frozen_) {
        drop();
        return;
    }
    closing_ = true;
    closeCode_ = code;
    context_.subscriptions.leave(*this);
    closeTimer_.expires_after(kCloseTime);
    closeTimer_.async_wait([self = shared_from_this()](const ErrorCode& error) {
        if (!error) {
            self->drop();
        }
    });
    if (open_ && !writing_) {
        sendClose();
    }
}

void WebSocketPeer::sendClose() {
    webSocket_.async_close(
        closeCode_, linkedTo("closing a WebSocket", [self = shared_from_this()](const ErrorCode&) {
            self->ended("the bus has closed it with code " + std::to_string(self->closeCode_));
        }));
}

void WebSocketPeer::drop() {
    ErrorCode ignored;
    webSocket_.next_layer().socket().set_option(asio::socket_base::linger(true, 0), ignored);
    ended("the bus has reset it");
}

void WebSocketPeer::end() {
    ended("the bus has ended it without a close frame");
}

void WebSocketPeer::freeze() {
    frozen_ = true;
    webSocket_.next_layer().freeze();
}

void WebSocketPeer::read() {
    webSocket_.async_read_some(
        readBuffer_, kPiece,
        linkedTo("reading a message", [self = shared_from_this()](const ErrorCode& error, std::size_t) {
            self->received(error);
        }));
}

void WebSocketPeer::received(const ErrorCode& error) {
    if (over_ || frozen_) {
        return;
    }
    if (error) {
        if (!closing_) {  // while closing, the close operation ends the peer
            if (error.category() == make_error_code(websocket::error::bad_opcode).category() &&
                error != websocket::error::closed) {
                noteViolation("A frame that cannot be read: " + error.message());
            }
            ended(error == websocket::error::closed
                      ? "the client has closed it with code " + std::to_string(webSocket_.reason().code)
                      : "the client has gone: " + error.message());
        }
        return;
    }
    lastRead_ = std::chrono::steady_clock::now();
    if (closing_) {
        readBuffer_.consume(readBuffer_.size());
    } else if (webSocket_.is_message_done()) {
        messageReceived();
    } else {
        messageContinues();
    }
    if (!over_) {
        read();
    }
}

void WebSocketPeer::messageContinues() {
    if (!unfinished_.isUnfinished()) {
        messageTimer_.expires_after(context_.patience);
        messageTimer_.async_wait([self = shared_from_this()](const ErrorCode& error) {
            // It may expire, and another message may begin before this handler runs.
            const bool isPutOff = self->messageTimer_.expiry() > std::chrono::steady_clock::now();
            if (!error && !isPutOff && self->unfinished_.isUnfinished()) {
                self->close(websocket::close_code::policy_error);
            }
        });
    }
    unfinished_.setSize(readBuffer_.capacity());
}

void WebSocketPeer::messageReceived() {
    if (unfinished_.isUnfinished()) {
        unfinished_.finish();
        messageTimer_.cancel();
    }
    if (webSocket_.got_binary()) {
        noteViolation("A binary message; the protocol has text only");
        close(websocket::close_code::unknown_data);
    } else {
        context_.subscriptions.receive(*this, beast::buffers_to_string(readBuffer_.data()));
    }
    readBuffer_.consume(readBuffer_.size());
    if (readBuffer_.capacity() > kKeptBuffer) {
        readBuffer_.shrink_to_fit();  // one large message is no reason to keep its memory
    }
}

std::optional<std::chrono::steady_clock::time_point> WebSocketPeer::waitingSince() const {
    if (frozen_) {
        return lastRead_;
    }
    if (writing_) {
        return lastWrite_;
    }
    return context_.subscriptions.has(*this) ? std::nullopt : std::make_optional(lastRead_);
}

void WebSocketPeer::ended(const std::string& reason) {
    if (over_) {
        return;
    }
    const std::shared_ptr<WebSocketPeer> self = shared_from_this();
    context_.subscriptions.leave(*this);  // first: without memory it throws, and is tried again
    over_ = true;
    clearQueue(writing_ ? 1 : 0);  // a pending write still needs its buffers
    setQueueSize(0);
    if (writing_) {
        context_.observations.removeUnsent(1);
    }
    closeTimer_.cancel();
    messageTimer_.cancel();
    unfinished_.finish();
    webSocket_.next_layer().close();
    if (open_) {
        context_.observations.update(
            [&](Observations::Numbers& numbers) { --numbers.webSockets[serviceName_]; });
        BusEvent event;
        event.kind = BusEvent::Kind::Disconnected;
        event.client = number_;
        event.name = serviceName_;
        event.program = program_;
        event.text = reason;
        context_.journal.note(std::move(event));
    }
    events_.ended(self);
}

}  // namespace zebbussim
