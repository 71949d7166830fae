#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "LineFormat.h"

namespace {

using ara::log::formatLine;
using ara::log::levelName;
using ara::log::LogLevel;

constexpr std::chrono::system_clock::time_point kTime{std::chrono::microseconds(1'763'631'000'001'002)};

TEST(LineFormat, HasTimeApplicationContextLevelAndText) {
    EXPECT_EQ(formatLine(kTime, "CSC", "Clamp", LogLevel::kWarn, "text"),
              "2025-11-20T09:30:00.001002Z CSC Clamp warn text\n");
}

TEST(LineFormat, NamesTheLevels) {
    EXPECT_EQ(levelName(LogLevel::kOff), "off");
    EXPECT_EQ(levelName(LogLevel::kFatal), "fatal");
    EXPECT_EQ(levelName(LogLevel::kError), "error");
    EXPECT_EQ(levelName(LogLevel::kWarn), "warn");
    EXPECT_EQ(levelName(LogLevel::kInfo), "info");
    EXPECT_EQ(levelName(LogLevel::kDebug), "debug");
    EXPECT_EQ(levelName(LogLevel::kVerbose), "verbose");
    EXPECT_EQ(levelName(static_cast<LogLevel>(7)), "unknown");
}

}  // namespace
