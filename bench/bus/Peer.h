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

/// One connection of a client: HTTP first, a WebSocket after the upgrade. Beast does the handshake. The
/// frames that follow are built here because their contents are known in advance.
///
/// Owner: its pending operations. Thread: the thread of the bus.
class Peer : public std::enable_shared_from_this<Peer> {
 public:
    Peer(Bus& bus, boost::asio::ip::tcp::socket socket);

    void start();

    std::size_t subscriptions() const { return frames_.size(); }
    /// The number of this WebSocket, in the order in which they connected.
    std::size_t number() const { return number_; }
    /// The number of notifications sent to it, not counting present states.
    std::int64_t sent() const { return sent_; }

    /// Sends one change to every subscription, immediately if the socket accepts it.
    void sendChange(bool isSwitchedOn);
    /// Sends the changes 0 to count - 1 to every subscription, as fast as the socket accepts them, then calls
    /// `done`.
    void flood(std::int64_t count, std::function<void()> done);

 private:
    void readRequest();
    void onRequest();
    void upgrade();
    void readFrames();
    void onFrame(const FrameReader::Frame& inbound);
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

    std::string waiting_;  ///< whole frames that no write operation has taken yet
    std::string writing_;
    bool isWriting_ = false;

    std::int64_t floodNext_ = 0;
    std::int64_t floodEnd_ = 0;
    std::function<void()> floodDone_;
};

}  // namespace bench
