#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelo-client/ConfigurationCheck.h>
#include <kelo-client/ConfigurationManager.h>

#include <string>

#include "ConfigurationHint.h"

namespace {

using clampcontrolclient::configurationHint;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

std::string hintOf(const std::string& text) {
    return configurationHint(kelo_client::checkConfigurationText(text, "my.json"));
}

TEST(ConfigurationHint, IsEmptyForAConfigurationWithoutFault) {
    EXPECT_THAT(hintOf(R"({"serviceRegistrySettings":{"mode":"staticOnly"},
                           "services":{"ClampControl":{"serverBaseUri":"http://127.0.0.1:80"}}})"),
                IsEmpty());
}

TEST(ConfigurationHint, NamesThePlaceOfASyntaxError) {
    EXPECT_THAT(hintOf("{\n  oops"), StartsWith(". Configuration: my.json:2:3: the file is not JSON"));
}

TEST(ConfigurationHint, NamesAMisspeltKeyBesideWhatItLeadsTo) {
    EXPECT_THAT(hintOf(R"({"serviceRegistrySettings":{"mode":"staticOnly"},
                           "services":{"ClampControl":{"serverBaseUrl":"http://127.0.0.1:80"}}})"),
                AllOf(HasSubstr("\"serverBaseUri\" is missing"), HasSubstr("; 2:56: "),
                      HasSubstr("did you mean \"serverBaseUri\"?")));
}

TEST(ConfigurationHint, PrefersAnUnknownModeToItsConsequences) {
    EXPECT_THAT(hintOf(R"({"serviceRegistrySettings":{"mode":"staticonly"},
                           "services":{"ClampControl":{"serverBaseUri":"http://127.0.0.1:80"}}})"),
                StartsWith(". Configuration: my.json:1:36: serviceRegistrySettings.mode: unknown mode"));
}

TEST(ConfigurationHint, IsEmptyForAFaultOfTheWatchdogAlone) {
    EXPECT_THAT(hintOf(R"({"serviceRegistrySettings":{"mode":"staticOnly",
                             "serviceSettings":[{"service":"ClampControl","watchdogTimeout":1000}]},
                           "services":{"ClampControl":{"serverBaseUri":"http://127.0.0.1:80"}}})"),
                IsEmpty());
}

TEST(ConfigurationHint, IsEmptyForAFaultOfAnotherService) {
    EXPECT_THAT(hintOf(R"({"serviceRegistrySettings":{"mode":"staticOnly"},
                           "services":{"ClampControl":{"serverBaseUri":"http://127.0.0.1:80"},
                                       "Lighting":{"serverBaseUri":5}}})"),
                IsEmpty());
}

TEST(ConfigurationHint, LeavesRoomForTheReason) {
    const std::string longText(5'000, 'x');
    EXPECT_THAT(configurationHint(kelo_client::checkConfigurationText(
                    R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{
                        "serverBaseUri":")" +
                        longText + R"(","serverBasePathHTTP":")" + longText + "\"}}}",
                    longText)),
                SizeIs(::testing::Lt(800U)));
}

TEST(ConfigurationHint, SaysThatAFileWasMissing) {
    kelo_client::ConfigurationManager configuration("/nonexistent/my.json");
    configuration.load();
    EXPECT_THAT(configurationHint(configuration),
                StartsWith(". Configuration: /nonexistent/my.json: the file does not exist"));
}

TEST(ConfigurationHint, SaysThatAFileWasNotReadThoughItIsFineNow) {
    // "the file" is not read before load().
    const kelo_client::ConfigurationManager configuration(JSON_FILE);
    EXPECT_THAT(configurationHint(configuration),
                HasSubstr("was not used, so the defaults apply: it was not read"));
}

}  // namespace
