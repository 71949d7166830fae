#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <set>

namespace zebbussim {

/// The cable between the bus and its clients. What is sent leaves at once, slowly, or not at all. It tells
/// the streams how long to wait, and wakes them when it changes.
///
/// Used on the bus's thread. The streams of a server share it.
class Line {
 public:
    using Clock = std::chrono::steady_clock;

    /// Nothing leaves until this is false again. It is kept, not lost.
    void setStalled(bool isStalled) {
        isStalled_ = isStalled;
        wakeAll();
    }
    /// 0: as fast as it goes.
    void setBytesPerSecond(std::size_t bytes) {
        bytesPerSecond_ = bytes;
        wakeAll();
    }
    bool isNormal() const { return !isStalled_ && bytesPerSecond_ == 0; }

    /// When the next piece may leave.
    Clock::time_point nextPiece(Clock::time_point previous) const {
        if (isStalled_) {
            return Clock::time_point::max();
        }
        return bytesPerSecond_ == 0 ? Clock::now() : previous + kPieceTime;
    }
    /// How large it may be.
    std::size_t pieceSize() const {
        constexpr std::size_t kPiecesPerSecond = std::chrono::seconds(1) / kPieceTime;
        return bytesPerSecond_ == 0 ? kWholeSize
                                    : (bytesPerSecond_ + kPiecesPerSecond - 1) / kPiecesPerSecond;
    }

    void addSleeper(boost::asio::steady_timer& timer) { sleepers_.insert(&timer); }
    void removeSleeper(boost::asio::steady_timer& timer) { sleepers_.erase(&timer); }

 private:
    static constexpr std::chrono::milliseconds kPieceTime{10};
    static constexpr std::size_t kWholeSize = static_cast<std::size_t>(-1);

    void wakeAll() {
        const std::set<boost::asio::steady_timer*> sleepers = sleepers_;
        for (boost::asio::steady_timer* const timer : sleepers) {
            timer->cancel();
        }
    }

    bool isStalled_ = false;
    std::size_t bytesPerSecond_ = 0;
    std::set<boost::asio::steady_timer*> sleepers_;
};

}  // namespace zebbussim
