#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/streambuf.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "Departures.h"
#include "HttpAnswers.h"
#include "Pace.h"

namespace bench {

class Peer;

/// A server of the ClampControl service for benchmarks, with any number of clients and of subscriptions per
/// client. It prints its port, waits for "start" on its standard input, and sends the given number of changes
/// to every subscription of every client. Clients and subscriptions that come later receive the present state
/// only. One thread.
class Bus {
 public:
    Bus(Departures& departures, std::size_t elements);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// Returns at the end of the standard input.
    void run();

    // Called by its peers.
    const HttpAnswers& answers() const { return answers_; }
    std::size_t elementSize() const { return departures_.size(); }
    TimeTable& times() { return departures_.times(); }
    /// @return the peer's number
    std::size_t join(const std::shared_ptr<Peer>& peer);
    void leave(const std::shared_ptr<Peer>& peer);

 private:
    void accept();
    void readCommand();
    void begin();
    void sendNext();
    void flood();
    void end();

    Departures& departures_;
    const HttpAnswers answers_;
    boost::asio::io_context context_{1};
    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::steady_timer timer_;
    boost::asio::posix::stream_descriptor input_;
    boost::asio::streambuf command_;

    std::vector<std::shared_ptr<Peer>> peers_;
    std::size_t joined_ = 0;
    std::vector<std::shared_ptr<Peer>> receivers_;  ///< those that were connected at the start
    std::optional<Pace> pace_;
    std::int64_t next_ = 0;
    std::size_t floods_ = 0;
};

}  // namespace bench
