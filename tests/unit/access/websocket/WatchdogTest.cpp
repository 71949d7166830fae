#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <memory>

#include "websocket/Watchdog.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kPingInterval = 5ms;
constexpr auto kPongTimeout = 20ms;

/// A watchdog over a connection that the test plays. Its timers run until it has found silence.
class Watchdog : public testing::Test, private zeb::Watchdog::Owner {
 protected:
    /// How long it takes until the server is found silent.
    Clock::duration timeUntilSilence() {
        const auto begin = Clock::now();
        sut.start();
        context.run();
        return Clock::now() - begin;
    }

    boost::asio::io_context context;
    zeb::Watchdog sut{context, kPingInterval, kPongTimeout, *this};
    int unreadTimes = 0;  ///< how often something waits to be read when the watchdog asks
    bool isUsedWithFirstPing = false;
    int pings = 0;

 private:
    void sendPing() override {
        if (++pings == 1 && isUsedWithFirstPing) {
            sut.noteUse();
        }
        sut.pingSent();
    }
    void onSilence(std::chrono::milliseconds silence) override { EXPECT_EQ(silence, kPongTimeout); }
    bool hasUnread() override { return unreadTimes-- > 0; }
    std::shared_ptr<void> keepAlive() override { return nullptr; }
};

TEST_F(Watchdog, FindsAServerSilentFromWhichNothingArrives) {
    EXPECT_GE(timeUntilSilence(), kPongTimeout);
    EXPECT_GE(pings, 1);
}

TEST_F(Watchdog, TakesNoServerForSilentWhoseBytesWaitToBeRead) {
    unreadTimes = 2;
    EXPECT_GE(timeUntilSilence(), 3 * kPongTimeout);
}

TEST_F(Watchdog, FindsAServerSilentOnceEverythingWasUsed) {
    isUsedWithFirstPing = true;
    EXPECT_GE(timeUntilSilence(), 2 * kPongTimeout);
}

TEST_F(Watchdog, FindsNoSilenceWhileNobodyReads) {
    sut.pauseReading();
    sut.start();
    context.run_for(3 * kPongTimeout);
    EXPECT_FALSE(context.stopped());
    sut.stop();
}

}  // namespace
