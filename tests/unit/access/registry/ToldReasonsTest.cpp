#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "registry/ToldReasons.h"

namespace {

const zeb::ToldReasons::Clock::time_point kNow{std::chrono::hours(1)};

TEST(ToldReasons, TellsEachReasonOnce) {
    zeb::ToldReasons sut;
    EXPECT_TRUE(sut.isNew("a", kNow));
    EXPECT_TRUE(sut.isNew("b", kNow));
    EXPECT_FALSE(sut.isNew("a", kNow));
}

TEST(ToldReasons, TellsOnlySoManyOfAnyNumber) {
    zeb::ToldReasons sut;
    std::size_t told = 0;
    for (int reason = 0; reason < 10'000; ++reason) {
        told += sut.isNew(std::to_string(reason), kNow) ? 1U : 0U;
    }
    EXPECT_EQ(told, zeb::ToldReasons::kMost);
}

TEST(ToldReasons, BeginsAnewAfterAWhile) {
    zeb::ToldReasons sut;
    for (int reason = 0; reason < 10'000; ++reason) {
        sut.isNew(std::to_string(reason), kNow);
    }
    EXPECT_TRUE(sut.isNew("0", kNow + zeb::ToldReasons::kMemory));
}

TEST(ToldReasons, TellsAgainWhatWasCleared) {
    zeb::ToldReasons sut;
    sut.isNew("a", kNow);
    sut.clear();
    EXPECT_TRUE(sut.isNew("a", kNow));
}

}  // namespace
