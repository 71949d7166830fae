#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <string>

#include "LogLimit.h"

namespace {

using kelo_client::LogLimit;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::size_t kError = 2;
constexpr std::size_t kInfo = 4;

class LogLimitTest : public testing::Test {
 protected:
    /// How many of `count` equal lines are let through.
    int admittedOfEqual(int count) {
        int admitted = 0;
        for (int line = 0; line < count; ++line) {
            admitted += sut.admit(kError, "the same", now).isAdmitted ? 1 : 0;
        }
        return admitted;
    }

    int admittedOfDifferent(int count) {
        int admitted = 0;
        for (int line = 0; line < count; ++line) {
            admitted += sut.admit(kError, std::to_string(++texts_), now).isAdmitted ? 1 : 0;
        }
        return admitted;
    }

    LogLimit sut;
    LogLimit::Time now = LogLimit::Time() + std::chrono::hours(1);

 private:
    int texts_ = 0;
};

TEST_F(LogLimitTest, LetsTwentyEqualLinesThroughAtOnce) {
    EXPECT_EQ(admittedOfEqual(5'000), 20);
}

TEST_F(LogLimitTest, LetsOneEqualLineThroughPerSecondAfterThat) {
    admittedOfEqual(5'000);
    now += seconds(3);
    EXPECT_EQ(admittedOfEqual(5'000), 3);
}

TEST_F(LogLimitTest, LetsAHundredDifferentLinesThroughAtOnce) {
    EXPECT_EQ(admittedOfDifferent(5'000), 100);
}

TEST_F(LogLimitTest, LetsTenDifferentLinesThroughPerSecondAfterThat) {
    admittedOfDifferent(5'000);
    now += seconds(1);
    EXPECT_EQ(admittedOfDifferent(5'000), 10);
}

TEST_F(LogLimitTest, LetsEverythingThroughThatIsSlowEnough) {
    int admitted = 0;
    for (int line = 0; line < 1'000; ++line) {
        now += milliseconds(100);
        admitted += admittedOfDifferent(1);
    }
    EXPECT_EQ(admitted, 1'000);
}

TEST_F(LogLimitTest, LimitsEachLevelForItself) {
    admittedOfDifferent(5'000);
    EXPECT_TRUE(sut.admit(kInfo, "x", now).isAdmitted);
}

TEST_F(LogLimitTest, CountsWhatItSuppressedForTheNextLine) {
    admittedOfEqual(25);
    EXPECT_EQ(sut.admit(kError, "another", now).suppressedBefore, 5U);
}

TEST_F(LogLimitTest, TellsWhatItSuppressedOnce) {
    admittedOfEqual(25);
    sut.admit(kError, "another", now);
    EXPECT_EQ(sut.admit(kError, "another", now).suppressedBefore, 0U);
}

TEST_F(LogLimitTest, GivesItsCountWithoutALine) {
    admittedOfEqual(25);
    EXPECT_EQ(sut.takeSuppressed(kError, now), 5U);
    EXPECT_EQ(sut.takeSuppressed(kError, now), 0U);
}

TEST_F(LogLimitTest, KeepsItsCountForASecondAfterItHasGivenOne) {
    admittedOfEqual(25);
    sut.takeSuppressed(kError, now);
    admittedOfEqual(5);
    EXPECT_EQ(sut.takeSuppressed(kError, now + milliseconds(999)), 0U);
    EXPECT_EQ(sut.takeSuppressed(kError, now + seconds(1)), 5U);
}

TEST_F(LogLimitTest, KeepsItsCountForTheLineASecondAfterItHasGivenOne) {
    admittedOfEqual(25);
    sut.takeSuppressed(kError, now);
    admittedOfEqual(5);
    EXPECT_EQ(sut.admit(kError, "another", now).suppressedBefore, 0U);
    EXPECT_EQ(sut.admit(kError, "another", now + seconds(1)).suppressedBefore, 5U);
}

TEST_F(LogLimitTest, GivesOneCountPerSecondWhenALoggerIsDestroyedAfterEachOfManyEqualLines) {
    int counts = 0;
    for (int line = 0; line < 5'000; ++line) {
        now += milliseconds(1);
        admittedOfEqual(1);
        counts += sut.takeSuppressed(kError, now) > 0 ? 1 : 0;
    }
    EXPECT_EQ(counts, 5);
}

TEST(LogLimitOfAName, IsOneForAllLoggersOfThatName) {
    EXPECT_EQ(&LogLimit::of("one"), &LogLimit::of("one"));
    EXPECT_NE(&LogLimit::of("one"), &LogLimit::of("other"));
}

}  // namespace
