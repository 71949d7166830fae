#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <string>

#include "log/ToldReasons.h"

namespace {

using Verdict = zeb::ToldReasons::Verdict;

const zeb::ToldReasons::Clock::time_point kNow{std::chrono::hours(1)};

/// How often each verdict is given on many different reasons.
struct Verdicts {
    explicit Verdicts(zeb::ToldReasons& sut, zeb::ToldReasons::Clock::time_point now = kNow) {
        for (int reason = 0; reason < 10'000; ++reason) {
            const Verdict verdict = sut.judge(std::to_string(reason), now);
            told += verdict == Verdict::Tell ? 1U : 0U;
            toldThatMoreCome += verdict == Verdict::TellThatMoreCome ? 1U : 0U;
        }
    }
    std::size_t told = 0;
    std::size_t toldThatMoreCome = 0;
};

TEST(ToldReasons, TellsEachReasonOnce) {
    zeb::ToldReasons sut;
    EXPECT_EQ(sut.judge("a", kNow), Verdict::Tell);
    EXPECT_EQ(sut.judge("b", kNow), Verdict::Tell);
    EXPECT_EQ(sut.judge("a", kNow), Verdict::DoNotTell);
}

TEST(ToldReasons, TellsOnlySoManyOfAnyNumber) {
    zeb::ToldReasons sut;
    EXPECT_EQ(Verdicts(sut).told, zeb::ToldReasons::kMost);
}

TEST(ToldReasons, TellsOnceThatThereAreMore) {
    zeb::ToldReasons sut;
    EXPECT_EQ(Verdicts(sut).toldThatMoreCome, 1U);
    EXPECT_EQ(Verdicts(sut).toldThatMoreCome, 0U);
}

TEST(ToldReasons, TellsAgainWhatHasNotComeForAWhile) {
    zeb::ToldReasons sut;
    sut.judge("a", kNow);
    EXPECT_EQ(sut.judge("a", kNow + zeb::ToldReasons::kMemory), Verdict::Tell);
}

TEST(ToldReasons, DoesNotTellAgainWhatKeepsComing) {
    zeb::ToldReasons sut;
    sut.judge("a", kNow);
    for (int time = 1; time < 100; ++time) {
        EXPECT_EQ(sut.judge("a", kNow + time * std::chrono::minutes(5)), Verdict::DoNotTell);
    }
}

TEST(ToldReasons, BeginsAnewAfterAWhile) {
    zeb::ToldReasons sut;
    const Verdicts first(sut);
    const Verdicts later(sut, kNow + zeb::ToldReasons::kMemory);
    EXPECT_EQ(later.told, first.told);
    EXPECT_EQ(later.toldThatMoreCome, 1U);
}

TEST(ToldReasons, TellsAgainWhatWasCleared) {
    zeb::ToldReasons sut;
    sut.judge("a", kNow);
    sut.clear();
    EXPECT_EQ(sut.judge("a", kNow), Verdict::Tell);
}

}  // namespace
