// A process has one client-service base, so every test that needs it runs in a child process.

#include <ChildProcess.h>
#include <FakePlatform.h>
#include <NoDescriptors.h>
#include <TemporaryDirectory.h>
#include <TestBuild.h>
#include <csc_logging/CSCLogging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ClientServiceUtils.h>
#include <kelo-client/Diagnostics.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <system_error>

namespace {

using kelo_client::ClientServiceBase;
using kelo_client::ClientServiceUtils;
using kelo_client::Diagnostics;
using kelo_client::takeDiagnostics;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using zeb::ServiceStatus;

/// The diagnostics in words after `work`, in a child process.
std::string diagnosticsAfter(const std::function<void()>& work) {
    const auto result = test_support::runInChild([&work] {
        csc_logging::CSCLogging::CreateLogger("test");
        work();
        std::puts(("---\n" + to_string(takeDiagnostics())).c_str());
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    return result.output.substr(result.output.find("---\n") + 4);
}

void makeBase() {
    ClientServiceUtils::CreateClientServiceBase("/nonexistent/my.json");
    fake_platform::takeRegistryArguments();
}

TEST(Diagnostics, KnowNoConfigurationBeforeTheFirstClient) {
    EXPECT_THAT(diagnosticsAfter([] {}), HasSubstr("configuration: none read yet\n"));
}

TEST(Diagnostics, NameTheConfigurationFileThatIsMissing) {
    EXPECT_THAT(diagnosticsAfter(makeBase),
                AllOf(HasSubstr("configuration: /nonexistent/my.json\n"),
                      HasSubstr("not used, so the defaults apply: it does not exist\n")));
}

TEST(Diagnostics, SayWhyAClientCouldNotBeMade) {
    EXPECT_THAT(
        diagnosticsAfter([] { ClientServiceBase::getInstance()->noteConstructionFailure("no threads"); }),
        HasSubstr("a client could not be made: no threads\n"));
}

TEST(Diagnostics, NameTheConfigurationFileForWhichThereWasNoDescriptor) {
    if (test_support::kSanitizerNeedsDescriptors) {
        GTEST_SKIP() << "the sanitizer needs descriptors";
    }
    const test_support::TemporaryDirectory directory;
    const std::string file = directory.write("my.json", "{}").string();
    EXPECT_THAT(diagnosticsAfter([&file] {
                    const test_support::NoDescriptors none;
                    try {
                        ClientServiceUtils::CreateClientServiceBase(file);
                    } catch (const std::system_error& error) {
                        ClientServiceBase::getInstance()->noteConstructionFailure(error.what());
                    }
                }),
                AllOf(HasSubstr("  configuration: " + file + "\n"),
                      HasSubstr("  a client could not be made: the configuration " + file +
                                " cannot be read for want of descriptors or memory")));
}

TEST(Diagnostics, ForgetAFailureOnceAClientIsMade) {
    EXPECT_THAT(diagnosticsAfter([] {
                    ClientServiceBase::getInstance()->noteConstructionFailure("no threads");
                    ClientServiceBase::getInstance()->noteConstructionFailure("");
                }),
                Not(HasSubstr("could not be made")));
}

TEST(Diagnostics, SayThatTheClientsWereStopped) {
    EXPECT_THAT(diagnosticsAfter([] {
                    makeBase();
                    ClientServiceBase::getInstance()->stop();
                }),
                HasSubstr("  state: stopped\n"));
}

TEST(Diagnostics, TellOfEachServiceWhatFailedAndWhen) {
    Diagnostics diagnostics;
    diagnostics.services.resize(1);
    ServiceStatus& service = diagnostics.services.front();
    service.service = "ClampControl";
    service.address = "http://127.0.0.1:1/";
    service.state = ServiceStatus::State::Connecting;
    service.reason = "not reachable";
    service.lastFailure = "connect: Connection refused";
    service.lastFailureAt = ServiceStatus::Clock::now() - std::chrono::hours(1);
    service.attempts = 7;
    EXPECT_THAT(to_string(diagnostics),
                AllOf(HasSubstr("service ClampControl\n  state: connecting for 0."),
                      HasSubstr("  address: http://127.0.0.1:1/\n  because: not reachable\n"),
                      HasSubstr("  last failure: 3600."), HasSubstr(" s ago: connect: Connection refused\n"),
                      HasSubstr("  attempts to connect: 7\n")));
}

TEST(Diagnostics, TellTheLongestQueueAndTheTimeNotRead) {
    Diagnostics diagnostics;
    diagnostics.services.resize(1);
    diagnostics.services.front().counts.longestQueue = 5;
    diagnostics.services.front().counts.paused = std::chrono::microseconds(1999);
    EXPECT_THAT(to_string(diagnostics), EndsWith("  longest queue: 5\n  time not read, in ms: 1\n"));
}

TEST(Diagnostics, KeepATextFromOutsideOnItsLine) {
    Diagnostics diagnostics;
    diagnostics.constructionFailure = "a\nb";
    EXPECT_THAT(to_string(diagnostics), HasSubstr("a client could not be made: a\\nb\n"));
}

}  // namespace
