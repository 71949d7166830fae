// The logging facade with everything that is behind it in a vehicle: ara::log, libdlt, a dlt-daemon and a
// receiver.

#include <ChildProcess.h>
#include <DltDaemon.h>
#include <ara/log/logging.h>
#include <csc_logging/CSCLogging.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <set>
#include <string>
#include <thread>

namespace {

using ara::log::LogLevel;
using csc_logging::CSCLogging;
using test_support::ChildResult;
using test_support::DltDaemon;
using test_support::runInChild;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class DltDaemonTest : public testing::Test {
 protected:
    /// Runs `work` in a process that logs to the daemon.
    ChildResult runLogging(const std::function<void()>& work) {
        return runInChild([&] {
            ::setenv("DLT_PIPE_DIR", daemon.pipeDirectory().c_str(), 1);
            work();
        });
    }

    DltDaemon daemon;
};

/// Waits in the child process for an external event; exits with the code when it does not happen.
void waitUntil(const std::function<bool()>& condition, int exitCode) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            std::exit(exitCode);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

TEST_F(DltDaemonTest, ReceivesTheLinesOfTheFacadeAsApplicationCsc) {
    const ChildResult result = runLogging([] {
        CSCLogging::InitLogging("Clamp Control client");
        CSCLogging::LogInfo("Clamp Control Client: hello");
        CSCLogging::LogDebug("a detail");
        CSCLogging::LogVerbose("too much");
    });
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_TRUE(daemon.receives("[a detail]"));
    EXPECT_THAT(daemon.received(),
                ContainsRegex("ECU1 CSC- Clam .*log info V 1 \\[Clamp Control Client: hello\\]"));
    EXPECT_THAT(daemon.received(), ContainsRegex("ECU1 CSC- Clam .*log debug V 1 \\[a detail\\]"));
    EXPECT_THAT(daemon.received(), Not(HasSubstr("too much")));
}

TEST_F(DltDaemonTest, IsToldTheFullNames) {
    runLogging([] { CSCLogging::InitLogging("Clamp Control client"); });
    EXPECT_TRUE(daemon.receives("ApplicationID 'CSC' registered for PID"));
    EXPECT_THAT(daemon.received(), HasSubstr("Description=Core Service Component"));
}

TEST_F(DltDaemonTest, TurnsALevelUpFromOutside) {
    const ChildResult result = runLogging([this] {
        CSCLogging::InitLogging("Clamp", csc_logging::kError);
        if (ara::log::IsLogEnabled(LogLevel::kVerbose)) {
            std::exit(1);
        }
        CSCLogging::LogError("ready");
        if (!daemon.receives("[ready]")) {
            std::exit(2);
        }
        daemon.setLevel("CSC", "Clam", 6);
        waitUntil([] { return ara::log::IsLogEnabled(LogLevel::kVerbose); }, 3);
        CSCLogging::LogVerbose("after the change");
    });
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_TRUE(daemon.receives("log verbose V 1 [after the change]"));
}

TEST_F(DltDaemonTest, TurnsALevelDownFromOutside) {
    const ChildResult result = runLogging([this] {
        CSCLogging::InitLogging("Clamp", csc_logging::kDebug);
        CSCLogging::LogInfo("ready");
        if (!daemon.receives("[ready]")) {
            std::exit(2);
        }
        daemon.setLevel("CSC", "Clam", 0);
        waitUntil([] { return !ara::log::IsLogEnabled(LogLevel::kFatal); }, 3);
        CSCLogging::LogFatal("after the change");
        daemon.setLevel("CSC", "Clam", 4);
        waitUntil([] { return ara::log::IsLogEnabled(LogLevel::kInfo); }, 4);
        CSCLogging::LogInfo("on again");
    });
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_TRUE(daemon.receives("[on again]"));
    EXPECT_THAT(daemon.received(), Not(HasSubstr("after the change")));
}

TEST_F(DltDaemonTest, ReceivesWhatWasLoggedBeforeItWasThere) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "libdlt reads the application's description without its lock when it finds the daemon late";
#endif
    const std::string later = daemon.pipeDirectory() + "/dlt.later";
    const std::string pipe = daemon.pipeDirectory() + "/dlt";
    const ChildResult result = runLogging([&] {
        // As if the daemon had not created its pipe yet.
        if (std::rename(pipe.c_str(), later.c_str()) != 0) {
            std::exit(1);
        }
        CSCLogging::InitLogging("Clamp");
        CSCLogging::LogInfo("an early line");
        if (std::rename(later.c_str(), pipe.c_str()) != 0) {
            std::exit(2);
        }
        waitUntil(
            [this] {
                CSCLogging::LogInfo("a later line");
                return daemon.receives("[an early line]", std::chrono::milliseconds(50));
            },
            3);
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

TEST_F(DltDaemonTest, LetsAProcessEndWhoseThreadsLogToTheLast) {
    const ChildResult result = runLogging([] {
        CSCLogging::InitLogging("Clamp");
        static std::atomic<int> running = 0;
        for (int i = 0; i < 3; ++i) {
            std::thread([] {
                ++running;
                for (;;) {
                    CSCLogging::LogInfo("still here");
                }
            }).detach();
        }
        while (running != 3) {
            std::this_thread::yield();
        }
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_LT(result.lifetime, std::chrono::seconds(5));
}

TEST_F(DltDaemonTest, ReceivesTheOnlyLineOfAProcessThatEndsAtOnce) {
    const ChildResult result = runLogging([this] {
        CSCLogging::InitLogging("Clamp");
        daemon.pause();
        CSCLogging::LogFatal("cannot start");
        std::thread([this] {
            // Long enough for the process to end if nothing delays it.
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            daemon.resume();
        }).detach();
    });
    daemon.resume();
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_TRUE(daemon.receives("[cannot start]"));
}

TEST_F(DltDaemonTest, HoldsUpTheEndOfAProcessForASecondAtMostWhenItHangs) {
    const ChildResult result = runLogging([this] {
        daemon.pause();
        CSCLogging::InitLogging("Clamp");
        CSCLogging::LogFatal("cannot start");
    });
    daemon.resume();
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_LT(result.lifetime, std::chrono::seconds(3));
}

TEST_F(DltDaemonTest, EndsWithNothingLostThatWasLoggedLast) {
    const ChildResult result = runLogging([] {
        CSCLogging::InitLogging("Clamp");
        for (int i = 0; i < 200; ++i) {
            CSCLogging::LogInfo("line " + std::to_string(i));
        }
    });
    EXPECT_LT(result.lifetime, std::chrono::seconds(5));
    EXPECT_TRUE(daemon.receives("[line 199]"));
    for (int i = 0; i < 200; ++i) {
        EXPECT_THAT(daemon.received(), HasSubstr("[line " + std::to_string(i) + "]"));
    }
}

TEST_F(DltDaemonTest, LeavesNoDescriptorToAProgramThatTheApplicationStarts) {
    const ChildResult result = runLogging([] {
        std::set<std::string> before;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            before.insert(entry.path().filename());
        }
        CSCLogging::InitLogging("Clamp");
        CSCLogging::LogError("ready");
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            const std::string descriptor = entry.path().filename();
            const int flags = ::fcntl(std::stoi(descriptor), F_GETFD);
            if (before.count(descriptor) == 0 && flags >= 0 && (flags & FD_CLOEXEC) == 0) {
                std::cout << std::filesystem::read_symlink(entry.path()) << std::endl;
            }
        }
    });
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

TEST_F(DltDaemonTest, LetsAForkedChildEnd) {
    const ChildResult result = runLogging([] {
        CSCLogging::InitLogging("Clamp");
        CSCLogging::LogError("in the parent");
        const ChildResult forked = runInChild([] {
            ::alarm(20);  // ends a child that hangs
            CSCLogging::LogError("in the child");
        });
        std::exit(forked.signal);
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

}  // namespace
