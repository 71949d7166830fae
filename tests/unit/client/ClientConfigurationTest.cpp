// How a client handles the vehicle's configuration, above all one that it cannot use. A process reads the
// file once, so every test runs a child process. This program has its own view of the fixed path, see
// tests/support/PrivateConfigurationMain.cpp. The platform's objects are fakes that print what is done with
// them.

#include <ChildProcess.h>
#include <FakePlatform.h>
#include <RecordingAraLog.h>
#include <TemporaryDirectory.h>
#include <TestBuild.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelo-client/ClientServiceUtils.h>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>
#include <system_error>

namespace {

using ara::log::LogLevel;
using clampcontrolclient::ClampControlClient;
using test_support::RecordingAraLog;
using test_support::runInChild;
using testing::HasSubstr;

const std::filesystem::path kConfigurationFile = "/var/run/csc/config/kelo-client/ClientConfig.json";

void say(const std::string& text) {
    std::puts(text.c_str());
}

void sayRegistry() {
    const auto settings = fake_platform::takeRegistryArguments().settings;
    say("registry: mode " + std::to_string(static_cast<int>(settings.mode)) + " at " + settings.httpUri);
}

void sayErrors() {
    for (const auto& record : RecordingAraLog::records()) {
        if (record.level <= LogLevel::kError) {
            say("error: " + record.text);
        }
    }
}

void writeConfiguration(const std::string& content) {
    std::filesystem::create_directories(kConfigurationFile.parent_path());
    std::ofstream(kConfigurationFile) << content;
}

/// The beginning of a configuration that differs from every default.
const std::string kStaticElsewhere =
    R"({"serviceRegistrySettings":{"mode":"staticOnly","httpUri":"http://registry:8080"})";

void leaveMissing() {}

/// Makes the file unreadable. Root could still read it, so the process gives up its capabilities.
void forbidReading() {
    writeConfiguration(kStaticElsewhere + "}");
    std::filesystem::permissions(kConfigurationFile, std::filesystem::perms::none);
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> none{};
    if (::syscall(SYS_capset, &header, none.data()) != 0) {
        throw std::system_error(errno, std::system_category(), "capset");
    }
}

void makeDirectory() {
    std::filesystem::create_directories(kConfigurationFile);
}

void breakOff() {
    writeConfiguration(kStaticElsewhere + R"(,"services":)");
}

/// The output of `work` in a child process in which `prepare` has prepared the configuration.
std::string saidBy(const std::function<void()>& prepare, const std::function<void()>& work) {
    const auto result = runInChild([&] {
        csc_logging::CSCLogging::CreateLogger("test");
        prepare();
        work();
    });
    std::filesystem::remove_all(kConfigurationFile);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    return result.output;
}

/// What is logged at error level while a client is constructed.
std::string errorsOfConstruction(const std::function<void()>& prepare) {
    const auto output = saidBy(prepare, [] {
        const ClampControlClient sut;
        say("---");
        sayErrors();
        say("---");
    });
    const auto begin = output.find("---\n");
    const auto end = output.rfind("---\n");
    return begin == end ? "not constructed" : output.substr(begin + 4, end - begin - 4);
}

TEST(ClientConfiguration, IsReadFromItsFixedPath) {
    EXPECT_THAT(saidBy([] { writeConfiguration(kStaticElsewhere + "}"); },
                       [] {
                           const ClampControlClient sut;
                           sayRegistry();
                       }),
                HasSubstr("\nregistry: mode 0 at http://registry:8080\n"));
}

TEST(ClientConfiguration, IsThatOfTheBaseIfTheApplicationHasMadeOneBeforeTheFirstClient) {
    const test_support::TemporaryDirectory directory;
    const std::string file = directory.write(
        "my.json", R"({"serviceRegistrySettings":{"mode":"staticBeforeDynamic","httpUri":"http://mine:1"}})");
    EXPECT_THAT(saidBy([] { writeConfiguration(kStaticElsewhere + "}"); },
                       [&file] {
                           kelo_client::ClientServiceUtils::CreateClientServiceBase(file);
                           const ClampControlClient sut;
                           sayRegistry();
                       }),
                HasSubstr("\nregistry: mode 2 at http://mine:1\n"));
}

TEST(ClientConfiguration, IsReadWhenTheClientIsStartedIfThereWasNoDescriptorBefore) {
    if (test_support::kSanitizerNeedsDescriptors) {
        GTEST_SKIP() << "the sanitizer needs descriptors";
    }
    EXPECT_THAT(saidBy([] { writeConfiguration(kStaticElsewhere + "}"); },
                       [] {
                           rlimit before{};
                           ::getrlimit(RLIMIT_NOFILE, &before);
                           const rlimit none{0, before.rlim_max};
                           ::setrlimit(RLIMIT_NOFILE, &none);
                           ClampControlClient sut;
                           ::setrlimit(RLIMIT_NOFILE, &before);
                           sut.Start();
                           sayRegistry();
                       }),
                HasSubstr("\nregistry: mode 0 at http://registry:8080\n"));
}

TEST(ClientWithUnusableConfiguration, LogsThatTheFileDoesNotExist) {
    EXPECT_EQ(errorsOfConstruction(leaveMissing),
              "error: Config file does not exist: /var/run/csc/config/kelo-client/ClientConfig.json\n");
}

TEST(ClientWithUnusableConfiguration, LogsThatItMayNotReadTheFile) {
    EXPECT_EQ(errorsOfConstruction(forbidReading),
              "error: Loading config file failed, error: Access to file denied: "
              "/var/run/csc/config/kelo-client/ClientConfig.json\n");
}

TEST(ClientWithUnusableConfiguration, LogsThatADirectoryIsNoFile) {
    EXPECT_EQ(errorsOfConstruction(makeDirectory),
              "error: Loading config file failed, error: Cannot open file: it is not a regular file: "
              "/var/run/csc/config/kelo-client/ClientConfig.json\n");
}

TEST(ClientWithUnusableConfiguration, LogsThatTheJsonBreaksOff) {
    EXPECT_EQ(
        errorsOfConstruction(breakOff),
        "error: Loading config file failed, error: JSON Exception: line 1, column 94: expected a value\n");
}

struct Unusable {
    const char* name;
    std::function<void()> prepare;
};

void PrintTo(const Unusable& unusable, std::ostream* stream) {
    *stream << unusable.name;
}

class ClientWithAnyUnusableConfiguration : public testing::TestWithParam<Unusable> {};

INSTANTIATE_TEST_SUITE_P(Because, ClientWithAnyUnusableConfiguration,
                         testing::Values(Unusable{"TheFileIsMissing", leaveMissing},
                                         Unusable{"TheFileMayNotBeRead", forbidReading},
                                         Unusable{"TheFileIsADirectory", makeDirectory},
                                         Unusable{"TheJsonBreaksOff", breakOff}),
                         [](const auto& testCase) { return std::string(testCase.param.name); });

TEST_P(ClientWithAnyUnusableConfiguration, IsConstructedWithoutAnException) {
    EXPECT_THAT(saidBy(GetParam().prepare,
                       [] {
                           try {
                               const ClampControlClient sut;
                               say("constructed");
                           } catch (...) {
                               say("threw");
                           }
                       }),
                HasSubstr("\nconstructed\n"));
}

TEST_P(ClientWithAnyUnusableConfiguration, AsksTheServiceRegistryAtTheDefaultAddress) {
    EXPECT_THAT(saidBy(GetParam().prepare,
                       [] {
                           const ClampControlClient sut;
                           sayRegistry();
                       }),
                HasSubstr("\nregistry: mode 1 at http://[::1]:80\n"));
}

TEST_P(ClientWithAnyUnusableConfiguration, FollowsTheServiceOnceItIsStarted) {
    EXPECT_THAT(saidBy(GetParam().prepare,
                       [] {
                           ClampControlClient sut;
                           say("---");
                           sut.Start();
                       }),
                HasSubstr("\n---\nservice registry: follow ClampControl\n"));
}

}  // namespace
