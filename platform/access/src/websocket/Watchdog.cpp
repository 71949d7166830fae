#include "Watchdog.h"

#include <algorithm>

namespace zeb {

Watchdog::Watchdog(boost::asio::io_context& context, std::chrono::milliseconds pingInterval,
                   std::chrono::milliseconds pongTimeout, Owner& owner)
    : pingInterval_(pingInterval), pongTimeout_(pongTimeout), owner_(owner), nextCheck_(context) {}

void Watchdog::start() {
    if (pingInterval_ <= std::chrono::milliseconds(0)) {
        return;
    }
    noteInbound();
    nextPing_ = lastInbound_ + pingInterval_;
    check();
}

void Watchdog::stop() {
    isStopped_ = true;
    nextCheck_.cancel();
}

void Watchdog::resumeReading() {
    isReadingPaused_ = false;
    noteInbound();
}

void Watchdog::check() {
    const auto now = Clock::now();
    if (isReadingPaused_) {
        lastInbound_ = now;
    }
    const bool isLimited = pongTimeout_ > std::chrono::milliseconds(0);
    if (isLimited && now >= lastInbound_ + pongTimeout_ && (isUsing_ || owner_.hasUnread())) {
        // The server is not silent. This thread had no processor, or has had too much to do.
        lastInbound_ = now;
        isUsing_ = false;
    }
    const auto lostAt = lastInbound_ + pongTimeout_;
    if (isLimited && now >= lostAt) {
        stop();
        owner_.onSilence(pongTimeout_);
        return;
    }
    if (now >= nextPing_ && !isPinging_) {
        nextPing_ = now + pingInterval_;
        isPinging_ = true;
        owner_.sendPing();
    }
    nextCheck_.expires_at(lostAt > now ? std::min(nextPing_, lostAt) : nextPing_);
    nextCheck_.async_wait([this, alive = owner_.keepAlive()](const boost::system::error_code& error) {
        if (!error && !isStopped_) {
            check();
        }
    });
}

}  // namespace zeb
