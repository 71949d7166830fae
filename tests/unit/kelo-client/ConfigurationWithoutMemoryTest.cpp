// A separate program, whose operator new fails on request.
#include <FailingMemory.h>
#include <TemporaryDirectory.h>
#include <csc_logging/CSCLogging.h>
#include <gtest/gtest.h>
#include <kelo-client/ConfigurationCheck.h>
#include <kelo-client/ConfigurationManager.h>

#include <functional>
#include <memory>
#include <new>
#include <ostream>
#include <string>

namespace {

using kelo_client::ConfigurationManager;
using test_data_objects::allocationHasFailed;
using test_data_objects::allocationsLeft;

constexpr const char* kComplete = R"({
    "serviceRegistrySettings": {
        "mode": "staticBeforeDynamic, in a text that does not fit into a string object",
        "httpUri": "http://a-name-that-does-not-fit-into-a-string-object:8080",
        "serviceSettings": [
            {"service": "ClampControl", "useSeparator": true, "watchdogTimeout": 1000},
            {"service": "Immobilizer", "useSeparator": 1, "watchdogTimeout": "1"},
            {"service": "AuthenticTime", "useSeparator": true, "watchdogTimeout": 1}]},
    "services": {"ClampControl": {"serverBaseUri": "http://a-name-that-does-not-fit:80"}, "Immobilizer": {}}})";

struct Attempt {
    std::function<void()> work;
    std::function<void()> check;
};

/// Makes an attempt whose work may allocate nothing, then one with a single allocation, and so on until there
/// was enough memory. Checks after each.
template <typename Make>
void withMoreAndMoreMemory(Make make) {
    test_data_objects::failOnThisThreadOnly();
    for (long allocations = 0;; ++allocations) {
        SCOPED_TRACE(std::to_string(allocations) + " allocations");
        const auto attempt = make();
        allocationHasFailed = false;
        allocationsLeft = allocations;
        attempt.work();
        allocationsLeft = -1;
        attempt.check();
        if (!allocationHasFailed || testing::Test::HasFailure()) {
            return;
        }
    }
}

struct File {
    const char* name;
    /// Returns the path.
    std::function<std::string(const test_support::TemporaryDirectory&)> make;
};

void PrintTo(const File& file, std::ostream* stream) {
    *stream << file.name;
}

File with(const char* name, const char* content) {
    return {name, [content](const auto& directory) { return directory.write("config.json", content); }};
}

class LoadWithoutMemory : public testing::TestWithParam<File> {
 protected:
    LoadWithoutMemory() { csc_logging::CSCLogging::InitLogging("Test"); }
};

INSTANTIATE_TEST_SUITE_P(
    Of, LoadWithoutMemory,
    testing::Values(with("ACompleteFile", kComplete), with("AnEmptyObject", "{}"), with("AnEmptyFile", ""),
                    with("BrokenJson", "{\"services\": {\n oops}}"), with("AnotherRoot", "[1, 2]"),
                    with("Null", "null"), with("SectionsOfAnotherType", R"({"services": [], "a": 1})"),
                    File{"NoPath", [](const auto&) { return std::string(); }},
                    File{"ADirectory", [](const auto& directory) { return directory.path().string(); }},
                    File{"ADirectoryWithASlash",
                         [](const auto& directory) { return directory.path().string() + "/"; }},
                    File{"NoFile", [](const auto& directory) { return directory.path().string() + "/no"; }}),
    [](const auto& instance) { return instance.param.name; });

TEST_P(LoadWithoutMemory, DoesNotThrowWhereverMemoryRunsOut) {
    const test_support::TemporaryDirectory directory;
    const std::string path = GetParam().make(directory);
    withMoreAndMoreMemory([&path] {
        const auto sut = std::make_shared<ConfigurationManager>(path);
        return Attempt{[sut] {
                           try {
                               sut->load();
                           } catch (...) {
                               allocationsLeft = -1;
                               ADD_FAILURE() << "an exception";
                           }
                       },
                       [] {}};
    });
}

TEST_P(LoadWithoutMemory, LeavesAllSettingsAsInTheFileOrAllDefaults) {
    const test_support::TemporaryDirectory directory;
    const std::string path = GetParam().make(directory);
    ConfigurationManager complete(path);
    complete.load();
    withMoreAndMoreMemory([&] {
        const auto sut = std::make_shared<ConfigurationManager>(path);
        const auto check = [sut, &complete] {
            const ConfigurationManager none;
            const ConfigurationManager& expected =
                allocationHasFailed && sut->isToBeLoadedAgain() ? none : complete;
            EXPECT_EQ(sut->getServiceRegistrySettings().mode, expected.getServiceRegistrySettings().mode);
            EXPECT_EQ(sut->getServiceRegistrySettings().httpUri,
                      expected.getServiceRegistrySettings().httpUri);
            EXPECT_EQ(sut->getServiceSettings()->size(), expected.getServiceSettings()->size());
            EXPECT_EQ(sut->getServerBaseUri("ClampControl"), expected.getServerBaseUri("ClampControl"));
            EXPECT_EQ(sut->getServices()->size(), expected.getServices()->size());
        };
        return Attempt{[sut] { sut->load(); }, check};
    });
}

TEST_P(LoadWithoutMemory, LeavesNothingButBadAllocToBeThrownByACheck) {
    const test_support::TemporaryDirectory directory;
    const std::string path = GetParam().make(directory);
    withMoreAndMoreMemory([&path] {
        return Attempt{[&path] {
                           try {
                               static_cast<void>(kelo_client::checkConfiguration(path));
                           } catch (const std::bad_alloc&) {
                               return;
                           } catch (...) {
                               allocationsLeft = -1;
                               ADD_FAILURE() << "another exception";
                           }
                       },
                       [] {}};
    });
}

TEST(ServicesWithoutMemory, AreAllThereOnceThereIsMemory) {
    const test_support::TemporaryDirectory directory;
    const std::string path = directory.write("config.json", kComplete);
    withMoreAndMoreMemory([&path] {
        const auto sut = std::make_shared<ConfigurationManager>(path);
        sut->load();
        return Attempt{[sut] {
                           try {
                               static_cast<void>(sut->getServices());
                           } catch (const std::bad_alloc&) {
                               return;
                           }
                       },
                       [sut] { EXPECT_EQ(sut->getServices()->size(), 2U); }};
    });
}

}  // namespace
