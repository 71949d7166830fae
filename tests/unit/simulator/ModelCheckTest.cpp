// What is wrong with an element or a change of it, measured by the models of the services.
#include <NamedText.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "model/BusError.h"
#include "model/ModelCheck.h"
#include "model/ServiceModels.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using zebbussim::elementProblems;
using zebbussim::FieldKind;
using zebbussim::scenarioDataProblems;

const zebbussim::BusPath kClamp{"ClampControl", "clamps", "1"};
const zebbussim::BusPath kImmobilizer{"Immobilizer", "info", "1"};
const zebbussim::BusPath kOperation{"servicemanagement", "httpOperationTypes", "1"};
const zebbussim::BusPath kTransaction{"servicemanagement", "transactionTypes", "1"};

/// The text that the first problem's place begins with, and its message.
std::string firstProblem(const zebbussim::BusPath& path, const std::string& json) {
    const zebbussim::DataProblems problems = elementProblems(path, json);
    if (problems.empty()) {
        return "";
    }
    const zebbussim::DataProblem& first = problems.kept().front();
    return json.substr(first.byte, 6) + " | " + first.message;
}

std::string problemWithClamp(const std::string& json) {
    return firstProblem(kClamp, json);
}

std::string problemWithTransaction(const std::string& json) {
    return firstProblem(kTransaction, json);
}

TEST(ServiceModels, HaveTheFieldsOfAResourceInTheirOrder) {
    const zebbussim::ResourceModel* const sut = zebbussim::findResourceModel("ClampControl", "clamps");
    ASSERT_NE(sut, nullptr);
    ASSERT_EQ(sut->fields.size(), 2U);
    EXPECT_EQ(sut->fields[0].key, "isSwitchedOn");
    EXPECT_EQ(sut->fields[0].kind, FieldKind::Bool);
    const std::vector<std::string_view> literals{"Clamp15", "ClampS", "Clamp75_X"};
    EXPECT_EQ(sut->fields[1].literals, literals);
}

TEST(ServiceModels, HaveNothingForWhatNoModelHas) {
    EXPECT_EQ(zebbussim::findServiceModel("clampcontrol"), nullptr);
    EXPECT_EQ(zebbussim::findResourceModel("Nothing", "clamps"), nullptr);
    EXPECT_EQ(zebbussim::findResourceModel("ClampControl", "clamp"), nullptr);
    EXPECT_EQ(zebbussim::findResourceModel("ClampControl", "clamps")->find("id"), nullptr);
}

TEST(ServiceModels, NameTheKindsOfFieldsInWords) {
    EXPECT_EQ(zebbussim::kindText(FieldKind::Bool), "bool");
    EXPECT_EQ(zebbussim::kindText(FieldKind::Enumerations), "enumerations");
    EXPECT_EQ(zebbussim::kindText(FieldKind::References), "references");
}

class RightData : public testing::TestWithParam<test_support::NamedText> {};

TEST_P(RightData, HasNoProblem) {
    EXPECT_EQ(problemWithTransaction(GetParam().text), "");
}

INSTANTIATE_TEST_SUITE_P(
    Transactions, RightData,
    testing::Values(
        test_support::NamedText{"Nothing", "{}"},
        test_support::NamedText{"WhatEveryElementHas",
                                R"({"id":"1","name":"a","uri":"/servicemanagement/transactionTypes/1"})"},
        test_support::NamedText{
            "References",
            R"({"attachedOperations":[{"uri":"/servicemanagement/httpOperationTypes/1"},{"id":"1","uri":"/a/b/c"}]})"},
        test_support::NamedText{"NoReferences", R"({"attachedOperations":[]})"},
        test_support::NamedText{"Reference", R"({"connectionState":{"id":"1","name":"b","uri":"/a/b/c"}})"},
        test_support::NamedText{"NoReference", R"({"connectionState":null})"},
        test_support::NamedText{"Enumerations", R"({"privacyGroups":["trackingData","locationData"]})"},
        test_support::NamedText{"WhiteSpace", "\n{ \"privacyGroups\" : [ \"trackingData\" ] }\n"}),
    test_support::nameOf);

TEST(ModelCheck, AcceptsEveryKindOfScalar) {
    EXPECT_EQ(problemWithClamp(R"({"isSwitchedOn":true,"type":"Clamp75_X"})"), "");
    EXPECT_EQ(firstProblem(kImmobilizer,
                           R"({"learnedKeyValue":-9223372036854775808,"vehicleIdentificationNumber":""})"),
              "");
}

TEST(ModelCheck, NamesTheFieldThatWasProbablyMeant) {
    EXPECT_EQ(problemWithClamp(R"({"isSwitchdOn":true})"),
              "\"isSwi | /ClampControl/clamps has no field \"isSwitchdOn\". Did you mean \"isSwitchedOn\"? "
              "Its fields are \"isSwitchedOn\", \"type\", \"id\", \"name\" and \"uri\".");
    EXPECT_EQ(problemWithTransaction(R"({"privacy_groups":[]})"),
              "\"priva | /servicemanagement/transactionTypes has no field \"privacy_groups\". Did you mean "
              "\"privacyGroups\"?");
}

TEST(ModelCheck, ListsTheFieldsIfNoneIsSimilar) {
    EXPECT_EQ(problemWithClamp(R"({"level":3})"),
              "\"level | /ClampControl/clamps has no field \"level\". Its fields are \"isSwitchedOn\", "
              "\"type\", \"id\", \"name\" and \"uri\".");
}

TEST(ModelCheck, NamesTheLiteralThatWasProbablyMeant) {
    EXPECT_EQ(problemWithClamp(R"({"type":"Clamp_15"})"),
              "\"Clamp | \"type\" cannot be \"Clamp_15\". Did you mean \"Clamp15\"? Its values are "
              "\"Clamp15\", \"ClampS\" and \"Clamp75_X\".");
}

TEST(ModelCheck, WantsTheExactSpellingOfALiteral) {
    EXPECT_THAT(problemWithClamp(R"({"type":"clamp15"})"), HasSubstr("Did you mean \"Clamp15\"?"));
}

struct WrongKind {
    const char* name;
    zebbussim::BusPath path;
    const char* json;
    const char* problem;
};

void PrintTo(const WrongKind& wrong, std::ostream* stream) {
    *stream << wrong.name;
}

class DataOfTheWrongKind : public testing::TestWithParam<WrongKind> {};

TEST_P(DataOfTheWrongKind, IsFoundAndExplained) {
    EXPECT_EQ(firstProblem(GetParam().path, GetParam().json), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    Values, DataOfTheWrongKind,
    testing::Values(
        WrongKind{"TextForBool", kClamp, R"({"isSwitchedOn":"on"})",
                  R"("on"} | "isSwitchedOn" must be true or false, but is "on".)"},
        WrongKind{"QuotedBool", kClamp, R"({"isSwitchedOn":"true"})",
                  R"("true" | "isSwitchedOn" must be true or false, but is "true". Leave out the quotes.)"},
        WrongKind{"NumberForBool", kClamp, R"({"isSwitchedOn":1})",
                  R"(1} | "isSwitchedOn" must be true or false, but is 1.)"},
        WrongKind{"NullForBool", kClamp, R"({"isSwitchedOn":null})",
                  R"(null} | "isSwitchedOn" must be true or false, but is null.)"},
        WrongKind{"NumberForLiteral", kClamp, R"({"type":0})",
                  R"(0} | "type" must be one of the texts "Clamp15", "ClampS" or "Clamp75_X", but is 0.)"},
        WrongKind{"TextForInteger", kImmobilizer, R"({"stateOfLife":"three"})",
                  R"("three | "stateOfLife" must be an integer, but is "three".)"},
        WrongKind{"QuotedInteger", kImmobilizer, R"({"stateOfLife":"3"})",
                  R"("3"} | "stateOfLife" must be an integer, but is "3". Leave out the quotes.)"},
        WrongKind{"Fraction", kImmobilizer, R"({"stateOfLife":3.0})",
                  R"(3.0} | "stateOfLife" must be an integer, but is 3.0.)"},
        WrongKind{"Exponent", kImmobilizer, R"({"stateOfLife":3e2})",
                  R"(3e2} | "stateOfLife" must be an integer, but is 3e2.)"},
        WrongKind{"LargeInteger", kImmobilizer, R"({"stateOfLife":9223372036854775808})",
                  "922337 | \"stateOfLife\" must be an integer of at most 64 bits, but is "
                  "9223372036854775808."},
        WrongKind{"NumberForString", kImmobilizer, R"({"vehicleIdentificationNumber":15})",
                  R"(15} | "vehicleIdentificationNumber" must be a string, but is 15. Put it in quotes.)"},
        WrongKind{"ListForString", kImmobilizer, R"({"vehicleIdentificationNumber":[]})",
                  R"([]} | "vehicleIdentificationNumber" must be a string, but is a list.)"},
        WrongKind{"TextForList", kOperation, R"({"tlsServerHpkpHash":"a"})",
                  R"("a"} | "tlsServerHpkpHash" must be a list, but is "a".)"},
        WrongKind{"NumberInListOfStrings", kOperation, R"({"tlsServerHpkpHash":["a",5]})",
                  R"(5]} | Entry 2 of "tlsServerHpkpHash" must be a string, but is 5. Put it in quotes.)"},
        WrongKind{"NullForList", kTransaction, R"({"attachedOperations":null})",
                  R"(null} | "attachedOperations" must be a list, but is null.)"},
        WrongKind{"NullInListOfReferences", kTransaction, R"({"attachedOperations":[null]})",
                  "null]} | Entry 1 of \"attachedOperations\" must be a reference, an object with the "
                  "\"uri\" of an element, but is null."},
        WrongKind{"PathForReference", kTransaction, R"({"connectionState":"/a/b/c"})",
                  "\"/a/b/ | \"connectionState\" must be a reference, an object with the \"uri\" of an "
                  "element, or null, but is \"/a/b/c\"."},
        WrongKind{"ReferenceWithoutUri", kTransaction, R"({"connectionState":{"id":"1"}})",
                  "{\"id\": | \"connectionState\" needs a \"uri\" that is the path of an element: "
                  "/<service>/<resource>/<id>."},
        WrongKind{"ReferenceToACollection", kTransaction, R"({"connectionState":{"uri":"/a/b"}})",
                  "\"/a/b\" | \"connectionState\" needs a \"uri\" that is the path of an element: "
                  "/<service>/<resource>/<id>."},
        WrongKind{"NumberAsName", kClamp, R"({"name":5})",
                  R"(5} | "name" must be a string, but is 5. Put it in quotes.)"}),
    [](const auto& instance) { return instance.param.name; });

TEST(ModelCheck, NamesTheEntryOfAListOfLiterals) {
    EXPECT_THAT(problemWithTransaction(R"({"privacyGroups":["trackingData","locationdata"]})"),
                StartsWith("\"locat | Entry 2 of \"privacyGroups\" cannot be \"locationdata\". Did you mean "
                           "\"locationData\"?"));
}

TEST(ModelCheck, FindsAKeyAndALiteralHoweverTheyAreEscaped) {
    EXPECT_EQ(problemWithClamp(R"({"\u0074ype":"Clamp\u00315"})"), "");
}

TEST(ModelCheck, FindsARepeatedField) {
    EXPECT_EQ(problemWithClamp(R"({"type":"ClampS","\u0074ype":"ClampS"})"),
              "\"\\u007 | The field \"type\" is repeated.");
}

TEST(ModelCheck, FindsAllProblemsAtOnce) {
    const auto problems = elementProblems(kClamp, R"({"isSwitchedOn":1,"type":2,"name":3})");
    EXPECT_EQ(problems.kept().size(), 3U);
    EXPECT_EQ(problems.sentences().find("\"isSwitchedOn\" must be true or false, but is 1. \"type\" must"),
              0U);
}

TEST(ModelCheck, ShortensAndEscapesWhatItQuotes) {
    const std::string key = "\xE2\x80\xAE" + std::string(5000, 'x');
    const std::string problem = problemWithClamp("{\"" + key + "\":1}");
    EXPECT_EQ(problem.rfind('\xE2'), 1U);  // in the data itself
    EXPECT_THAT(problem, HasSubstr("\\u202e"));
    EXPECT_THAT(problem, HasSubstr("bytes cut)"));
    EXPECT_LT(problem.size(), 500U);
}

TEST(ModelCheck, KeepsTwentyProblemsAndCountsTheOthers) {
    std::string json = "{\"a0\":0";
    for (int number = 1; number < 100'000; ++number) {
        json += ",\"a" + std::to_string(number) + "\":0";
    }
    const auto problems = elementProblems(kClamp, json + "}");
    EXPECT_EQ(problems.kept().size(), 20U);
    EXPECT_EQ(problems.leftOut(), 99'980U);
    EXPECT_THAT(problems.sentences(), testing::EndsWith(" And 99980 more."));
}

TEST(ModelCheck, ChecksNothingThatNoModelHas) {
    EXPECT_EQ(firstProblem({"Users", "groups", "a"}, R"({"tags":["x",2],"name":5})"), "");
    EXPECT_EQ(firstProblem({"ClampControl", "lamps", "1"}, R"({"type":1})"), "");
}

TEST(ModelCheck, RefusesWithAllSentences) {
    try {
        zebbussim::requireModelled(kClamp, R"({"isSwitchedOn":1,"type":"ClampS","on":2})");
        FAIL() << "nothing was thrown";
    } catch (const zebbussim::BusError& error) {
        EXPECT_EQ(error.number, 400);
        EXPECT_EQ(error.reason, "bad_request");
        EXPECT_THAT(error.what(), StartsWith("\"isSwitchedOn\" must be"));
        EXPECT_THAT(error.what(), HasSubstr("has no field \"on\""));
    }
}

TEST(DataOfAScenario, HasItsPlacesInTheScenario) {
    const std::string scenario =
        R"([{"set": {"path": "/ClampControl/clamps/1", "data": {"type": "Clamp16", "isSwitchedOn": true}}}])";
    const std::size_t begin = scenario.find("{\"type");
    const std::string data = scenario.substr(begin, scenario.find('}') + 1 - begin);
    const auto problems = scenarioDataProblems("/ClampControl/clamps/1", data, begin);
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_EQ(problems[0].byte, scenario.find("\"Clamp16"));
    EXPECT_THAT(problems[0].message, StartsWith("\"type\" cannot be \"Clamp16\""));
}

TEST(DataOfAScenario, IsNotCheckedForAPathThatIsNoElement) {
    for (const char* path : {"", "/", "ClampControl/clamps/1", "/ClampControl/clamps", "/a/b/c/d"}) {
        EXPECT_TRUE(scenarioDataProblems(path, R"({"type":1})", 0).empty()) << path;
    }
    EXPECT_EQ(scenarioDataProblems("/ClampControl/clamps/1/", R"({"type":1})", 0).size(), 1U);
}

TEST(DataProblems, AreLinesInTheOrderOfTheText) {
    zebbussim::DataProblems sut;
    sut.add(9, [] { return "second"; });
    sut.add(1, [] { return "first"; });
    const std::vector<std::string> expected{"a.json:1:2: first", "a.json:2:4: second"};
    EXPECT_EQ(sut.lines("a.json", "{\"a\"\n\xC3\xA4\"b\"}"), expected);
}

TEST(DataProblems, SayHowManyMoreThereAre) {
    zebbussim::DataProblems sut;
    for (int number = 0; number < 23; ++number) {
        sut.add(0, [] { return "wrong"; });
    }
    const std::vector<std::string> lines = sut.lines("a.json", "{}");
    ASSERT_EQ(lines.size(), 21U);
    EXPECT_EQ(lines.back(), "and 3 more");
}

}  // namespace
