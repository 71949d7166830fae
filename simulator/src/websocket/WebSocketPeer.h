#pragma once

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "http/GrowingBody.h"
#include "server/BusContext.h"
#include "server/BusStream.h"
#include "server/Chained.h"
#include "server/UnfinishedInput.h"

namespace zebbussim {

/// The server's end of one WebSocket. Owned by the server's set of peers and by its own pending operations.
/// Used on the bus's thread.
class WebSocketPeer : public Subscriber, public Chained, public std::enable_shared_from_this<WebSocketPeer> {
 public:
    static constexpr const char* kSubProtocol = "zeb.v1";
    /// If more bytes than this are queued for a client that does not read, its WebSocket is closed.
    static constexpr std::size_t kMaximumQueue = 64 * 1024 * 1024;
    /// If more is queued for all clients together, those with more than a small queue are closed, too.
    static constexpr std::size_t kMaximumQueues = 256 * 1024 * 1024;
    static constexpr std::size_t kSmallQueue = 2 * 1024 * 1024;

    struct Events {
        std::function<void(const std::shared_ptr<WebSocketPeer>&)> ended;
        std::function<void()> sent;
    };
    using Request = boost::beast::http::request<GrowingBody>;

    WebSocketPeer(BusStream&& stream, BusContext& busContext, const std::string& service, Events peerEvents);

    /// Answers the handshake and starts to serve.
    void accept(Request request);

    void send(std::string head, SharedText data, SharedText tail) override;
    const std::string& program() const override { return program_; }
    const std::string& service() const override { return serviceName_; }
    std::uint64_t client() const override { return number_; }

    void sendBytes(std::string bytes) override;
    /// Ends the subscriptions, sends the queued messages, then closes. Resets the connection after two
    /// seconds.
    void close(std::uint16_t code);
    /// Resets the connection.
    void drop();
    /// Ends the connection without a close frame.
    void end();
    /// Stops reading and sending.
    void freeze();

    std::size_t queuedBytes() const { return queueSize_; }
    /// Since when the client has read nothing of what is sent, or has sent nothing and has no subscription;
    /// nothing for one that waits for notifications.
    std::optional<std::chrono::steady_clock::time_point> waitingSince() const;

 private:
    struct Outgoing {
        std::string head;
        SharedText data;
        SharedText tail;
        bool raw;
        /// What it takes of memory, which may be twice the text.
        std::size_t size() const {
            return sizeof(Outgoing) + head.capacity() + (data ? data->size() : 0) + (tail ? tail->size() : 0);
        }
    };
    using ErrorCode = boost::system::error_code;

    template <typename Handler>
    auto linkedTo(const char* activity, Handler handler) {
        return linked(shared_from_this(), activity, std::move(handler));
    }
    void enqueue(Outgoing outgoing);
    void enqueueMessage(const Outgoing& message);
    void noteConnected();
    void noteViolation(const std::string& text);
    void writeNext();
    void written(const ErrorCode& error);
    /// Drops all messages but the first `keep`, and gives their memory back.
    void clearQueue(std::size_t keep);
    void setQueueSize(std::size_t size);
    void sendClose();
    void read();
    void received(const ErrorCode& error);
    void messageReceived();
    void messageContinues();
    void ended(const std::string& reason);

    boost::beast::websocket::stream<BusStream, false> webSocket_;
    boost::asio::steady_timer closeTimer_;
    boost::asio::steady_timer messageTimer_;  ///< runs while a message is incomplete
    BusContext& context_;
    const std::uint64_t number_;
    std::string serviceName_;
    std::string address_;  ///< of the client
    std::string program_;  ///< of the client, as it calls itself
    Events events_;
    Request handshake_;  ///< until it is answered
    boost::beast::flat_buffer readBuffer_;
    UnfinishedInput::Part unfinished_;
    std::deque<Outgoing> queue_;
    std::size_t queueSize_ = 0;
    std::uint16_t closeCode_ = 0;
    std::chrono::steady_clock::time_point lastRead_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point lastWrite_ = lastRead_;
    bool open_ = false;
    bool writing_ = false;
    bool closing_ = false;
    bool overflown_ = false;
    bool frozen_ = false;
    bool over_ = false;
};

}  // namespace zebbussim
