#include <gtest/gtest.h>
#include <zebutil/LoggerFactory.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using zebutil::LoggerFactory;

class OwnFactory : public LoggerFactory {
 public:
    std::unique_ptr<zebutil::ILogger> createLogger(const std::string&) override { return nullptr; }
};

std::string written(void (zebutil::ILogger::*write)(const std::string&), const std::string& message) {
    const auto logger = LoggerFactory::getDefaultLoggerFactory()->createLogger("Facility");
    testing::internal::CaptureStderr();
    ((*logger).*write)(message);
    return testing::internal::GetCapturedStderr();
}

// The default can be set once per process, so each test needs its own process.
class DefaultLoggerFactory : public testing::Test {
 protected:
    void SetUp() override {
        static int testsOfThisProcess = 0;
        if (++testsOfThisProcess > 1) {
            GTEST_SKIP() << "the default of a process can be set once; run this test by itself";
        }
    }
};

TEST(StandardErrorLogger, WritesALineWithFacilityAndLevelPerMessage) {
    EXPECT_EQ(written(&zebutil::ILogger::warning, "text"), "Facility: warning: text\n");
}

TEST(StandardErrorLogger, WritesAtEveryLevel) {
    EXPECT_EQ(written(&zebutil::ILogger::trace, "t") + written(&zebutil::ILogger::debug, "d") +
                  written(&zebutil::ILogger::info, "i") + written(&zebutil::ILogger::error, "e") +
                  written(&zebutil::ILogger::system, "s"),
              "Facility: trace: t\nFacility: debug: d\nFacility: info: i\nFacility: error: e\nFacility: "
              "system: s\n");
}

TEST(StandardErrorLogger, KeepsAMessageOnOneLine) {
    EXPECT_EQ(written(&zebutil::ILogger::error, "a\r\nb"), "Facility: error: a\\r\\nb\n");
}

TEST(StandardErrorLogger, SaysThatEveryLevelIsOn) {
    const auto sut = LoggerFactory::getDefaultLoggerFactory()->createLogger("Facility");
    EXPECT_TRUE(sut->isTrace() && sut->isDebug() && sut->isInfo() && sut->isWarning() && sut->isError() &&
                sut->isSystem());
}

TEST(StandardErrorLogger, GivesALoggerOfASubFacility) {
    const auto sut =
        LoggerFactory::getDefaultLoggerFactory()->createLogger("Facility")->getSubFacilityLogger("Part");
    testing::internal::CaptureStderr();
    sut->info("x");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Part: info: x\n");
}

TEST_F(DefaultLoggerFactory, IsTheOneThatWasSet) {
    const auto factory = std::make_shared<OwnFactory>();
    EXPECT_TRUE(LoggerFactory::setDefaultLoggerFactoryOnce(factory));
    EXPECT_EQ(LoggerFactory::getDefaultLoggerFactory(), factory);
}

TEST_F(DefaultLoggerFactory, StaysTheFirstThatWasSet) {
    const auto first = std::make_shared<OwnFactory>();
    LoggerFactory::setDefaultLoggerFactoryOnce(first);
    EXPECT_FALSE(LoggerFactory::setDefaultLoggerFactoryOnce(std::make_shared<OwnFactory>()));
    EXPECT_EQ(LoggerFactory::getDefaultLoggerFactory(), first);
}

TEST_F(DefaultLoggerFactory, MayBeSetToWhatItIs) {
    const auto factory = std::make_shared<OwnFactory>();
    LoggerFactory::setDefaultLoggerFactoryOnce(factory);
    EXPECT_TRUE(LoggerFactory::setDefaultLoggerFactoryOnce(factory));
}

TEST_F(DefaultLoggerFactory, CannotBeNull) {
    EXPECT_THROW(LoggerFactory::setDefaultLoggerFactoryOnce(nullptr), std::invalid_argument);
}

TEST_F(DefaultLoggerFactory, IsOneOfThoseThatThreadsSetAtOnce) {
    std::vector<std::shared_ptr<LoggerFactory>> winners(4);
    std::vector<std::thread> threads;
    for (auto& winner : winners) {
        threads.emplace_back([&winner] {
            LoggerFactory::setDefaultLoggerFactoryOnce(std::make_shared<OwnFactory>());
            winner = LoggerFactory::getDefaultLoggerFactory();
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (const auto& winner : winners) {
        EXPECT_EQ(winner, winners.front());
    }
}

/// A static of this type is destroyed after main() has returned.
struct LogsAtExit {
    ~LogsAtExit() { LoggerFactory::getDefaultLoggerFactory()->createLogger("Facility")->error("at exit"); }
};

TEST(StandardErrorLogger, CanBeUsedInTheDestructorOfAStatic) {
    EXPECT_EXIT(
        {
            static LogsAtExit logsAtExit;
            std::exit(0);
        },
        testing::ExitedWithCode(0), "Facility: error: at exit");
}

}  // namespace
