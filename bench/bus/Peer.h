#pragma once

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "FrameReader.h"
#include "HttpAnswers.h"
#include "NotificationFrame.h"

namespace bench {

class Bus;

/// One connection of a client: HTTP first, a WebSocket from the upgrade on. Beast does the handshake; the
/// frames after it are made here, since they are known beforehand.
///
/// Owner: its own pending operations. Thread: that of the bus.
class Peer : public std::enable_shared_from_this<Peer> {
 public:
    Peer(Bus& bus, boost::asio::ip::tcp::socket socket);

    void start();

    std::size_t subscriptions() const { return frames_.size(); }
    /// Which of the WebSockets it is, in the order of their coming.
    std::size_t number() const { return number_; }
    /// How many notifications it was sent, without the present states.
    std::int64_t sent() const { return sent_; }

    /// Sends every subscription one change, at once if the socket takes it.
    void sendChange(bool isSwitchedOn);
    /// Sends every subscription the changes 0 to count - 1, as fast as the socket takes them, then calls
    /// `done`.
    void flood(std::int64_t count, std::function<void()> done);

 private:
    void readRequest();
    void onRequest();
    void upgrade();
    void readFrames();
    void onFrame(const FrameReader::Frame& frame);
    void onText(const std::string& text);

    void appendChange(bool isSwitchedOn, std::int64_t now);
    void fillFromFlood();
    void write();
    void end();

    Bus& bus_;
    boost::asio::ip::tcp::socket socket_;

    boost::beast::flat_buffer httpBuffer_;
    HttpAnswers::Request request_;
    HttpAnswers::Response response_;

    std::size_t number_ = 0;
    FrameReader reader_;
    std::array<char, 4096> inbound_{};
    std::vector<NotificationFrame> frames_;
    std::int64_t sent_ = 0;

    std::string waiting_;  ///< whole frames that no write operation has yet
    std::string writing_;
    bool isWriting_ = false;

    std::int64_t floodNext_ = 0;
    std::int64_t floodEnd_ = 0;
    std::function<void()> floodDone_;
};

}  // namespace bench
