// A process has one logging, so every test runs it in a child process.

#include <ChildProcess.h>
#include <RecordingAraLog.h>
#include <csc_logging/CSCLogging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>

#include "ProcessLogging.h"

namespace {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using test_support::ChildResult;
using test_support::RecordingAraLog;
using test_support::runInChild;
using testing::AllOf;
using testing::Field;
using testing::HasSubstr;

/// The calls that `work` makes to `ara::log`, one per line.
std::string callsOf(const std::function<void()>& work) {
    const ChildResult result = runInChild([&work] {
        work();
        for (const std::string& call : RecordingAraLog::calls()) {
            std::printf("%s\n", call.c_str());
        }
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    return result.output;
}

struct Level {
    const char* name;
    int number;
    void (*writeText)(const std::string&);
    void (*writeEntry)(const CSCLogEntry&);
};

const Level kLevels[] = {{"fatal", 1, &CSCLogging::LogFatal, &CSCLogging::LogFatal},
                         {"error", 2, &CSCLogging::LogError, &CSCLogging::LogError},
                         {"warning", 3, &CSCLogging::LogWarning, &CSCLogging::LogWarning},
                         {"info", 4, &CSCLogging::LogInfo, &CSCLogging::LogInfo},
                         {"debug", 5, &CSCLogging::LogDebug, &CSCLogging::LogDebug},
                         {"verbose", 6, &CSCLogging::LogVerbose, &CSCLogging::LogVerbose}};

void becomeReady() {
    CSCLogging::CreateLogger("A");
    RecordingAraLog::reset();
}

TEST(CSCLogging, HasTheDefaultLevelDebug) {
    EXPECT_EQ(callsOf([] { CSCLogging::InitLogging("Clamp"); }),
              "InitLogging(\"CSC\", \"Core Service Component\", 5, 1, \"\")\n"
              "CreateLogger(\"Clamp\", \"CSC Component\")\n");
}

TEST(CSCLogging, InitialisesWithTheGivenLevel) {
    EXPECT_EQ(callsOf([] { CSCLogging::InitLogging("Clamp", csc_logging::kError); }),
              "InitLogging(\"CSC\", \"Core Service Component\", 2, 1, \"\")\n"
              "CreateLogger(\"Clamp\", \"CSC Component\")\n");
}

TEST(CSCLogging, MakesTheLoggerWithoutInitialisingAraLog) {
    EXPECT_EQ(callsOf([] { CSCLogging::CreateLogger("Clamp"); }),
              "CreateLogger(\"Clamp\", \"CSC Component\")\n");
}

TEST(CSCLogging, KeepsTheContextOfTheFirstCall) {
    EXPECT_EQ(callsOf([] {
                  CSCLogging::InitLogging("A");
                  CSCLogging::InitLogging("B");
                  CSCLogging::CreateLogger("C");
              }),
              "InitLogging(\"CSC\", \"Core Service Component\", 5, 1, \"\")\n"
              "CreateLogger(\"A\", \"CSC Component\")\n"
              "InitLogging(\"CSC\", \"Core Service Component\", 5, 1, \"\")\n");
}

TEST(CSCLogging, WritesNothingBeforeThereIsALogger) {
    EXPECT_EQ(callsOf([] {
                  for (const Level& level : kLevels) {
                      level.writeText("text");
                      level.writeEntry(CSCLogEntry("text"));
                  }
              }),
              "");
}

TEST(CSCLogging, TestsTheLevelOnceAndThenWrites) {
    for (const Level& level : kLevels) {
        const std::string number = std::to_string(level.number);
        EXPECT_EQ(
            callsOf([&level] {
                becomeReady();
                level.writeText("text");
            }),
            "IsLogEnabled(" + number + ")\nLogStream(" + number + ", \"A\")\n<< \"text\"\n~LogStream()\n")
            << level.name;
    }
}

TEST(CSCLogging, WritesNothingAtADisabledLevel) {
    for (const Level& level : kLevels) {
        EXPECT_EQ(callsOf([&level] {
                      becomeReady();
                      RecordingAraLog::enableUpTo(static_cast<ara::log::LogLevel>(level.number - 1));
                      level.writeText("text");
                  }),
                  "IsLogEnabled(" + std::to_string(level.number) + ")\n")
            << level.name;
    }
}

TEST(CSCLogging, WritesExactlyTheTextOfAnEntry) {
    for (const Level& level : kLevels) {
        const std::string number = std::to_string(level.number);
        EXPECT_EQ(callsOf([&level] {
                      becomeReady();
                      level.writeEntry(CSCLogEntry("waited ") << 5 << " ms");
                  }),
                  "IsLogEnabled(" + number + ")\nLogStream(" + number +
                      ", \"A\")\n<< \"waited 5 ms\"\n~LogStream()\n")
            << level.name;
    }
}

TEST(CSCLogging, TakesATextLiteral) {
    EXPECT_THAT(callsOf([] {
                    becomeReady();
                    CSCLogging::LogInfo("literal");
                }),
                HasSubstr("<< \"literal\""));
}

TEST(CSCLogging, CutsAMessageAtAnEmbeddedNul) {
    EXPECT_THAT(callsOf([] {
                    becomeReady();
                    CSCLogging::LogInfo(std::string("a\0b", 3));
                }),
                HasSubstr("<< \"a\"\n"));
}

TEST(CSCLogging, EndsTheProcessWhenAraLogCannotBeInitialised) {
    const ChildResult result = runInChild([] {
        RecordingAraLog::failNextInitLogging();
        CSCLogging::InitLogging("A");
    });
    EXPECT_EQ(result.signal, SIGABRT);
}

TEST(CSCLogging, IsThereForStaticsThatWereMadeAfterIt) {
    struct LogsAtTheEnd {
        ~LogsAtTheEnd() {
            CSCLogging::LogInfo("last words");
            for (const auto& record : RecordingAraLog::records()) {
                std::printf("%s\n", record.text.c_str());
            }
        }
    };
    const ChildResult result = runInChild([] {
        csc_logging::ProcessLogging::make();
        static const LogsAtTheEnd last;
        CSCLogging::InitLogging("A");
    });
    EXPECT_THAT(result, AllOf(Field(&ChildResult::exitCode, 0), Field(&ChildResult::output, "last words\n")));
}

TEST(CSCLogging, DropsWhatIsLoggedAfterItsEnd) {
    const ChildResult result = runInChild([] {
        std::atexit([] {
            RecordingAraLog::reset();
            CSCLogging::LogInfo("too late");
            CSCLogging::InitLogging("B");
            CSCLogging::CreateLogger("B");
            std::printf("%zu calls\n", RecordingAraLog::calls().size());
        });
        CSCLogging::InitLogging("A");
    });
    EXPECT_THAT(result, AllOf(Field(&ChildResult::exitCode, 0), Field(&ChildResult::output, "0 calls\n")));
}

TEST(CSCLogging, LetsTheProcessEndWhileThreadsLog) {
    const ChildResult result = runInChild([] {
        CSCLogging::InitLogging("A");
        RecordingAraLog::enableUpTo(ara::log::LogLevel::kInfo);
        static std::atomic<int> running = 0;
        for (int i = 0; i < 3; ++i) {
            std::thread([] {
                ++running;
                for (;;) {
                    CSCLogging::LogVerbose("still here");
                }
            }).detach();
        }
        while (running != 3) {
            std::this_thread::yield();
        }
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_LT(result.lifetime.count(), 5000);
}

TEST(CSCLogging, IsLeftToAThreadThatStaysInsideItBeyondItsEnd) {
    const ChildResult result = runInChild([] {
        static auto& inside = *new std::promise<void>();
        static auto& ended = *new std::promise<void>();
        static auto& logged = *new std::promise<void>();
        std::atexit([] {  // runs after the end of the logging, which is created later
            ended.set_value();
            logged.get_future().wait();
            for (const auto& record : RecordingAraLog::records()) {
                std::printf("%s\n", record.text.c_str());
            }
        });
        CSCLogging::InitLogging("A");
        std::thread([] {
            csc_logging::ProcessLogging::with([](csc_logging::ProcessLoggingObject& logging) {
                inside.set_value();
                ended.get_future().wait();
                logging.api.LogInfo("still inside");
                logged.set_value();
            });
        }).detach();
        inside.get_future().wait();
    });
    EXPECT_THAT(result,
                AllOf(Field(&ChildResult::exitCode, 0), Field(&ChildResult::output, "still inside\n")))
        << result.errors;
}

}  // namespace
