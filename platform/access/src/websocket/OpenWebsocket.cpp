#include "OpenWebsocket.h"

#include <zeb/ZebException.h>

#include <boost/asio/buffer.hpp>
#include <exception>
#include <utility>

namespace zeb {

namespace {

namespace websocket = boost::beast::websocket;
using CloseCode = WebsocketStream::CloseCode;

constexpr std::size_t kMaximumMessageSize = std::size_t{1} * 1024 * 1024;
// The requests for all subscriptions that a bus can have need about half of it.
constexpr std::size_t kMostOutgoingBytes = std::size_t{64} * 1024 * 1024;
constexpr std::size_t kKeptBufferSize = std::size_t{64} * 1024;
// How long a peer may take to answer a close. After a violation Beast reports the end of the connection only
// when this is over.
constexpr std::chrono::seconds kCloseTimeLimit{1};

}  // namespace

OpenWebsocket::OpenWebsocket(boost::asio::io_context& context, WebsocketStream& stream,
                             NotificationDelivery& delivery, std::chrono::milliseconds pingInterval,
                             std::chrono::milliseconds pongTimeout, Owner& owner)
    : stream_(stream),
      delivery_(delivery),
      owner_(owner),
      watchdog_(context, pingInterval, pongTimeout, *this) {}

void OpenWebsocket::start() {
    // No timer of Beast's runs while the connection is open: it would cost more than the reads it watches.
    stream_.beast().set_option(
        websocket::stream_base::timeout{kCloseTimeLimit, websocket::stream_base::none(), false});
    stream_.beast().read_message_max(kMaximumMessageSize);
    // What came before a ping or close does not wait until the answer to it has been taken.
    stream_.beast().control_callback(
        [this](websocket::frame_type, boost::beast::string_view) { delivery_.announce(); });
    watchdog_.start();
    if (!isOver_) {
        readNext();
    }
}

void OpenWebsocket::stop() {
    isOver_ = true;
    watchdog_.stop();
}

void OpenWebsocket::lose(const std::string& reason) {
    if (!isOver_) {
        owner_.onLost(reason);
    }
}

// ---------------------------------------------------------------------------------------------- receiving

void OpenWebsocket::readNext() {
    // Reads some instead of all of a message: a large one that arrives slowly is a sign of life too.
    //
    // This is also where a burst is sent on to the executor, which nothing here shows. As long as Beast has
    // bytes left from the last read of the socket, it goes on with these. When they are used up it asks the
    // transport for more, and TransportStream::async_read_some() calls onAllReadUsed() first.
    stream_.beast().async_read_some(
        readBuffer_, 0,
        [this, alive = owner_.keepAlive()](const ErrorCode& error, std::size_t) { onRead(error); });
}

void OpenWebsocket::onAllReadUsed() {
    watchdog_.noteInbound();
    delivery_.announce();
}

void OpenWebsocket::onRead(const ErrorCode& error) {
    if (isOver_) {
        readBuffer_ = {};  // nobody reads any more, and this object may live on
        return;
    }
    if (error) {
        lose(whyLost(error));
        return;
    }
    watchdog_.noteUse();
    if (stream_.beast().is_message_done() && !takeMessage()) {
        return;
    }
    if (delivery_.hasRoom()) {
        readNext();
    } else {
        pauseReading();
    }
}

// TCP slows the sender until the executor has caught up.
void OpenWebsocket::pauseReading() {
    isReadingPaused_ = true;
    watchdog_.pauseReading();
    if (!isWatched_) {
        watchPausedConnection();
    }
}

// Without a read, nothing else would report that the connection is lost. An end that the server has announced
// behind what waits to be read is not an error of the socket, so it is found when a ping gets no answer but a
// reset, or when reading goes on.
void OpenWebsocket::watchPausedConnection() {
    isWatched_ = true;
    auto& transport = stream_.beast().next_layer();
    transport.socket().async_wait(TransportStream::Socket::wait_error,
                                  [this, &transport, alive = owner_.keepAlive()](const ErrorCode& error) {
                                      // While reading goes on, a read reports it. Urgent data ends the wait,
                                      // too, and is no failure.
                                      const ErrorCode failure = !error && isReadingPaused_
                                                                    ? transport.failureOfConnection()
                                                                    : ErrorCode();
                                      if (failure) {
                                          lose(whyLost(failure));
                                      }
                                  });
}

std::string OpenWebsocket::whyLost(const ErrorCode& error) {
    if (error == websocket::error::closed) {
        const auto code = stream_.beast().reason().code;
        return code == CloseCode::none ? "closed by the server without a code"
                                       : "closed by the server with code " + std::to_string(code);
    }
    // What the server did comes first. How it left is known best by the operation that has found it gone.
    const bool isOfServer =
        error.category() == websocket::make_error_code(websocket::error::closed).category();
    const ErrorCode& ofWrite = stream_.beast().next_layer().writeFailure();
    return ofWrite && !isOfServer ? "send: " + ofWrite.message() : error.message();
}

// Whether to go on reading.
bool OpenWebsocket::takeMessage() {
    if (!stream_.beast().got_text()) {
        owner_.onViolation(CloseCode::unknown_data, "the server sent a binary message");
        return false;
    }
    const auto received = readBuffer_.cdata();
    try {
        owner_.onMessage({static_cast<const char*>(received.data()), received.size()});
    } catch (const std::exception& exception) {
        // What it said is lost; a new connection brings the present state.
        owner_.onViolation(CloseCode::bad_payload, exception.what());
        return false;
    }
    readBuffer_.clear();
    if (readBuffer_.capacity() > kKeptBufferSize) {
        readBuffer_.shrink_to_fit();
    }
    return !isOver_;
}

void OpenWebsocket::resumeReading() {
    if (!isOver_) {
        isReadingPaused_ = false;
        watchdog_.resumeReading();
        readNext();
    }
}

// ---------------------------------------------------------------------------------------------- sending

void OpenWebsocket::send(std::string message) {
    if (outgoingBytes_ + message.size() > kMostOutgoingBytes) {
        throw ZebException("the server has left " + std::to_string(outgoingBytes_) + " bytes unread",
                           "WebSocket");
    }
    outgoingBytes_ += message.size();
    outgoing_.push_back(std::move(message));
    if (outgoing_.size() == 1) {
        writeNext();
    }
}

void OpenWebsocket::writeNext() {
    stream_.beast().text(true);
    stream_.beast().async_write(boost::asio::buffer(outgoing_.front()),
                                [this, alive = owner_.keepAlive()](const ErrorCode& error, std::size_t) {
                                    outgoingBytes_ -= outgoing_.front().size();
                                    outgoing_.pop_front();
                                    if (error) {
                                        lose("send: " + error.message());
                                    } else if (!outgoing_.empty() && !isOver_) {
                                        writeNext();
                                    }
                                });
}

// ---------------------------------------------------------------------------------------------- watching

void OpenWebsocket::sendPing() {
    stream_.beast().async_ping({}, [this, alive = owner_.keepAlive()](const ErrorCode& error) {
        watchdog_.pingSent();
        if (error) {
            lose("ping: " + error.message());
        }
    });
}

bool OpenWebsocket::hasUnread() {
    return stream_.beast().next_layer().isReadable();
}

void OpenWebsocket::onSilence(std::chrono::milliseconds silence) {
    lose("nothing received for " + std::to_string(silence.count()) + " ms");
}

}  // namespace zeb
