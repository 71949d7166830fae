#include <RecordingAraLog.h>
#include <csc_logging/CSCLogging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelo-client/KeloLogger.h>
#include <kelo-client/KeloLoggerFactory.h>

#include <memory>
#include <string>

namespace {

using ara::log::LogLevel;
using kelo_client::KeloLogger;
using kelo_client::KeloLoggerFactory;
using test_support::RecordingAraLog;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

class KeloLoggerTest : public testing::Test {
 protected:
    KeloLoggerTest() {
        csc_logging::CSCLogging::CreateLogger("Test");
        RecordingAraLog::reset();
    }
};

auto isRecord(LogLevel level, const std::string& text) {
    return testing::AllOf(Field(&RecordingAraLog::Record::level, level),
                          Field(&RecordingAraLog::Record::text, text));
}

TEST_F(KeloLoggerTest, WritesItsNameColonBlankAndTheMessageAndNothingElse) {
    KeloLogger sut("Registry");
    sut.error("x");
    EXPECT_THAT(RecordingAraLog::records(), ElementsAre(isRecord(LogLevel::kError, "Registry: x")));
}

TEST_F(KeloLoggerTest, WritesEveryOperationAtItsLevel) {
    KeloLogger sut("F");
    sut.trace("1");
    sut.debug("2");
    sut.info("3");
    sut.warning("4");
    sut.error("5");
    sut.system("6");
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(isRecord(LogLevel::kVerbose, "F: 1"), isRecord(LogLevel::kDebug, "F: 2"),
                            isRecord(LogLevel::kInfo, "F: 3"), isRecord(LogLevel::kWarn, "F: 4"),
                            isRecord(LogLevel::kError, "F: 5"), isRecord(LogLevel::kVerbose, "F: 6")));
}

TEST_F(KeloLoggerTest, WritesSystemMessagesOnlyWhenVerboseIsEnabled) {
    RecordingAraLog::enableUpTo(LogLevel::kDebug);
    KeloLogger sut("F");
    sut.system("x");
    EXPECT_THAT(RecordingAraLog::records(), IsEmpty());
}

TEST_F(KeloLoggerTest, SaysThatEveryLevelIsEnabledEvenWhenAraLogIsSetToErrorOnly) {
    RecordingAraLog::enableUpTo(LogLevel::kError);
    const KeloLogger sut("F");
    EXPECT_TRUE(sut.isTrace());
    EXPECT_TRUE(sut.isDebug());
    EXPECT_TRUE(sut.isInfo());
    EXPECT_TRUE(sut.isWarning());
    EXPECT_TRUE(sut.isError());
    EXPECT_TRUE(sut.isSystem());
}

TEST_F(KeloLoggerTest, GivesSubFacilitiesTheirOwnNameAlone) {
    const KeloLogger sut("A");
    sut.getSubFacilityLogger("B")->info("x");
    EXPECT_THAT(RecordingAraLog::records(), ElementsAre(isRecord(LogLevel::kInfo, "B: x")));
}

TEST_F(KeloLoggerTest, WritesAnEmptyMessageOfANamelessFacility) {
    KeloLogger sut("");
    sut.info("");
    EXPECT_THAT(RecordingAraLog::records(), ElementsAre(isRecord(LogLevel::kInfo, ": ")));
}

TEST_F(KeloLoggerTest, IsMadeByItsFactory) {
    KeloLoggerFactory sut;
    const std::unique_ptr<zebutil::ILogger> logger = sut.createLogger("Registry");
    logger->warning("x");
    EXPECT_THAT(RecordingAraLog::records(), ElementsAre(isRecord(LogLevel::kWarn, "Registry: x")));
}

}  // namespace
