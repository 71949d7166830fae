#include <RecordingAraLog.h>
#include <csc_logging/CSCLoggingApi.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CSCLoggingAralogImpl.h"

namespace {

using ara::log::LogLevel;
using csc_logging::CSCLoggingApi;
using csc_logging::CSCLoggingAralogImpl;
using csc_logging::ECSCLogLevel;
using test_support::RecordingAraLog;
using testing::ElementsAre;
using testing::IsEmpty;

class CSCLoggingAralogImplTest : public testing::Test {
 protected:
    CSCLoggingAralogImplTest() { RecordingAraLog::reset(); }

    CSCLoggingAralogImpl sut;
};

const std::pair<void (csc_logging::CSCLoggingIf::*)(const std::string&), int> kWriters[] = {
    {&csc_logging::CSCLoggingIf::LogFatal, 1},   {&csc_logging::CSCLoggingIf::LogError, 2},
    {&csc_logging::CSCLoggingIf::LogWarning, 3}, {&csc_logging::CSCLoggingIf::LogInfo, 4},
    {&csc_logging::CSCLoggingIf::LogDebug, 5},   {&csc_logging::CSCLoggingIf::LogVerbose, 6}};

TEST_F(CSCLoggingAralogImplTest, InitialisesAraLogAsApplicationCscAndThenMakesTheLogger) {
    sut.InitLogging("Clamp", csc_logging::kWarning);
    EXPECT_THAT(RecordingAraLog::calls(),
                ElementsAre("InitLogging(\"CSC\", \"Core Service Component\", 3, 1, \"\")",
                            "CreateLogger(\"Clamp\", \"CSC Component\")"));
}

TEST_F(CSCLoggingAralogImplTest, KeepsTheFirstContextWhenInitialisedAgain) {
    sut.InitLogging("A", csc_logging::kDebug);
    sut.InitLogging("B", csc_logging::kError);
    EXPECT_THAT(RecordingAraLog::calls(),
                ElementsAre("InitLogging(\"CSC\", \"Core Service Component\", 5, 1, \"\")",
                            "CreateLogger(\"A\", \"CSC Component\")",
                            "InitLogging(\"CSC\", \"Core Service Component\", 2, 1, \"\")"));
}

TEST_F(CSCLoggingAralogImplTest, IgnoresCreateLoggerAfterInitLogging) {
    sut.InitLogging("A", csc_logging::kDebug);
    RecordingAraLog::reset();
    sut.CreateLogger("C");
    EXPECT_THAT(RecordingAraLog::calls(), IsEmpty());
}

TEST_F(CSCLoggingAralogImplTest, IgnoresASecondCreateLogger) {
    sut.CreateLogger("A");
    RecordingAraLog::reset();
    sut.CreateLogger("B");
    EXPECT_THAT(RecordingAraLog::calls(), IsEmpty());
}

TEST_F(CSCLoggingAralogImplTest, KeepsTheContextOfCreateLoggerWhenInitialisedLater) {
    sut.CreateLogger("A");
    RecordingAraLog::reset();
    sut.InitLogging("B", csc_logging::kDebug);
    EXPECT_THAT(RecordingAraLog::calls(),
                ElementsAre("InitLogging(\"CSC\", \"Core Service Component\", 5, 1, \"\")"));
}

TEST_F(CSCLoggingAralogImplTest, WritesWithCreateLoggerAlone) {
    sut.CreateLogger("A");
    sut.LogInfo("text");
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(RecordingAraLog::Record{LogLevel::kInfo, "A", "text"}));
}

TEST_F(CSCLoggingAralogImplTest, IsDisabledAtEveryLevelWithoutALogger) {
    for (int level = 0; level <= 6; ++level) {
        EXPECT_FALSE(sut.IsLoggingEnabled(static_cast<ECSCLogLevel>(level)));
    }
    EXPECT_THAT(RecordingAraLog::calls(), IsEmpty());
}

TEST_F(CSCLoggingAralogImplTest, DropsMessagesWithoutALogger) {
    for (const auto& [write, level] : kWriters) {
        (sut.*write)("text");
    }
    EXPECT_THAT(RecordingAraLog::calls(), IsEmpty());
}

TEST_F(CSCLoggingAralogImplTest, AsksAraLogWhetherALevelIsEnabled) {
    sut.CreateLogger("A");
    RecordingAraLog::reset();
    RecordingAraLog::enableUpTo(LogLevel::kWarn);
    EXPECT_TRUE(sut.IsLoggingEnabled(csc_logging::kWarning));
    EXPECT_FALSE(sut.IsLoggingEnabled(csc_logging::kInfo));
    EXPECT_THAT(RecordingAraLog::calls(), ElementsAre("IsLogEnabled(3)", "IsLogEnabled(4)"));
}

TEST_F(CSCLoggingAralogImplTest, AsksForInfoInPlaceOfALevelOutsideTheEnumeration) {
    sut.CreateLogger("A");
    RecordingAraLog::reset();
    sut.IsLoggingEnabled(static_cast<ECSCLogLevel>(7));
    EXPECT_THAT(RecordingAraLog::calls(), ElementsAre("IsLogEnabled(4)"));
}

TEST_F(CSCLoggingAralogImplTest, InitialisesWithInfoInPlaceOfALevelOutsideTheEnumeration) {
    sut.InitLogging("A", static_cast<ECSCLogLevel>(7));
    EXPECT_EQ(RecordingAraLog::calls().front(),
              "InitLogging(\"CSC\", \"Core Service Component\", 4, 1, \"\")");
}

TEST_F(CSCLoggingAralogImplTest, ConvertsTheSevenLevelsOneToOne) {
    for (int level = 0; level <= 6; ++level) {
        EXPECT_EQ(static_cast<int>(sut.ConvertLogLevel(static_cast<ECSCLogLevel>(level))), level);
    }
}

TEST_F(CSCLoggingAralogImplTest, ConvertsEverythingElseToInfo) {
    for (const int level : {7, 8, 255, 256, -1, -2147483647}) {
        EXPECT_EQ(sut.ConvertLogLevel(static_cast<ECSCLogLevel>(level)), LogLevel::kInfo) << level;
    }
}

TEST_F(CSCLoggingAralogImplTest, WritesEveryLevelThroughAStreamOfItsOwnWithoutTestingTheLevel) {
    sut.CreateLogger("A");
    RecordingAraLog::enableUpTo(LogLevel::kOff);
    for (const auto& [write, level] : kWriters) {
        RecordingAraLog::reset();
        (sut.*write)("text");
        EXPECT_THAT(RecordingAraLog::calls(), ElementsAre("LogStream(" + std::to_string(level) + ", \"A\")",
                                                          "<< \"text\"", "~LogStream()"));
    }
}

TEST_F(CSCLoggingAralogImplTest, CutsAMessageAtAnEmbeddedNul) {
    sut.CreateLogger("A");
    sut.LogInfo(std::string("before\0after", 12));
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(RecordingAraLog::Record{LogLevel::kInfo, "A", "before"}));
}

TEST_F(CSCLoggingAralogImplTest, EndsTheProcessWhenInitLoggingOfAraLogThrows) {
    EXPECT_DEATH(
        {
            RecordingAraLog::failNextInitLogging();
            sut.InitLogging("A", csc_logging::kDebug);
        },
        "");
}

TEST(CSCLoggingApi, ForwardsEveryOperationToAnAraLogBackEnd) {
    RecordingAraLog::reset();
    CSCLoggingApi sut;
    sut.InitLogging("A", csc_logging::kInfo);
    sut.CreateLogger("B");
    EXPECT_TRUE(sut.IsLoggingEnabled(csc_logging::kError));
    for (const auto& [write, level] : kWriters) {
        (sut.*write)("text");
    }

    std::vector<std::string> expected = {"InitLogging(\"CSC\", \"Core Service Component\", 4, 1, \"\")",
                                         "CreateLogger(\"A\", \"CSC Component\")", "IsLogEnabled(2)"};
    for (int level = 1; level <= 6; ++level) {
        expected.push_back("LogStream(" + std::to_string(level) + ", \"A\")");
        expected.push_back("<< \"text\"");
        expected.push_back("~LogStream()");
    }
    EXPECT_EQ(RecordingAraLog::calls(), expected);
}

TEST(CSCLoggingApi, ReturnsWhatTheBackEndSaysOfALevel) {
    RecordingAraLog::reset();
    CSCLoggingApi sut;
    EXPECT_FALSE(sut.IsLoggingEnabled(csc_logging::kFatal));
}

}  // namespace
