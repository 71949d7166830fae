// What is wrong with a bus file: all of it at once, each with its place.
#include <TemporaryDirectory.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/BusError.h"
#include "scenario/BusFile.h"
#include "zeb-bus-sim/BusSimulator.h"

namespace {

using testing::HasSubstr;
using zebbussim::Strictness;

/// The text of the error; empty if there is none.
std::string errorOf(const std::string& text, Strictness strictness = Strictness::Strict) {
    try {
        zebbussim::checkBusText(text, "The bus", "f", strictness);
        return "";
    } catch (const zebbussim::BusError& error) {
        EXPECT_EQ(error.number, 400);
        return error.what();
    }
}

std::string inServices(const std::string& services) {
    return "{\"services\":{\n" + services + "}}";
}

TEST(BusFile, IsAcceptedWithServicesThatNoModelHas) {
    EXPECT_EQ(errorOf(R"({"$schema":"bus.schema.json","services":{
        "ClampControl":{"clamps":[{"id":"1","type":"Clamp15","uri":"/ClampControl/clamps/1"}],"own":[]},
        "Users":{"groups":[{"id":"a","tags":["x",2],"next":{"id":5}}]}}})"),
              "");
}

TEST(BusFile, HasALineForEachMistakeInTheOrderOfTheFile) {
    EXPECT_EQ(errorOf(R"({"services": {
  "ClampControl": {
    "clamps": [
      {"id": "1", "isSwitchdOn": true, "type": "Clamp16"},
      {"name": "Größe", "isSwitchedOn": 1}
    ]
  }
}})"),
              "The bus has mistakes:\n"
              "f:4:19: /ClampControl/clamps has no field \"isSwitchdOn\". Did you mean \"isSwitchedOn\"? Its "
              "fields are \"isSwitchedOn\", \"type\", \"id\", \"name\" and \"uri\".\n"
              "f:4:48: \"type\" cannot be \"Clamp16\". Did you mean \"Clamp15\"? Its values are \"Clamp15\", "
              "\"ClampS\" and \"Clamp75_X\".\n"
              "f:5:7: The element has no \"id\".\n"
              "f:5:41: \"isSwitchedOn\" must be true or false, but is 1.");
}

TEST(BusFile, IsReportedWithTwentyMistakesAtMost) {
    std::string elements;
    for (int number = 0; number < 50; ++number) {
        elements += std::string(number == 0 ? "" : ",\n") + R"({"id":")" + std::to_string(number) +
                    R"(","isSwitchedOn":0})";
    }
    const std::string error = errorOf(inServices(R"("ClampControl":{"clamps":[)" + elements + "]}"));
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 21);
    EXPECT_THAT(error, testing::EndsWith("\nand 30 more"));
}

struct Mistake {
    const char* name;
    const char* services;
    const char* line;
};

void PrintTo(const Mistake& mistake, std::ostream* stream) {
    *stream << mistake.name;
}

class MistakeInABusFile : public testing::TestWithParam<Mistake> {};

TEST_P(MistakeInABusFile, IsRefusedStrictlyAndLeniently) {
    const std::string text = inServices(GetParam().services);
    for (const Strictness strictness : {Strictness::Strict, Strictness::Lenient}) {
        EXPECT_EQ(errorOf(text, strictness), GetParam().line);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, MistakeInABusFile,
    testing::Values(Mistake{"ServiceThatIsAList", R"("A":[])",
                            R"(f:2:5: The service "A" must be an object of resources, but is a list.)"},
                    Mistake{"ServiceThatIsBuiltIn", R"("serviceregistry":{})",
                            R"(f:2:1: The service "serviceregistry" is built in.)"},
                    Mistake{"ServiceThatCannotBeInAPath", R"("A/B":{})",
                            R"(f:2:1: A service cannot have the name "A/B".)"},
                    Mistake{"ResourceThatIsAnObject", R"("A":{"b":{}})",
                            R"(f:2:10: "/A/b" must be a list of elements, but is an object.)"},
                    Mistake{"ResourceThatCannotBeInAPath", R"("A":{"..":[]})",
                            R"(f:2:6: A resource cannot have the name "..".)"},
                    Mistake{"ElementThatIsNoObject", R"("A":{"b":["1"]})",
                            R"(f:2:11: An element must be an object, but is "1".)"},
                    Mistake{"ElementWithoutId", R"("A":{"b":[{}]})", R"(f:2:11: The element has no "id".)"},
                    Mistake{"IdThatIsANumber", R"("A":{"b":[{"id":1}]})",
                            R"(f:2:17: "id" must be a string, but is 1. Put it in quotes.)"},
                    Mistake{"IdThatCannotBeInAPath", R"("A":{"b":[{"id":""}]})",
                            R"(f:2:17: The id "" cannot be part of a path.)"},
                    Mistake{"RepeatedId", R"("A":{"b":[{"id":"1"},{"id":"\u0031"}]})",
                            R"(f:2:28: The id "1" occurs twice in "/A/b".)"},
                    Mistake{"NameThatIsNoString", R"("A":{"b":[{"id":"1","name":null}]})",
                            R"(f:2:28: "name" must be a string, but is null.)"},
                    Mistake{"ForeignUri", R"("A":{"b":[{"id":"1","uri":"/A/b/2"}]})",
                            R"(f:2:27: The "uri" of this element is "/A/b/1".)"}),
    [](const auto& instance) { return instance.param.name; });

class MistakeForStrictReaders : public testing::TestWithParam<Mistake> {};

TEST_P(MistakeForStrictReaders, IsRefusedStrictlyOnly) {
    const std::string text = inServices(GetParam().services);
    EXPECT_EQ(errorOf(text), GetParam().line);
    EXPECT_EQ(errorOf(text, Strictness::Lenient), "");
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, MistakeForStrictReaders,
    testing::Values(
        Mistake{"RepeatedService", R"("A":{},"A":{})", R"(f:2:8: The service "A" is repeated.)"},
        Mistake{"RepeatedResource", R"("A":{"b":[],"b":[]})", R"(f:2:13: The resource "b" is repeated.)"},
        Mistake{"RepeatedField", R"("Immobilizer":{"info":[{"id":"1","isLocked":true,"isLocked":false}]})",
                R"(f:2:50: The field "isLocked" is repeated.)"},
        Mistake{"WrongKind", R"("Immobilizer":{"info":[{"id":"1","stateOfLife":"3"}]})",
                R"(f:2:48: "stateOfLife" must be an integer, but is "3". Leave out the quotes.)"}),
    [](const auto& instance) { return instance.param.name; });

TEST(BusFile, HasNoOtherKeysAtItsTop) {
    EXPECT_EQ(errorOf(R"({"services":{},"service":{}})"),
              "f:1:16: Unknown key \"service\". Did you mean \"services\"? The keys here "
              "are \"services\" and \"$schema\".");
    EXPECT_EQ(errorOf(R"({"services":{},"service":{}})", Strictness::Lenient), "");
}

TEST(BusFile, NeedsServices) {
    EXPECT_EQ(errorOf("{}"), "f:1:1: There is no \"services\".");
    EXPECT_EQ(errorOf(R"({"services":[]})"), "f:1:13: \"services\" must be an object, but is a list.");
}

TEST(BusFile, IsJson) {
    EXPECT_EQ(errorOf("{\"\xC3\xA4\":\n\n  nothing}"), "f:3:3: This is not a JSON object: expected a value.");
    EXPECT_EQ(errorOf(""), "f:1:1: This is not a JSON object: expected an object; the file ends here.");
    EXPECT_EQ(errorOf("{\"services\":{},\n}"),
              "f:2:1: This is not a JSON object: expected a key in quotes; JSON has "
              "no comma "
              "behind the last one.");
    EXPECT_EQ(errorOf("[]"), "f:1:1: This is not a JSON object: expected an object.");
}

TEST(BusFile, CausesAWarningForANameThatIsNearlyOneOfAModel) {
    const std::vector<std::string> warnings = zebbussim::checkBusText(
        inServices(R"("ClampControll":{},"ClampControl":{"clamp":[]},"Own":{"clamp":[]})"), "The bus", "f",
        Strictness::Strict);
    const std::vector<std::string> expected{
        "f:2:1: warning: No model has \"ClampControll\", so nothing in it is checked. Did you mean "
        "\"ClampControl\"?",
        "f:2:36: warning: No model has \"clamp\", so nothing in it is checked. Did you mean \"clamps\"?"};
    EXPECT_EQ(warnings, expected);
}

TEST(BusFile, CausesNoWarningForOtherNamesOrLenientReaders) {
    EXPECT_TRUE(
        zebbussim::checkBusText(inServices(R"("Users":{"clamps":[]})"), "", "f", Strictness::Strict).empty());
    EXPECT_TRUE(
        zebbussim::checkBusText(inServices(R"("ClampControll":{})"), "", "f", Strictness::Lenient).empty());
}

TEST(BusFile, OfALargeBusIsChecked) {
    std::string elements;
    for (int number = 0; number < 100'000; ++number) {
        elements += R"({"id":")" + std::to_string(number) + R"(","isSwitchedOn":true,"type":"ClampS"},)";
    }
    EXPECT_EQ(errorOf(inServices(R"("ClampControl":{"clamps":[)" + elements + R"({"id":"x"}]})")), "");
}

TEST(BusFile, OfTheExamplesHasNoMistakes) {
    zebbussim::BusSimulator::Options options;
    options.lenient = false;
    zebbussim::BusSimulator bus(options);
    EXPECT_TRUE(bus.loadFile(VEHICLE_BUS_FILE).empty());
}

TEST(BusFile, WithAMistakeAddsNothing) {
    const test_support::TemporaryDirectory directory;
    const std::string file = (directory.path() / "bus.json").string();
    std::ofstream(file) << R"({"services":{"A":{"b":[{"id":"1"}]},"B":{"c":[{}]}}})";
    zebbussim::BusSimulator sut;
    try {
        sut.loadFile(file);
        FAIL() << "nothing was thrown";
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(error.what(), file + ":1:47: The element has no \"id\".");
    }
    EXPECT_THROW(sut.element("/A/b/1"), std::runtime_error);
}

TEST(BusFile, OfOneServiceIsCheckedAlike) {
    try {
        zebbussim::checkServiceText("ClampControl", R"({"clamps":[{"id":"1","on":true}]})",
                                    Strictness::Strict);
        FAIL() << "nothing was thrown";
    } catch (const zebbussim::BusError& error) {
        EXPECT_THAT(error.what(), HasSubstr("service ClampControl:1:22: "));
    }
}

}  // namespace
