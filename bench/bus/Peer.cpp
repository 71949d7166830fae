#include "Peer.h"

#include <boost/asio/write.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <utility>

#include "Bus.h"
#include "MonotonicClock.h"

namespace bench {

namespace asio = boost::asio;
namespace beast = boost::beast;
using beast::error_code;

namespace {

// Size of one write in a flood: large enough to make the cost of the system call negligible.
constexpr std::size_t kFloodWriteSize = std::size_t{64} * 1024;

/// The text of a member of a request. The requests of the measured clients need no parser.
std::string member(const std::string& text, const std::string& name) {
    const std::size_t key = text.find('"' + name + '"');
    if (key == std::string::npos) {
        return {};
    }
    const std::size_t begin = text.find('"', text.find(':', key)) + 1;
    return text.substr(begin, text.find('"', begin) - begin);
}

}  // namespace

Peer::Peer(Bus& bus, asio::ip::tcp::socket socket) : bus_(bus), socket_(std::move(socket)) {}

void Peer::start() {
    socket_.set_option(asio::ip::tcp::no_delay(true));
    readRequest();
}

// ---------------------------------------------------------------------------------------------- HTTP

void Peer::readRequest() {
    request_ = {};
    beast::http::async_read(socket_, httpBuffer_, request_,
                            [self = shared_from_this()](const error_code& error, std::size_t) {
                                if (!error) {
                                    self->onRequest();
                                }
                            });
}

void Peer::onRequest() {
    if (beast::websocket::is_upgrade(request_)) {
        upgrade();
        return;
    }
    response_ = bus_.answers().answer(request_);
    beast::http::async_write(socket_, response_,
                             [self = shared_from_this()](const error_code& error, std::size_t) {
                                 if (!error && self->response_.keep_alive()) {
                                     self->readRequest();
                                 }
                             });
}

void Peer::upgrade() {
    beast::websocket::stream<asio::ip::tcp::socket&> handshake(socket_);
    handshake.set_option(
        beast::websocket::stream_base::decorator([](beast::websocket::response_type& response) {
            response.set(beast::http::field::sec_websocket_protocol, "zeb.v1");
        }));
    error_code error;
    handshake.accept(request_, error);
    if (error) {
        return;
    }
    number_ = bus_.join(shared_from_this());
    socket_.non_blocking(true);
    readFrames();
}

// ---------------------------------------------------------------------------------------------- WebSocket

void Peer::readFrames() {
    socket_.async_read_some(asio::buffer(inbound_),
                            [self = shared_from_this()](const error_code& error, std::size_t size) {
                                if (error) {
                                    self->end();
                                    return;
                                }
                                self->reader_.append(self->inbound_.data(), size);
                                while (const auto frame = self->reader_.next()) {
                                    self->onFrame(*frame);
                                }
                                if (self->socket_.is_open()) {
                                    self->readFrames();
                                }
                            });
}

void Peer::onFrame(const FrameReader::Frame& inbound) {
    if (inbound.opcode == FrameReader::TEXT) {
        onText(inbound.payload);
    } else if (inbound.opcode == FrameReader::PING) {
        waiting_ += frame(FrameReader::PONG, inbound.payload);
    } else if (inbound.opcode == FrameReader::CLOSE) {
        waiting_ += frame(FrameReader::CLOSE, inbound.payload);
    }
    write();
}

void Peer::onText(const std::string& text) {
    const std::string action = member(text, "action");
    const std::string requestId = member(text, "requestId");
    std::string subscriptionId = member(text, "subscriptionId");
    if (action == "subscribe") {
        const std::size_t element = bus_.answers().elementAt(member(text, "path"));
        if (element == 0) {
            waiting_ += frame(
                FrameReader::TEXT,
                R"({"action":"subscribe","requestId":")" + requestId +
                    R"(","error":{"number":404,"reason":"unavailable_data","message":"no such element"},)"
                    R"("ts":"2026-01-31T12:34:56.123456Z"})");
            return;
        }
        subscriptionId = std::to_string(frames_.size() + 1);
        frames_.emplace_back(element, bus_.elementSize(), subscriptionId);
    }
    waiting_ += frame(FrameReader::TEXT, R"({"action":")" + action + R"(","requestId":")" + requestId +
                                             R"(","subscriptionId":")" + subscriptionId +
                                             R"(","ts":"2026-01-31T12:34:56.123456Z"})");
    if (action == "subscribe") {
        frames_.back().appendNext(waiting_, false);
    }
}

// ---------------------------------------------------------------------------------------------- sending

void Peer::appendChange(bool isSwitchedOn, std::int64_t now) {
    for (NotificationFrame& notification : frames_) {
        bus_.times().set(TimeTable::sentColumn(number_), static_cast<std::size_t>(sent_++), now);
        notification.appendNext(waiting_, isSwitchedOn);
    }
}

void Peer::sendChange(bool isSwitchedOn) {
    appendChange(isSwitchedOn, monotonicNanoseconds());
    write();
}

void Peer::flood(std::int64_t count, std::function<void()> done) {
    floodNext_ = 0;
    floodEnd_ = count;
    floodDone_ = std::move(done);
    fillFromFlood();
    write();
}

void Peer::fillFromFlood() {
    const std::int64_t now = monotonicNanoseconds();
    while (floodNext_ < floodEnd_ && waiting_.size() < kFloodWriteSize) {
        appendChange(Departures::isSwitchedOn(floodNext_++), now);
    }
}

void Peer::write() {
    if (isWriting_ || waiting_.empty()) {
        return;
    }
    // The socket usually accepts everything at once, and then no asynchronous operation is needed.
    error_code error;
    const std::size_t written = socket_.write_some(asio::buffer(waiting_), error);
    if (error && error != asio::error::would_block) {
        end();
        return;
    }
    std::swap(writing_, waiting_);
    waiting_.clear();
    const auto onWritten = [self = shared_from_this()](const error_code& failure, std::size_t) {
        self->isWriting_ = false;
        if (failure) {
            self->end();
            return;
        }
        if (self->floodNext_ < self->floodEnd_) {
            self->fillFromFlood();
        } else if (self->floodDone_) {
            std::exchange(self->floodDone_, nullptr)();
        }
        self->write();
    };
    if (written == writing_.size() && !floodDone_) {
        return;
    }
    isWriting_ = true;
    asio::async_write(socket_, asio::buffer(writing_) + written, onWritten);
}

void Peer::end() {
    error_code ignored;
    socket_.close(ignored);
    bus_.leave(shared_from_this());
}

}  // namespace bench
