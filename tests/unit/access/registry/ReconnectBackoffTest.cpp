#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>

#include "registry/ReconnectBackoff.h"

namespace {

using std::chrono::milliseconds;

TEST(ReconnectBackoff, NeverExceedsACeilingThatDoublesFrom100MillisecondsTo5Seconds) {
    for (std::uint32_t seed = 0; seed < 200; ++seed) {
        zeb::ReconnectBackoff sut(seed);
        for (const int ceiling : {100, 200, 400, 800, 1600, 3200, 5000, 5000}) {
            const milliseconds delay = sut.next();
            EXPECT_GE(delay, milliseconds(0));
            EXPECT_LE(delay, milliseconds(ceiling));
        }
    }
}

TEST(ReconnectBackoff, UsesTheWholeRangeBelowItsCeiling) {
    milliseconds least(5000);
    milliseconds most(0);
    for (std::uint32_t seed = 0; seed < 2000; ++seed) {
        const milliseconds delay = zeb::ReconnectBackoff(seed * 7919).next();
        least = std::min(least, delay);
        most = std::max(most, delay);
    }
    EXPECT_LE(least, milliseconds(10));
    EXPECT_GE(most, milliseconds(90));
}

TEST(ReconnectBackoff, StillAnswersAfterThousandsOfAttempts) {
    zeb::ReconnectBackoff sut(1);
    for (int attempt = 0; attempt < 10'000; ++attempt) {
        const milliseconds delay = sut.next();
        ASSERT_TRUE(delay >= milliseconds(0) && delay <= milliseconds(5000)) << delay.count();
    }
}

TEST(ReconnectBackoff, BeginsAnewAfterAReset) {
    zeb::ReconnectBackoff sut(1);
    for (int attempt = 0; attempt < 10; ++attempt) {
        sut.next();
    }
    sut.reset();
    EXPECT_LE(sut.next(), milliseconds(100));
}

}  // namespace
