// A process that logs ends cleanly and quickly, whatever its threads and statics still log.

#include <ChildProcess.h>
#include <TemporaryDirectory.h>
#include <ara/log/logging.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

namespace {

using ara::log::CreateLogger;
using ara::log::InitLogging;
using ara::log::Logger;
using ara::log::LogLevel;
using ara::log::LogMode;
using test_support::ChildResult;
using test_support::runInChild;
using test_support::TemporaryDirectory;

constexpr std::chrono::milliseconds kSoon{5000};

void expectCleanEnd(const std::function<void()>& work) {
    const TemporaryDirectory directory;
    const ChildResult result = runInChild([&] {
        ::setenv("DLT_PIPE_DIR", directory.path().c_str(), 1);
        work();
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.signal, 0) << result.errors;
    EXPECT_LT(result.lifetime, kSoon);
}

/// Threads that log until the process has ended.
void logForEver(const Logger& logger) {
    static std::atomic<int> running = 0;
    constexpr int count = 3;
    for (int i = 0; i < count; ++i) {
        std::thread([&logger] {
            ++running;
            for (;;) {
                logger.LogInfo() << "still here";
            }
        }).detach();
    }
    while (running != count) {
        std::this_thread::yield();
    }
}

TEST(ProcessExit, IsSoonWithoutADaemon) {
    expectCleanEnd([] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
        CreateLogger("Ctx", "").LogInfo() << "text";
    });
}

TEST(ProcessExit, IsCleanWhileThreadsLog) {
    for (int round = 0; round < 5; ++round) {
        expectCleanEnd([] {
            InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
            logForEver(CreateLogger("Ctx", ""));
        });
    }
}

TEST(ProcessExit, IsCleanWhileThreadsLogWithoutInitLogging) {
    expectCleanEnd([] { logForEver(CreateLogger("Ctx", "")); });
}

TEST(ProcessExit, IsCleanWhenAStaticLogsThatIsOlderThanLogging) {
    struct LogsAtTheEnd {
        ~LogsAtTheEnd() {
            const Logger& logger = CreateLogger("Late", "");
            logger.LogInfo() << "last words";
            InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
            CreateLogger("Later", "").LogInfo() << "the very last words";
        }
    };
    expectCleanEnd([] {
        static const LogsAtTheEnd last;
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
    });
}

TEST(ProcessExit, IsCleanWhenLoggingBeginsInAnExitHandler) {
    expectCleanEnd([] {
        std::atexit([] {
            InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
            CreateLogger("Ctx", "").LogInfo() << "text";
        });
    });
}

TEST(ProcessExit, IsCleanWhenRemoteModeComesLate) {
    expectCleanEnd([] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kFile, "/dev/null");
        const Logger& logger = CreateLogger("Ctx", "");
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
        logForEver(logger);
    });
}

}  // namespace
