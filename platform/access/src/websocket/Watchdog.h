#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>

namespace zeb {

/// Watches an open connection: asks for a ping in every interval, and reports silence when nothing at all has
/// arrived for the pong timeout. Knows nothing of sockets. Owned by an OpenWebsocket, on the I/O thread.
class Watchdog {
 public:
    class Owner {
     public:
        /// A ping is due. The owner calls pingSent() when it has gone out; until then no other one is asked
        /// for.
        virtual void sendPing() = 0;
        /// Nothing has arrived for `silence`. The watchdog has stopped.
        virtual void onSilence(std::chrono::milliseconds silence) = 0;
        /// Whether something has arrived that has not been read yet.
        virtual bool hasUnread() = 0;
        /// Keeps the watchdog alive while its timer runs.
        virtual std::shared_ptr<void> keepAlive() = 0;

     protected:
        ~Owner() = default;
    };

    /// With an interval of zero it does nothing; with a timeout of zero it pings only. `owner` outlives it.
    Watchdog(boost::asio::io_context& context, std::chrono::milliseconds pingInterval,
             std::chrono::milliseconds pongTimeout, Owner& owner);

    void start();
    void stop();

    /// Everything that has arrived was used.
    void noteInbound() {
        lastInbound_ = Clock::now();
        isUsing_ = false;
    }
    /// A part of what has arrived was used. Costs nothing, in contrast to a look at the clock.
    void noteUse() { isUsing_ = true; }
    void pingSent() { isPinging_ = false; }

    /// Between these nobody reads, so silence says nothing about the peer.
    void pauseReading() { isReadingPaused_ = true; }
    void resumeReading();

 private:
    using Clock = std::chrono::steady_clock;

    void check();

    const std::chrono::milliseconds pingInterval_;
    const std::chrono::milliseconds pongTimeout_;
    Owner& owner_;
    boost::asio::steady_timer nextCheck_;
    Clock::time_point lastInbound_;
    Clock::time_point nextPing_;
    bool isPinging_ = false;
    bool isReadingPaused_ = false;
    bool isUsing_ = false;  ///< since the last time that everything was used
    bool isStopped_ = false;
};

}  // namespace zeb
