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

TEST_F(KeloLoggerTest, EscapesWhatMustNotStandInALine) {
    KeloLogger sut("F");
    sut.error("bad \x1b[31mtext\n\xff");
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(isRecord(LogLevel::kError, R"(F: bad \x1b[31mtext\n\xff)")));
}

TEST_F(KeloLoggerTest, CutsALongMessageAndSaysSo) {
    KeloLogger sut("F");
    sut.error(std::string(65'536, 'x'));
    EXPECT_THAT(
        RecordingAraLog::records(),
        ElementsAre(isRecord(LogLevel::kError, "F: " + std::string(960, 'x') + "... (64576 bytes cut)")));
}

TEST_F(KeloLoggerTest, WritesAMessageOfAThousandBytesAsItIs) {
    KeloLogger sut("F");
    sut.error(std::string(1'000, 'x'));
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(isRecord(LogLevel::kError, "F: " + std::string(1'000, 'x'))));
}

TEST_F(KeloLoggerTest, WritesOfAFloodTheFirstLinesAndTheirNumber) {
    {
        KeloLogger sut("Flooded");
        for (int line = 0; line < 5'000; ++line) {
            sut.error("the same");
        }
    }
    const auto records = RecordingAraLog::records();
    EXPECT_LT(records.size(), 30U);
    EXPECT_THAT(records.back().text, testing::MatchesRegex("Flooded: 49.. messages suppressed, .*"));
}

TEST_F(KeloLoggerTest, LimitsTheLoggersOfOneNameTogether) {
    for (int line = 0; line < 5'000; ++line) {
        KeloLogger("Flapping").error(std::to_string(line));
    }
    EXPECT_LT(RecordingAraLog::records().size(), 200U);
}

TEST_F(KeloLoggerTest, WritesTheNumberOfSuppressedLinesSeldomWhenEachLineHasALoggerOfItsOwn) {
    for (int line = 0; line < 5'000; ++line) {
        KeloLogger("Repeating").error("the same");
    }
    EXPECT_LT(RecordingAraLog::records().size(), 30U);
}

}  // namespace
