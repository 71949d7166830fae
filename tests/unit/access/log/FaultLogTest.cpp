#include <RecordingLogger.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "log/FaultLog.h"

namespace {

class FaultLog : public testing::Test {
 protected:
    const std::shared_ptr<test_support::RecordedLog> log = std::make_shared<test_support::RecordedLog>();
    zeb::FaultLog sut{std::make_shared<test_support::RecordingLogger>(log, "peer")};
};

TEST_F(FaultLog, WritesTheTextOfANewCauseAtItsLevel) {
    EXPECT_TRUE(sut.warning("a", "first"));
    EXPECT_TRUE(sut.error("b", "second"));
    EXPECT_EQ(log->lines(), (std::vector<std::string>{"warning peer: first", "error peer: second"}));
}

TEST_F(FaultLog, WritesWhatIsRepeatedForDebuggingOnly) {
    sut.error("a", "first");
    EXPECT_FALSE(sut.error("a", "second"));
    EXPECT_EQ(log->lines(), (std::vector<std::string>{"error peer: first", "debug peer: second"}));
}

TEST_F(FaultLog, SaysOnceThatMoreCausesFollow) {
    for (int cause = 0; cause < 1000; ++cause) {
        sut.error(std::to_string(cause), "text");
    }
    EXPECT_EQ(log->count("error peer: text"), zeb::ToldReasons::kMost);
    EXPECT_EQ(log->count("error peer: more faults follow"), 1U);
}

TEST_F(FaultLog, WritesAgainWhatItWasMadeToForget) {
    sut.error("a", "text");
    sut.forget();
    EXPECT_TRUE(sut.error("a", "text"));
}

}  // namespace
