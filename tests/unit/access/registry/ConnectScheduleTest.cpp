#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "registry/ConnectSchedule.h"

namespace {

using namespace std::chrono_literals;
using Clock = zeb::ConnectSchedule::Clock;

class ConnectSchedule : public testing::Test {
 protected:
    // One attempt at each of the addresses in turn, each of which fails at once. Returns the time that has
    // passed after `attempts` of them.
    template <typename NextAddress>
    std::chrono::milliseconds timeOf(int attempts, const NextAddress& nextAddress) {
        const auto start = now;
        for (int attempt = 0; attempt < attempts; ++attempt) {
            now = std::max(now, sut.plan(nextAddress(attempt), now));
            sut.over();
        }
        return std::chrono::duration_cast<std::chrono::milliseconds>(now - start);
    }

    zeb::ConnectSchedule sut{7};
    Clock::time_point now{1h};
};

TEST_F(ConnectSchedule, TriesTheFirstAddressAtOnce) {
    EXPECT_EQ(sut.plan("a", now), now);
}

TEST_F(ConnectSchedule, PausesLongerAndLongerAtOneAddress) {
    // Sixty pauses with a mean of half of five seconds, apart from the first ones.
    EXPECT_GT(timeOf(60, [](int) { return "a"; }), 60s);
}

TEST_F(ConnectSchedule, TriesANewAddressAtOnce) {
    timeOf(20, [](int) { return "a"; });
    EXPECT_EQ(sut.plan("b", now), now);
}

TEST_F(ConnectSchedule, TriesANewAddressInThePauseOfAnotherAtOnce) {
    timeOf(20, [](int) { return "a"; });
    sut.plan("a", now);
    EXPECT_EQ(sut.plan("b", now), now);
}

TEST_F(ConnectSchedule, PausesAtAddressesThatAlternate) {
    EXPECT_GT(timeOf(60, [](int attempt) { return attempt % 2 == 0 ? "a" : "b"; }), 60s);
}

TEST_F(ConnectSchedule, PausesAtAddressesThatAreAlwaysNew) {
    // Once in five seconds one is tried at once.
    EXPECT_GT(timeOf(60, [](int attempt) { return std::to_string(attempt); }), 40s);
}

TEST_F(ConnectSchedule, KeepsAPauseThatIsUnderWay) {
    timeOf(20, [](int) { return "a"; });
    const auto planned = sut.plan("a", now);
    EXPECT_EQ(sut.plan("a", now + 1ms), planned);
}

TEST_F(ConnectSchedule, StartsOverAfterAStableConnection) {
    timeOf(20, [](int) { return "a"; });
    sut.settle("a");
    EXPECT_LE(sut.plan("a", now), now + 100ms);
}

TEST_F(ConnectSchedule, TriesAnAddressOfLongAgoAtOnce) {
    timeOf(2, [](int attempt) { return attempt % 2 == 0 ? "a" : "b"; });
    sut.settle("b");
    EXPECT_EQ(sut.plan("a", now), now);
}

TEST_F(ConnectSchedule, KnowsWhetherTheAttemptHasBegun) {
    timeOf(20, [](int) { return "a"; });
    const auto planned = sut.plan("a", now);
    EXPECT_FALSE(sut.hasBegun(planned - 1ms));
    EXPECT_TRUE(sut.hasBegun(planned));
}

}  // namespace
