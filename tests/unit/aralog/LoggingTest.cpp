// A process has one ara::log, so every test runs it in a child process.

#include <ChildProcess.h>
#include <TemporaryDirectory.h>
#include <ara/log/logging.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using ara::log::CreateLogger;
using ara::log::HexFormat;
using ara::log::InitLogging;
using ara::log::IsLogEnabled;
using ara::log::Logger;
using ara::log::LogLevel;
using ara::log::LogMode;
using ara::log::LogStream;
using test_support::ChildResult;
using test_support::runInChild;
using test_support::TemporaryDirectory;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// Runs `work` in a child process whose libdlt finds no daemon.
ChildResult runWithoutDaemon(const std::function<void()>& work) {
    const TemporaryDirectory directory;
    ChildResult result = runInChild([&] {
        ::setenv("DLT_PIPE_DIR", directory.path().c_str(), 1);
        ::unsetenv("DLT_INITIAL_LOG_LEVEL");
        ::unsetenv("DLT_LOCAL_PRINT_MODE");
        work();
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    return result;
}

/// What libdlt would send, in its printed form.
std::string dltOutputOf(const std::function<void()>& work) {
    return runWithoutDaemon([&] {
               ::setenv("DLT_LOCAL_PRINT_MODE", "FORCE_ON", 1);
               work();
           })
        .errors;
}

/// The lines on the console, without their time stamps.
std::string consoleOutputOf(const std::function<void()>& work) {
    std::string lines = runWithoutDaemon(work).errors;
    constexpr std::size_t stampLength = sizeof("2025-11-20T09:30:00.001002Z ") - 1;
    for (std::size_t start = 0; start < lines.size(); start = lines.find('\n', start) + 1) {
        lines.erase(start, stampLength);
    }
    return lines;
}

/// The text of the record that `fill` streams together.
std::string textOf(const std::function<void(LogStream&)>& fill) {
    const std::string line = consoleOutputOf([&] {
        InitLogging("App", "", LogLevel::kVerbose, LogMode::kConsole, "");
        LogStream stream(LogLevel::kInfo, CreateLogger("Ctx", ""));
        fill(stream);
    });
    const std::string start = "App Ctx info ";
    EXPECT_EQ(line.substr(0, start.size()), start);
    return line.substr(start.size(), line.size() - start.size() - 1);
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// The address sanitizer's allocator does not reset its locks in a child that is forked while other threads
// run.
#ifdef __SANITIZE_ADDRESS__
#define SKIP_FORK_WITH_THREADS() GTEST_SKIP() << "the address sanitizer cannot fork a process with threads"
#else
#define SKIP_FORK_WITH_THREADS() static_cast<void>(0)
#endif

void initConsole(LogLevel level) {
    InitLogging("App", "", level, LogMode::kConsole, "");
}

TEST(LogStream, JoinsItsPiecesAsTheyAre) {
    EXPECT_EQ(textOf([](LogStream& sut) { sut << "a" << std::string("b ") << std::string_view("c") << 'd'; }),
              "ab cd");
}

TEST(LogStream, WritesIntegersInDecimal) {
    EXPECT_EQ(textOf([](LogStream& sut) {
                  sut << std::numeric_limits<std::int64_t>::min() << ' '
                      << std::numeric_limits<std::uint64_t>::max() << ' ' << std::int32_t{-1} << ' '
                      << std::uint32_t{2} << ' ' << std::int16_t{-3} << ' ' << std::uint16_t{4} << ' '
                      << std::int8_t{-5} << ' ' << std::uint8_t{65} << ' ' << -7LL << ' ' << 8ULL;
              }),
              "-9223372036854775808 18446744073709551615 -1 2 -3 4 -5 65 -7 8");
}

TEST(LogStream, WritesNumbersWithAFractionAsShortAsTheyAre) {
    EXPECT_EQ(textOf([](LogStream& sut) {
                  sut << 0.1 << ' ' << 0.1F << ' ' << -std::numeric_limits<double>::max() << ' '
                      << std::numeric_limits<double>::infinity();
              }),
              "0.1 0.1 -1.7976931348623157e+308 inf");
}

TEST(LogStream, WritesTruthAsWords) {
    EXPECT_EQ(textOf([](LogStream& sut) { sut << true << ' ' << false; }), "true false");
}

TEST(LogStream, WritesHexOnRequest) {
    EXPECT_EQ(textOf([](LogStream& sut) {
                  sut << HexFormat(0xABu) << ' ' << HexFormat(std::int8_t{-1}) << ' '
                      << HexFormat(std::int64_t{-1});
              }),
              "0xab 0xff 0xffffffffffffffff");
}

TEST(LogStream, WritesAddresses) {
    const std::uintptr_t number = 0x10;
    const void* address = nullptr;
    std::memcpy(&address, &number, sizeof address);
    EXPECT_EQ(textOf([address](LogStream& sut) { sut << address; }), "0x10");
}

TEST(LogStream, WritesLevelsByName) {
    EXPECT_EQ(textOf([](LogStream& sut) { sut << LogLevel::kWarn; }), "warn");
}

TEST(LogStream, WritesSomethingForANullPointer) {
    EXPECT_EQ(textOf([](LogStream& sut) { sut << static_cast<const char*>(nullptr); }), "(null)");
}

TEST(LogStream, WritesNothingBeforeItIsDestroyed) {
    EXPECT_EQ(consoleOutputOf([] {
                  initConsole(LogLevel::kInfo);
                  Logger& logger = CreateLogger("Ctx", "");
                  LogStream outer(LogLevel::kInfo, logger);
                  outer << "outer";
                  LogStream(LogLevel::kInfo, logger) << "inner";
              }),
              "App Ctx info inner\nApp Ctx info outer\n");
}

TEST(Logger, WritesItsLevelAndMoreSevereOnes) {
    EXPECT_EQ(consoleOutputOf([] {
                  initConsole(LogLevel::kWarn);
                  const Logger& sut = CreateLogger("Ctx", "");
                  sut.LogFatal() << 1;
                  sut.LogError() << 2;
                  sut.LogWarn() << 3;
                  sut.LogInfo() << 4;
                  sut.LogDebug() << 5;
                  sut.LogVerbose() << 6;
                  sut.WithLevel(LogLevel::kOff) << 0;
              }),
              "App Ctx fatal 1\nApp Ctx error 2\nApp Ctx warn 3\n");
}

TEST(Logger, WritesNothingWhenItIsOff) {
    EXPECT_EQ(consoleOutputOf([] {
                  initConsole(LogLevel::kOff);
                  const Logger& sut = CreateLogger("Ctx", "");
                  sut.LogFatal() << 1;
                  sut.WithLevel(LogLevel::kOff) << 0;
              }),
              "");
}

TEST(Logger, CanHaveALevelOfItsOwnThatInitLoggingLeavesAlone) {
    EXPECT_EQ(consoleOutputOf([] {
                  const Logger& sut = CreateLogger("Ctx", "", LogLevel::kDebug);
                  initConsole(LogLevel::kFatal);
                  sut.LogDebug() << "text";
              }),
              "App Ctx debug text\n");
}

TEST(Logger, TakesTheLevelOfALaterInitLogging) {
    EXPECT_EQ(consoleOutputOf([] {
                  const Logger& sut = CreateLogger("Ctx", "");
                  initConsole(LogLevel::kDebug);
                  sut.LogDebug() << "first";
                  initConsole(LogLevel::kError);
                  sut.LogDebug() << "second";
              }),
              "App Ctx debug first\n");
}

TEST(CreateLogger, GivesTheSameLoggerForTheSameId) {
    const ChildResult result = runWithoutDaemon([] {
        if (&CreateLogger("Ctx", "one") != &CreateLogger("Ctx", "two")) {
            std::exit(1);
        }
        if (&CreateLogger("Ctx", "one") == &CreateLogger("Other", "one")) {
            std::exit(2);
        }
    });
    EXPECT_EQ(result.exitCode, 0);
}

TEST(CreateLogger, GivesTheSameLoggerToConcurrentCallers) {
    runWithoutDaemon([] {
        std::vector<Logger*> loggers(8);
        std::vector<std::thread> threads;
        for (Logger*& logger : loggers) {
            threads.emplace_back([&logger] { logger = &CreateLogger("Ctx", ""); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        for (const Logger* logger : loggers) {
            if (logger != loggers.front()) {
                std::exit(1);
            }
        }
    });
}

TEST(CreateLogger, SaysWhichIdAContextHasThatSharesItsFirstFourCharacters) {
    EXPECT_EQ(consoleOutputOf([] {
                  initConsole(LogLevel::kWarn);
                  CreateLogger("Clamp Control", "");
                  CreateLogger("Clamp Monitor", "");
              }),
              "App Clamp Monitor warn the context \"Clamp Monitor\" is shown as \"Cla1\", since another one "
              "is shown "
              "as \"Clam\"\n");
}

TEST(IsLogEnabled, FollowsTheDefaultLevelWhileThereIsNoLogger) {
    runWithoutDaemon([] {
        initConsole(LogLevel::kWarn);
        if (!IsLogEnabled(LogLevel::kWarn)) {
            std::exit(1);
        }
        if (IsLogEnabled(LogLevel::kInfo)) {
            std::exit(2);
        }
    });
}

TEST(IsLogEnabled, FollowsTheMostTalkativeLogger) {
    runWithoutDaemon([] {
        initConsole(LogLevel::kWarn);
        CreateLogger("Quiet", "");
        if (IsLogEnabled(LogLevel::kInfo)) {
            std::exit(1);
        }
        CreateLogger("Loud", "", LogLevel::kDebug);
        if (!IsLogEnabled(LogLevel::kDebug)) {
            std::exit(2);
        }
        if (IsLogEnabled(LogLevel::kVerbose)) {
            std::exit(3);
        }
    });
}

TEST(IsLogEnabled, IsNeverTrueForOff) {
    runWithoutDaemon([] {
        initConsole(LogLevel::kVerbose);
        if (IsLogEnabled(LogLevel::kOff)) {
            std::exit(1);
        }
    });
}

TEST(IsLogEnabled, IsTrueUpToInfoBeforeInitLogging) {
    runWithoutDaemon([] {
        CreateLogger("Ctx", "");
        if (!IsLogEnabled(LogLevel::kInfo)) {
            std::exit(1);
        }
        if (IsLogEnabled(LogLevel::kDebug)) {
            std::exit(2);
        }
    });
}

TEST(RemoteMode, SendsIdsLevelAndText) {
    EXPECT_THAT(dltOutputOf([] {
                    InitLogging("CSC", "Core Service Component", LogLevel::kVerbose, LogMode::kRemote, "");
                    CreateLogger("Clamp Control", "CSC Component").LogInfo() << "text " << 1;
                }),
                ContainsRegex("ECU1 CSC- Clam log info V 1 \\[text 1\\]"));
}

TEST(RemoteMode, MapsTheLevelsOneToOne) {
    const std::string output = dltOutputOf([] {
        InitLogging("CSC", "", LogLevel::kVerbose, LogMode::kRemote, "");
        const Logger& logger = CreateLogger("Ctx", "");
        for (int level = 1; level <= 6; ++level) {
            logger.WithLevel(static_cast<LogLevel>(level)) << level;
        }
    });
    const char* const names[] = {"fatal", "error", "warn", "info", "debug", "verbose"};
    for (int level = 1; level <= 6; ++level) {
        EXPECT_THAT(output, HasSubstr("log " + std::string(names[level - 1]) + " V 1 [" +
                                      std::to_string(level) + "]"));
    }
}

TEST(RemoteMode, SendsWhatIsLoggedWithoutInitLoggingUnderTheProgramsName) {
    EXPECT_THAT(dltOutputOf([] { CreateLogger("Ctx", "").LogInfo() << "text"; }),
                ContainsRegex("ECU1 aral Ctx- log info V 1 \\[text\\]"));
}

TEST(RemoteMode, GivesEarlierLoggersTheNameOfALaterInitLogging) {
    EXPECT_THAT(dltOutputOf([] {
                    const Logger& logger = CreateLogger("Ctx", "");
                    InitLogging("CSC", "", LogLevel::kDebug, LogMode::kRemote, "");
                    logger.LogDebug() << "text";
                }),
                ContainsRegex("ECU1 CSC- Ctx- log debug V 1 \\[text\\]"));
}

TEST(RemoteMode, TakesAnIdThatTheFormerOneBeginsWith) {
    EXPECT_THAT(dltOutputOf([] {
                    InitLogging("CSCX", "", LogLevel::kInfo, LogMode::kRemote, "");
                    InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
                    CreateLogger("Ctx", "").LogInfo() << "text";
                }),
                HasSubstr("ECU1 CSC- Ctx-"));
}

TEST(RemoteMode, TellsContextsApartThatBeginAlike) {
    const std::string output = dltOutputOf([] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
        CreateLogger("Clamp Control", "").LogInfo() << "first";
        CreateLogger("Clamp Monitor", "").LogInfo() << "second";
    });
    EXPECT_THAT(output, HasSubstr("CSC- Clam log info V 1 [first]"));
    EXPECT_THAT(output, HasSubstr("CSC- Cla1 log info V 1 [second]"));
}

/// What libdlt would send of a text of that length, without the time and the ids.
std::string dltTextOf(std::size_t length) {
    const std::string output = dltOutputOf([length] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
        CreateLogger("Ctx", "").LogInfo() << std::string(length, 'x');
    });
    const auto begin = output.find('[');
    return output.substr(begin + 1, output.find("]\n") - begin - 1);
}

TEST(RemoteMode, SendsTheLongestTextThatDltCarries) {
    EXPECT_EQ(dltTextOf(1383), std::string(1383, 'x'));
}

TEST(RemoteMode, MarksATextThatIsTooLongForDlt) {
    EXPECT_EQ(dltTextOf(1384), std::string(1343, 'x') + "... (41 bytes cut)");
}

TEST(RemoteMode, MarksATextWhoseLengthDltCannotTell) {
    EXPECT_EQ(dltTextOf(65'536), std::string(1343, 'x') + "... (64193 bytes cut)");
}

TEST(RemoteMode, SendsLongerTextsIfTheEnvironmentAsksForIt) {
    ::setenv("DLT_LOG_MSG_BUF_LEN", "5007", 1);
    const std::string text = dltTextOf(5000);
    ::unsetenv("DLT_LOG_MSG_BUF_LEN");
    EXPECT_EQ(text, std::string(5000, 'x'));
}

TEST(RemoteMode, SendsWhatMustNotStandInALineAsEscapeSequences) {
    EXPECT_THAT(dltOutputOf([] {
                    InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
                    CreateLogger("Ctx", "").LogInfo() << "a\x1b[2J\nb" << std::string_view("\0c", 2);
                }),
                HasSubstr(R"([a\x1b[2J\nb\x00c])"));
}

TEST(RemoteMode, TakesTheInitialLevelFromTheEnvironment) {
    EXPECT_THAT(dltOutputOf([] {
                    ::setenv("DLT_INITIAL_LOG_LEVEL", "::6", 1);
                    InitLogging("CSC", "", LogLevel::kError, LogMode::kRemote, "");
                    const Logger& logger = CreateLogger("Ctx", "");
                    if (!IsLogEnabled(LogLevel::kVerbose)) {
                        std::exit(1);
                    }
                    logger.LogVerbose() << "text";
                }),
                HasSubstr("log verbose V 1 [text]"));
}

TEST(RemoteMode, LeavesStandardOutputToTheApplication) {
    EXPECT_EQ(runWithoutDaemon([] {
                  ::setenv("DLT_LOCAL_PRINT_MODE", "FORCE_ON", 1);
                  InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
                  CreateLogger("Ctx", "").LogInfo() << "text";
              }).output,
              "");
}

TEST(RemoteMode, PrintsNoRecordsUnlessToldTo) {
    EXPECT_THAT(runWithoutDaemon([] {
                    InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
                    CreateLogger("Ctx", "").LogInfo() << "text";
                }).errors,
                Not(HasSubstr("[text]")));
}

TEST(RemoteMode, PrintsNothingWithoutADaemon) {
    EXPECT_EQ(runWithoutDaemon([] {
                  InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
                  CreateLogger("Ctx", "").LogInfo() << "text";
              }).errors,
              "");
}

TEST(RemoteMode, PrintsNothingWithoutADaemonWhenTheBufferIsFull) {
    EXPECT_EQ(runWithoutDaemon([] {
                  InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
                  const Logger& logger = CreateLogger("Ctx", "");
                  for (int i = 0; i < 2000; ++i) {
                      logger.LogInfo() << std::string(1000, 'x');
                  }
              }).errors,
              "");
}

TEST(RemoteMode, PrintsTheErrorsOfDltWithoutADaemon) {
    EXPECT_THAT(runWithoutDaemon([] {
                    ::setenv("DLT_USER_BUFFER_MAX", "99999999999999999999", 1);
                    InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
                    CreateLogger("Ctx", "").LogInfo() << "text";
                }).errors,
                HasSubstr("DLT_USER_BUFFER_MAX"));
}

TEST(RemoteMode, DoesNotBlockWithoutADaemonHoweverMuchIsLogged) {
    const ChildResult result = runWithoutDaemon([] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
        const Logger& logger = CreateLogger("Ctx", "");
        for (int i = 0; i < 50'000; ++i) {
            logger.LogInfo() << "record number " << i;
        }
    });
    EXPECT_LT(result.lifetime.count(), 8000);
}

TEST(RemoteMode, SaysOnceThatAForkedProcessCannotLog) {
    SKIP_FORK_WITH_THREADS();
    const ChildResult result = runWithoutDaemon([] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
        const Logger& logger = CreateLogger("Ctx", "");
        const ChildResult child = runInChild([&logger] {
            logger.LogInfo() << 1;
            logger.LogInfo() << 2;
        });
        std::printf("%d %s", child.exitCode, child.errors.c_str());
    });
    EXPECT_THAT(result.output,
                StartsWith("0 ara::log: records of a forked process do not reach DLT; they are lost\n"));
    EXPECT_EQ(result.output.find("ara::log"), result.output.rfind("ara::log"));
}

TEST(RemoteMode, LogsInAForkedProcessThatInitialisesLoggingItself) {
    EXPECT_THAT(dltOutputOf([] {
                    initConsole(LogLevel::kInfo);
                    const ChildResult child = runInChild([] {
                        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
                        CreateLogger("Ctx", "").LogInfo() << "text";
                    });
                    std::fputs(child.errors.c_str(), stderr);
                }),
                HasSubstr("[text]"));
}

TEST(ConsoleMode, WorksInAForkedProcess) {
    EXPECT_THAT(consoleOutputOf([] {
                    initConsole(LogLevel::kInfo);
                    const Logger& logger = CreateLogger("Ctx", "");
                    const ChildResult child = runInChild([&logger] { logger.LogInfo() << "in the child"; });
                    std::fputs(child.errors.c_str(), stderr);
                }),
                HasSubstr("App Ctx info in the child\n"));
}

TEST(RemoteMode, CanForkWhileThreadsLog) {
    SKIP_FORK_WITH_THREADS();
    const ChildResult result = runWithoutDaemon([] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote, "");
        const Logger& logger = CreateLogger("Ctx", "");
        std::atomic<bool> done = false;
        std::thread other([&] {
            while (!done) {
                logger.LogInfo() << "text";
            }
        });
        for (int i = 0; i < 5; ++i) {
            const ChildResult child = runInChild([&logger] { logger.LogInfo() << "child"; });
            if (child.exitCode != 0) {
                std::exit(1);
            }
        }
        done = true;
        other.join();
    });
    EXPECT_LT(result.lifetime.count(), 15'000);
}

TEST(FileMode, AppendsLinesToTheFileNamedAfterTheApplication) {
    const TemporaryDirectory directory;
    directory.write("CSC.log", "before\n");
    runWithoutDaemon([&] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kFile, directory.path().string());
        CreateLogger("Ctx", "").LogInfo() << "text";
    });
    EXPECT_THAT(contentOf(directory.path() / "CSC.log"),
                ContainsRegex("^before\n[0-9T:.Z-]+ CSC Ctx info text\n$"));
}

TEST(FileMode, UsesTheWorkingDirectoryUnlessToldOtherwise) {
    const TemporaryDirectory directory;
    runWithoutDaemon([&] {
        if (::chdir(directory.path().c_str()) != 0) {
            std::exit(1);
        }
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kFile, "");
        CreateLogger("Ctx", "").LogInfo() << "text";
    });
    EXPECT_THAT(contentOf(directory.path() / "CSC.log"), HasSubstr("CSC Ctx info text\n"));
}

TEST(FileMode, StaysInItsDirectoryWhateverTheApplicationIsCalled) {
    const TemporaryDirectory directory;
    runWithoutDaemon([&] {
        InitLogging("../CSC", "", LogLevel::kInfo, LogMode::kFile, directory.path().string());
        CreateLogger("Ctx", "").LogInfo() << "text";
    });
    EXPECT_THAT(contentOf(directory.path() / ".._CSC.log"), HasSubstr("info text\n"));
}

TEST(FileMode, SaysOnceThatTheFileCannotBeOpenedAndGoesOn) {
    const TemporaryDirectory directory;
    const std::string missing = (directory.path() / "missing").string();
    const ChildResult result = runWithoutDaemon([&] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kFile, missing);
        const Logger& logger = CreateLogger("Ctx", "");
        logger.LogInfo() << 1;
        logger.LogInfo() << 2;
    });
    EXPECT_EQ(result.errors,
              "ara::log: the log file \"" + missing +
                  "/CSC.log\" cannot be opened (No such file or directory); records will not be written "
                  "to a file\n");
}

TEST(FileMode, SaysOnceThatTheFileMayNotGrowAndGoesOn) {
    const TemporaryDirectory directory;
    const ChildResult result = runWithoutDaemon([&] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kFile, directory.path().string());
        const Logger& logger = CreateLogger("Ctx", "");
        const rlimit none{0, 0};
        ::setrlimit(RLIMIT_FSIZE, &none);
        logger.LogInfo() << 1;
        logger.LogInfo() << 2;
    });
    EXPECT_EQ(result.signal, 0);
    EXPECT_THAT(result.errors, HasSubstr("File too large"));
}

TEST(FileMode, SaysOnceThatTheDiskIsFullAndGoesOn) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "no /dev/full on this system";
    }
    const TemporaryDirectory directory;
    const auto file = directory.path() / "CSC.log";
    std::filesystem::create_symlink("/dev/full", file);
    const ChildResult result = runWithoutDaemon([&] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kFile, directory.path().string());
        const Logger& logger = CreateLogger("Ctx", "");
        logger.LogInfo() << 1;
        logger.LogInfo() << 2;
    });
    EXPECT_EQ(result.errors,
              "ara::log: writing to \"" + file.string() +
                  "\" failed (No space left on device); records are lost until it works again\n");
}

TEST(FileMode, DoesNotWaitForAReaderOfANamedPipe) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::mkfifo((directory.path() / "CSC.log").c_str(), 0600), 0);
    const ChildResult result = runWithoutDaemon([&] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kFile, directory.path().string());
        CreateLogger("Ctx", "").LogInfo() << "text";
    });
    EXPECT_THAT(result.errors, HasSubstr("cannot be opened (No such device or address)"));
}

TEST(FileMode, KeepsTheLinesOfThreadsApart) {
    const TemporaryDirectory directory;
    runWithoutDaemon([&] {
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kFile, directory.path().string());
        const Logger& logger = CreateLogger("Ctx", "");
        std::vector<std::thread> threads;
        for (char letter = 'a'; letter < 'e'; ++letter) {
            threads.emplace_back([&logger, letter] {
                for (int i = 0; i < 500; ++i) {
                    logger.LogInfo() << std::string(300, letter);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    std::ifstream file(directory.path() / "CSC.log");
    int whole = 0;
    for (std::string line; std::getline(file, line);) {
        const std::string text = line.substr(line.rfind(' ') + 1);
        if (text == std::string(300, text.front())) {
            ++whole;
        }
    }
    EXPECT_EQ(whole, 2000);
}

TEST(ConsoleMode, WritesWhatMustNotStandInALineAsEscapeSequences) {
    EXPECT_EQ(textOf([](LogStream& stream) { stream << "a\x1b[2J\nb\u202e"; }), R"(a\x1b[2J\nb\u202e)");
}

TEST(ConsoleMode, SparesTheApplicationTheSignalOfABrokenPipe) {
    const ChildResult result = runInChild([] {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) != 0) {
            std::_Exit(2);
        }
        ::close(ends[0]);
        ::dup2(ends[1], STDERR_FILENO);
        InitLogging("App", "", LogLevel::kInfo, LogMode::kConsole, "");
        CreateLogger("Ctx", "").LogInfo() << "nobody reads this";
        sigset_t pending;
        ::sigpending(&pending);
        std::_Exit(sigismember(&pending, SIGPIPE));
    });
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitCode, 0);
}

TEST(RemoteMode, LeavesTheApplicationItsHandlerOfABrokenPipe) {
    const ChildResult result = runWithoutDaemon([] {
        const auto handler = [](int) {};
        std::signal(SIGPIPE, handler);
        InitLogging("App", "", LogLevel::kInfo, LogMode::kRemote, "");
        CreateLogger("Ctx", "").LogInfo() << "text";
        std::_Exit(std::signal(SIGPIPE, SIG_DFL) == static_cast<void (*)(int)>(handler) ? 0 : 1);
    });
    EXPECT_EQ(result.signal, 0);
}

/// Runs `work` in a child process whose libdlt finds a daemon that reads nothing. `work` gets the daemon's
/// end of the pipe. A broken pipe ends the process.
ChildResult runWithSilentDaemon(const std::function<void(int)>& work) {
    const TemporaryDirectory directory;
    return runInChild([&] {
        ::setenv("DLT_PIPE_DIR", directory.path().c_str(), 1);
        ::unsetenv("DLT_LOCAL_PRINT_MODE");
        const std::string pipe = directory.path() / "dlt";
        ::mkfifo(pipe.c_str(), 0600);
        const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
        std::signal(SIGPIPE, SIG_DFL);
        work(reader);
    });
}

TEST(RemoteMode, SaysAtTheEndThatRecordsDidNotReachTheDaemon) {
    const ChildResult result = runWithSilentDaemon([](int reader) {
        InitLogging("App", "", LogLevel::kInfo, LogMode::kRemote, "");
        Logger& logger = CreateLogger("Ctx", "");
        ::close(reader);
        logger.LogInfo() << "nobody reads this";
        std::exit(0);
    });
    EXPECT_THAT(result.errors, HasSubstr("Lost log messages in user buffer when exiting: "));
}

TEST(RemoteMode, SparesTheApplicationTheSignalWhenTheDaemonEnds) {
    const ChildResult result = runWithSilentDaemon([](int reader) {
        InitLogging("App", "", LogLevel::kInfo, LogMode::kRemote, "");
        Logger& logger = CreateLogger("Ctx", "");
        ::close(reader);
        logger.LogInfo() << "nobody reads this";
        sigset_t pending;
        ::sigpending(&pending);
        std::_Exit(sigismember(&pending, SIGPIPE));
    });
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

TEST(RemoteMode, SparesTheApplicationTheSignalWhenTheDaemonEndsBeforeTheLastRecordsAreSent) {
    const ChildResult result = runWithSilentDaemon([](int reader) {
        InitLogging("App", "", LogLevel::kInfo, LogMode::kRemote, "");
        Logger& logger = CreateLogger("Ctx", "");
        for (int i = 0; i < 200; ++i) {
            logger.LogInfo() << std::string(1000, 'x');  // more than the pipe holds
        }
        ::close(reader);
        std::exit(0);
    });
    EXPECT_EQ(result.signal, 0);
}

TEST(Modes, Combine) {
    const TemporaryDirectory directory;
    const ChildResult result = runWithoutDaemon([&] {
        ::setenv("DLT_LOCAL_PRINT_MODE", "FORCE_ON", 1);
        InitLogging("CSC", "", LogLevel::kInfo, LogMode::kRemote | LogMode::kFile | LogMode::kConsole,
                    directory.path().string());
        CreateLogger("Ctx", "").LogInfo() << "text";
    });
    EXPECT_THAT(result.errors, HasSubstr("[text]"));
    EXPECT_THAT(result.errors, HasSubstr("CSC Ctx info text\n"));
    EXPECT_THAT(contentOf(directory.path() / "CSC.log"), HasSubstr("CSC Ctx info text\n"));
}

TEST(Modes, DoNotTouchDltUnlessRemoteIsOneOfThem) {
    const TemporaryDirectory pipes;
    const ChildResult result = runInChild([&] {
        ::setenv("DLT_PIPE_DIR", pipes.path().c_str(), 1);
        initConsole(LogLevel::kInfo);
        CreateLogger("Ctx", "").LogInfo() << "text";
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(std::filesystem::is_empty(pipes.path()));
}

TEST(Modes, HaveTheStandardsNumbers) {
    EXPECT_EQ(static_cast<int>(LogMode::kRemote), 1);
    EXPECT_EQ(static_cast<int>(LogMode::kFile), 2);
    EXPECT_EQ(static_cast<int>(LogMode::kConsole), 4);
    EXPECT_EQ(static_cast<int>(LogLevel::kVerbose), 6);
    EXPECT_EQ(sizeof(LogLevel), 1u);
}

}  // namespace
