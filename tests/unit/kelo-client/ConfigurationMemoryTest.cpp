// A separate program, whose operator new counts.
#include <CountedMemory.h>
#include <RecordingAraLog.h>
#include <TemporaryDirectory.h>
#include <csc_logging/CSCLogging.h>
#include <gtest/gtest.h>
#include <kelo-client/ConfigurationCheck.h>
#include <kelo-client/ConfigurationManager.h>

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>

namespace {

using kelo_client::ConfigurationManager;
using test_support::CountedMemory;
using test_support::RecordingAraLog;

constexpr std::size_t kLargest = 1'048'576;

/// What a file stream, a log line and a few small allocations add.
constexpr std::size_t kRounding = std::size_t{64} * 1024;

struct Configuration {
    const char* name;
    std::string begin;
    /// Writes the entry with that number.
    std::function<std::string(int)> entry;
    std::string end;

    std::string text() const {
        std::string text = begin + entry(0);
        for (int number = 1;; ++number) {
            const std::string next = "," + entry(number);
            if (text.size() + next.size() + end.size() > kLargest) {
                return text + end;
            }
            text += next;
        }
    }
};

void PrintTo(const Configuration& configuration, std::ostream* stream) {
    *stream << configuration.name;
}

class ConfigurationMemory : public testing::TestWithParam<Configuration> {
 protected:
    ConfigurationMemory() {
        RecordingAraLog::enableUpTo(ara::log::LogLevel::kOff);
        csc_logging::CSCLogging::CreateLogger("Test");
    }

    const test_support::TemporaryDirectory directory_;
};

std::string asKey(int number) {
    return "\"" + std::to_string(number) + "\":";
}

INSTANTIATE_TEST_SUITE_P(
    Of, ConfigurationMemory,
    testing::Values(
        Configuration{"Junk", R"({"junk":[)", [](int) { return "{}"; }, "]}"},
        Configuration{"JunkKeys", "{", [](int number) { return asKey(number) + "0"; }, "}"},
        Configuration{"EmptyServices", R"({"services":{)", [](int number) { return asKey(number) + "{}"; },
                      "}}"},
        Configuration{"JunkInAService", R"({"services":{"ClampControl":{"a":[)", [](int) { return "[]"; },
                      "]}}}"},
        Configuration{"JunkSettings", R"({"serviceRegistrySettings":{"serviceSettings":[)",
                      [](int) { return "{}"; }, "]}}"},
        Configuration{"Settings", R"({"serviceRegistrySettings":{"serviceSettings":[)",
                      [](int number) {
                          return R"({"service":")" + std::to_string(number) +
                                 R"(","useSeparator":true,"watchdogTimeout":1})";
                      },
                      "]}}"},
        Configuration{"EscapedServices", R"({"services":{)",
                      [](int number) { return "\"\\n" + asKey(number).substr(1) + "{}"; }, "}}"},
        Configuration{"FaultyServices", R"({"services":{)",
                      [](int number) { return asKey(number) + R"({"watchdogTimeout":""})"; }, "}}"},
        Configuration{"AKeyAgainAndAgain", R"({"services":{"ClampControl":{)",
                      [](int) { return R"("serverBaseUri":"")"; }, "}}}"},
        Configuration{"MistypedKeys", R"({"services":{"ClampControl":{)",
                      [](int number) { return "\"serverBaseU" + asKey(number).substr(1) + "0"; }, "}}}"},
        Configuration{
            "LongNames", R"({"services":{)",
            [](int number) { return "\"" + std::string(1000, 'x') + asKey(number).substr(1) + "{}"; }, "}}"},
        Configuration{
            "FaultyEntries", R"({"serviceRegistrySettings":{"serviceSettings":[)",
            [](int number) { return R"({"service":")" + std::to_string(number) + R"(","useSeparator":1})"; },
            "]}}"},
        Configuration{"AnotherRoot", "[", [](int) { return "{}"; }, "]"},
        Configuration{"Lines", R"({"junk":[)", [](int) { return "\n0\n"; }, "]}"},
        Configuration{"BrokenJson", R"({"junk":[)", [](int) { return "{}"; }, "]"}),
    [](const auto& instance) { return instance.param.name; });

TEST_P(ConfigurationMemory, IsAtMostEightTimesTheFileWhileItIsRead) {
    const std::string path = directory_.write("config.json", GetParam().text()).string();
    const CountedMemory memory;
    ConfigurationManager sut(path);
    sut.load();
    static_cast<void>(sut.isServiceConfigurationKnown("ClampControl"));
    EXPECT_LE(memory.peak(), 8 * kLargest + kRounding);
}

TEST_P(ConfigurationMemory, IsAtMostEightTimesTheFileWhileItIsChecked) {
    const std::string path = directory_.write("config.json", GetParam().text()).string();
    const CountedMemory memory;
    static_cast<void>(kelo_client::checkConfiguration(path));
    EXPECT_LE(memory.peak(), 8 * kLargest + kRounding);
}

TEST_P(ConfigurationMemory, IsLittleInAReport) {
    const std::string path = directory_.write("config.json", GetParam().text()).string();
    const CountedMemory memory;
    const auto report = kelo_client::checkConfiguration(path);
    EXPECT_LE(report.findings.size(), 300U);
    EXPECT_LE(memory.inUse(), static_cast<std::ptrdiff_t>(kLargest / 2));
}

TEST_P(ConfigurationMemory, IsAllGivenBack) {
    const std::string path = directory_.write("config.json", GetParam().text()).string();
    const CountedMemory memory;
    {
        ConfigurationManager sut(path);
        sut.load();
    }
    EXPECT_LE(memory.inUse(), static_cast<std::ptrdiff_t>(kRounding));
}

TEST_F(ConfigurationMemory, KeepsNothingThatIsNotAboutServices) {
    const std::string path =
        directory_.write("config.json", R"({"junk":")" + std::string(1'000'000, 'x') + "\"}").string();
    const CountedMemory memory;
    ConfigurationManager sut(path);
    sut.load();
    EXPECT_LE(memory.inUse(), static_cast<std::ptrdiff_t>(kRounding));
}

}  // namespace
