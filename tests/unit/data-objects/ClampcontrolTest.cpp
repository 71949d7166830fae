#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zebutil/JsonObject.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "DataObjectTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using zebobjects_ZEB::ClampcontrolService;
using zebutil::JsonObject;

using Clamp = ClampcontrolService::Clamp;
using ClampDescriptor = ClampcontrolService::ClampDescriptor;
using CLAMP_TYPE = ClampcontrolService::CLAMP_TYPE;
using CLAMP_FIELDS = ClampcontrolService::CLAMP_FIELDS;
using Notification = ClampcontrolService::Notification;
using SpecialState = ClampcontrolService::SpecialState;

constexpr auto kUnknownType = static_cast<CLAMP_TYPE>(7);

class Clampcontrol : public test_data_objects::DataObjectTest {
 protected:
    std::vector<std::string> messages() const { return messagesOf("Clampcontrol"); }
};

template <typename R>
R objectOf(const std::string& json) {
    return R(JsonObject::parse(json));
}

std::vector<zeb::ZebFilter::Term> termsOf(const zeb::XObjectDescriptor& descriptor) {
    return {descriptor.getFilter().begin(), descriptor.getFilter().end()};
}

std::vector<zeb::QueryOptions::Option> optionsOf(const zeb::XObjectDescriptor& descriptor) {
    return {descriptor.getQueryOptions().begin(), descriptor.getQueryOptions().end()};
}

// Names and types

TEST_F(Clampcontrol, HasItsNames) {
    EXPECT_EQ(ClampcontrolService::getServiceName(), "ClampControl");
    EXPECT_EQ(Clamp::getServiceName(), "ClampControl");
    EXPECT_EQ(Clamp::getResourceName(), "clamps");
    EXPECT_EQ(Notification::getResourceName(), "notifications");
    EXPECT_EQ(SpecialState::getResourceName(), "specialStates");
}

TEST_F(Clampcontrol, HasTheBasesThatThePlatformKnows) {
    EXPECT_TRUE((std::is_base_of_v<zeb::Service, ClampcontrolService>));
    EXPECT_TRUE((std::is_base_of_v<zeb::XObject<ClampDescriptor>, Clamp>));
    EXPECT_TRUE((std::is_base_of_v<zeb::XObjectDescriptor, ClampDescriptor>));
    EXPECT_TRUE((std::is_same_v<Clamp::Desctype, ClampDescriptor>));
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<CLAMP_TYPE>, std::int32_t>));
}

// Filling

TEST_F(Clampcontrol, FillsAClamp) {
    const auto sut = objectOf<Clamp>(R"({"id":"1","isSwitchedOn":true,"type":"ClampS"})");
    EXPECT_EQ(sut.getId().getValue(), "1");
    EXPECT_TRUE(sut.getIsSwitchedOn().getValue());
    EXPECT_EQ(sut.getType().getValue(), CLAMP_TYPE::ClampS);
    EXPECT_EQ(ClampcontrolService::to_string(sut.getType()), "ClampS(1)");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Clampcontrol, LeavesEveryFieldEmptyWhenThereIsOnlyAnId) {
    const auto sut = objectOf<Clamp>(R"({"id":"1"})");
    EXPECT_EQ(sut.getId().getValue(), "1");
    EXPECT_FALSE(sut.getIsSwitchedOn().hasValue() || sut.getType());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Clampcontrol, SaysWhyABooleanCouldNotBeRead) {
    const auto sut = objectOf<Clamp>(R"({"isSwitchedOn":"banana","type":"Clamp15"})");
    EXPECT_THAT(messages(),
                ElementsAre("could not get isSwitchedOn as bool, exception=\"isSwitchedOn\": expected a "
                            "boolean, found the string \"banana\""));
    EXPECT_FALSE(sut.getIsSwitchedOn().hasValue());
    EXPECT_EQ(sut.getType().getValue(), CLAMP_TYPE::Clamp15);
}

TEST_F(Clampcontrol, SaysWhyANullCouldNotBeRead) {
    objectOf<Clamp>(R"({"isSwitchedOn":null})");
    EXPECT_THAT(messages(), ElementsAre(HasSubstr("could not get isSwitchedOn as bool, exception=")));
}

TEST_F(Clampcontrol, SaysWhyAnIntegerCouldNotBeRead) {
    const auto sut = objectOf<Notification>(R"({"type":"DriverInfo","value":1.5})");
    EXPECT_THAT(messages(), ElementsAre(HasSubstr("could not get value as int64_t, exception=")));
    EXPECT_FALSE(sut.getValue());
}

TEST_F(Clampcontrol, SaysWhyAnElementIdCouldNotBeRead) {
    objectOf<SpecialState>(R"({"elementId":"x"})");
    EXPECT_THAT(messages(), ElementsAre(HasSubstr("could not get elementId as int64_t, exception=")));
}

TEST_F(Clampcontrol, RefusesATypeInTheWrongCase) {
    const auto sut = objectOf<Clamp>(R"({"type":"clamp15"})");
    EXPECT_THAT(messages(), ElementsAre("unknown enum value in type"));
    EXPECT_FALSE(sut.getType());
    EXPECT_EQ(ClampcontrolService::to_string(sut.getType()), "optional invalid");
}

TEST_F(Clampcontrol, NamesTheKeyOfAnUnknownLiteral) {
    objectOf<SpecialState>(
        R"({"functionStatus":"x","immobilizerRequest":"Init","requestingFunction":"","elementId":1})");
    EXPECT_THAT(messages(), ElementsAre("unknown enum value in functionStatus",
                                        "unknown enum value in immobilizerRequest",
                                        "unknown enum value in requestingFunction"));
}

TEST_F(Clampcontrol, TakesTheTextOfANumberForALiteral) {
    objectOf<Clamp>(R"({"type":0})");
    EXPECT_THAT(messages(), ElementsAre("unknown enum value in type"));
}

TEST_F(Clampcontrol, EndsTheFillSilentlyWhenAnEnumerationIsNoText) {
    const auto sut = objectOf<Notification>(R"({"id":"1","type":null,"value":3})");
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_FALSE(sut.getType() || sut.getValue());
    EXPECT_EQ(sut.getId().getValue(), "1");
}

TEST_F(Clampcontrol, EndsTheFillSilentlyWhenTheIdentityIsNoText) {
    const auto sut = objectOf<Clamp>(R"({"id":"1","name":[],"uri":"/x/1","isSwitchedOn":true})");
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_TRUE(sut.getId());
    EXPECT_FALSE(sut.getName() || sut.getUri() || sut.getIsSwitchedOn().hasValue());
}

TEST_F(Clampcontrol, ChangesNothingWhenThereIsNoJson) {
    auto sut = objectOf<Clamp>(R"({"id":"1","isSwitchedOn":true})");
    sut.fillFromJson(nullptr);
    EXPECT_TRUE(sut.getIsSwitchedOn().getValue());
    EXPECT_EQ(sut.getIsSwitchedOnAsString().getValue(), "true");
}

TEST_F(Clampcontrol, SaysWhatTheJsonHasInPlaceOfAnAbsentField) {
    const std::string expected = R"(; expected "Clamp15", "ClampS" or "Clamp75_X")";
    EXPECT_EQ(objectOf<Clamp>("{}").whyAbsent("type"), "found nothing" + expected);
    EXPECT_EQ(objectOf<Clamp>(R"({"type":{}})").whyAbsent("type"), "found an object" + expected);
    EXPECT_EQ(objectOf<Clamp>(R"({"type":[]})").whyAbsent("type"), "found an array" + expected);
    EXPECT_EQ(objectOf<Clamp>(R"({"type":null})").whyAbsent("type"), "found null" + expected);
    EXPECT_EQ(objectOf<Clamp>(R"({"type":true})").whyAbsent("type"), "found a boolean" + expected);
    EXPECT_EQ(objectOf<Clamp>(R"({"type":"clamp15"})").whyAbsent("type"), "found a string" + expected);
}

TEST_F(Clampcontrol, SaysWhatWasExpectedInPlaceOfAnAbsentField) {
    EXPECT_EQ(objectOf<Clamp>(R"({"isSwitchedOn":"yes"})").whyAbsent("isSwitchedOn"),
              "found a string; expected true or false");
    EXPECT_EQ(objectOf<Clamp>(R"({"isSwitchedOn":1.5})").whyAbsent("isSwitchedOn"),
              "found a number; expected true or false");
    EXPECT_EQ(objectOf<Notification>(R"({"value":1.5})").whyAbsent("value"),
              "found a number; expected an integer of 64 bits");
}

TEST_F(Clampcontrol, SaysWhatHasEndedTheFillBeforeAnAbsentField) {
    EXPECT_EQ(objectOf<Clamp>(R"({"name":{},"type":"Clamp15"})").whyAbsent("type"),
              R"("name": expected a string, a number or a boolean, found an object)");
}

TEST_F(Clampcontrol, SaysThatAFieldIsAbsentForWantOfJson) {
    EXPECT_EQ(Clamp().whyAbsent("type"), "not filled from JSON");
}

TEST_F(Clampcontrol, ReadsALaterJsonOverTheEarlierValues) {
    auto sut = objectOf<Clamp>(R"({"id":"1","isSwitchedOn":true,"type":"ClampS"})");
    sut.fillFromJson(JsonObject::parse(R"({"isSwitchedOn":false})"));
    EXPECT_FALSE(sut.getIsSwitchedOn().getValue());
    EXPECT_EQ(sut.getType().getValue(), CLAMP_TYPE::ClampS);
    EXPECT_EQ(sut.getId().getValue(), "1");
}

TEST_F(Clampcontrol, KeepsAFieldWhoseLaterValueCannotBeRead) {
    auto sut = objectOf<Clamp>(R"({"isSwitchedOn":true,"type":"ClampS"})");
    sut.fillFromJson(JsonObject::parse(R"({"isSwitchedOn":1,"type":"?"})"));
    EXPECT_TRUE(sut.getIsSwitchedOn().getValue());
    EXPECT_EQ(sut.getType().getValue(), CLAMP_TYPE::ClampS);
}

TEST_F(Clampcontrol, IsFilledThroughItsInterfaceToo) {
    Clamp clamp;
    zeb::IXObject& sut = clamp;
    sut.fillFromJson(JsonObject::parse(R"({"isSwitchedOn":true})"));
    EXPECT_TRUE(clamp.getIsSwitchedOn().getValue());
}

TEST_F(Clampcontrol, MakesItsFilterFromWhatItWasFilledWith) {
    const auto sut = objectOf<Clamp>(R"({"id":"1","isSwitchedOn":true,"type":"ClampS"})");
    EXPECT_THAT(termsOf(sut.getDescriptor()),
                ElementsAre(Pair("isSwitchedOn", "true"), Pair("type", "ClampS")));
}

TEST_F(Clampcontrol, MakesItsFilterFromTheLatestValueOfEachField) {
    auto sut = objectOf<Clamp>(R"({"isSwitchedOn":true,"type":"ClampS"})");
    sut.fillFromJson(JsonObject::parse(R"({"isSwitchedOn":false})"));
    EXPECT_THAT(termsOf(sut.getDescriptor()),
                ElementsAre(Pair("isSwitchedOn", "false"), Pair("type", "ClampS")));
}

// Logging

TEST_F(Clampcontrol, PointsToTheFieldInItsSource) {
    objectOf<SpecialState>(R"({"elementId":"x","functionStatus":"x"})");
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_THAT(sourceLineOf("Clampcontrol", log.lines()[0]), HasSubstr("visit(\"elementId\""));
    EXPECT_THAT(sourceLineOf("Clampcontrol", log.lines()[1]), HasSubstr("visit(\"functionStatus\""));
}

TEST_F(Clampcontrol, MakesALoggerForEachMessageAndReleasesIt) {
    objectOf<Clamp>(R"({"isSwitchedOn":0,"type":"x"})");
    EXPECT_THAT(log.created(), ElementsAre("Clampcontrol", "Clampcontrol"));
    EXPECT_EQ(log.released(), 2U);
}

TEST_F(Clampcontrol, WritesItsMessagesWhetherWarningsAreWantedOrNot) {
    log.areWarningsWanted = false;
    objectOf<Clamp>(R"({"type":"x"})");
    EXPECT_THAT(messages(), ElementsAre("unknown enum value in type"));
}

TEST_F(Clampcontrol, LosesNoFieldToALoggerThatThrows) {
    loggers.whenOneIsMade = test_data_objects::failToMakeALogger;
    const auto sut = objectOf<Clamp>(R"({"isSwitchedOn":0,"type":"ClampS"})");
    EXPECT_EQ(sut.getType().getValue(), CLAMP_TYPE::ClampS);
}

using ClampcontrolLogger = test_data_objects::ProcessOfItsOwn;

TEST_F(ClampcontrolLogger, IsMadeByTheFactoryThatIsTheDefaultAtEachMessage) {
    testing::internal::CaptureStderr();
    objectOf<Clamp>(R"({"type":"before"})");
    const std::string writtenByTheFirstDefault = testing::internal::GetCapturedStderr();
    ASSERT_THAT(writtenByTheFirstDefault, HasSubstr("unknown enum value in type"));
    const auto& log = *test_data_objects::DefaultLoggers::instance().log;
    objectOf<Clamp>(R"({"type":"after"})");
    EXPECT_THAT(log.created(), ElementsAre("Clampcontrol"));
}

// The JSON

TEST_F(Clampcontrol, SharesItsJsonAndDoesNotKeepAnEarlierOne) {
    auto first = JsonObject::parse("{}");
    const std::weak_ptr<JsonObject> watched = first;
    Clamp sut(std::move(first));
    EXPECT_FALSE(watched.expired());
    sut.fillFromJson(JsonObject::parse("{}"));
    EXPECT_TRUE(watched.expired());
}

TEST_F(Clampcontrol, KeepsAJsonWhoseIdentityIsNoText) {
    const auto sut = objectOf<Clamp>(R"({"id":null,"isSwitchedOn":true})");
    EXPECT_EQ(sut.getIsSwitchedOnAsString().getValue(), "true");
}

TEST_F(Clampcontrol, GivesTheTextOfAValueAsItStandsInTheJson) {
    const auto sut = objectOf<Notification>(R"({"value":"seventeen"})");
    EXPECT_EQ(sut.getValueAsString().getValue(), "seventeen");
    EXPECT_FALSE(sut.getValue());
}

TEST_F(Clampcontrol, GivesNoTextWithoutJsonOrKey) {
    EXPECT_FALSE(Clamp(ClampDescriptor()).getIsSwitchedOnAsString());
    EXPECT_FALSE(objectOf<SpecialState>("{}").getElementIdAsString());
}

TEST_F(Clampcontrol, ThrowsWhenTheTextOfANullIsAskedFor) {
    const auto sut = objectOf<Clamp>(R"({"isSwitchedOn":null})");
    EXPECT_THROW(sut.getIsSwitchedOnAsString(), std::exception);
}

// Descriptor

TEST_F(Clampcontrol, HasADescriptorThatIsEmptyAtFirst) {
    const ClampDescriptor sut;
    EXPECT_FALSE(sut.getIsSwitchedOn().hasValue() || sut.getType());
    EXPECT_EQ(sut.getServiceName(), "ClampControl");
    EXPECT_EQ(sut.getResourceName(), "clamps");
    EXPECT_TRUE(sut.getFilter().isEmpty());
}

TEST_F(Clampcontrol, MakesOneFilterTermPerSetter) {
    ClampDescriptor sut;
    sut.setType(CLAMP_TYPE::Clamp15);
    EXPECT_THAT(termsOf(sut), ElementsAre(Pair("type", "Clamp15")));
    sut.setIsSwitchedOn(false);
    EXPECT_THAT(termsOf(sut), ElementsAre(Pair("type", "Clamp15"), Pair("isSwitchedOn", "false")));
}

TEST_F(Clampcontrol, ReplacesTheFilterTermWhenAFieldIsSetAgain) {
    ClampcontrolService::NotificationDescriptor sut;
    sut.setValue(1);
    sut.setValue(-2);
    EXPECT_THAT(termsOf(sut), ElementsAre(Pair("value", "-2")));
}

TEST_F(Clampcontrol, CanBeSetToTheValueThatItHas) {
    ClampDescriptor sut;
    sut.setIsSwitchedOn(true);
    sut.setIsSwitchedOn(sut.getIsSwitchedOn().getValue());
    EXPECT_TRUE(sut.getIsSwitchedOn().getValue());
}

TEST_F(Clampcontrol, StoresAnUnknownValueAndThenThrows) {
    ClampDescriptor sut;
    try {
        sut.setType(kUnknownType);
        FAIL() << "did not throw";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "map::at");
    }
    EXPECT_EQ(sut.getType().getValue(), kUnknownType);
    EXPECT_TRUE(sut.getFilter().isEmpty());
}

TEST_F(Clampcontrol, WritesItsFieldsAsJson) {
    ClampDescriptor sut;
    sut.setId("1");
    sut.setIsSwitchedOn(false);
    sut.setType(CLAMP_TYPE::Clamp75_X);
    EXPECT_EQ(sut.getAsJson()->toString(), R"({"id":"1","isSwitchedOn":false,"type":"Clamp75_X"})");
    EXPECT_EQ(sut.getAsZEBBody()->toString(), R"({"isSwitchedOn":false,"type":"Clamp75_X"})");
}

TEST_F(Clampcontrol, WritesThroughTheBaseToo) {
    ClampcontrolService::NotificationDescriptor descriptor;
    descriptor.setValue(9007199254740993);
    const zeb::XObjectDescriptor& sut = descriptor;
    EXPECT_EQ(sut.getAsJson()->toString(), R"({"value":9007199254740993})");
    EXPECT_EQ(sut.getAsZEBBody()->toString(), R"({"value":9007199254740993})");
}

TEST_F(Clampcontrol, LeavesAnUnknownValueOutOfItsJson) {
    ClampDescriptor sut;
    EXPECT_THROW(sut.setType(kUnknownType), std::out_of_range);
    sut.setIsSwitchedOn(true);
    EXPECT_EQ(sut.getAsJson()->toString(), R"({"isSwitchedOn":true})");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Clampcontrol, GivesACopyOfItsDescriptor) {
    const auto sut = objectOf<Clamp>(R"({"id":"1","isSwitchedOn":true})");
    auto copy = sut.getDescriptor();
    copy.setIsSwitchedOn(false);
    EXPECT_TRUE(sut.getIsSwitchedOn().getValue());
    EXPECT_EQ(copy.getId().getValue(), "1");
}

TEST_F(Clampcontrol, IsCopiedWithIdFromUri) {
    const auto sut = objectOf<Clamp>(R"({"id":"1","isSwitchedOn":true})");
    const std::unique_ptr<Clamp> copy = sut.copyWithIdFromUri("/ClampControl/clamps/2");
    EXPECT_EQ(copy->getId().getValue(), "2");
    EXPECT_EQ(copy->getUri().getValue(), "/ClampControl/clamps/2");
    EXPECT_TRUE(copy->getIsSwitchedOn().getValue());
    EXPECT_FALSE(copy->getIsSwitchedOnAsString());
}

TEST_F(Clampcontrol, IsCopiedWithItsFilter) {
    const auto sut = objectOf<Clamp>(R"({"isSwitchedOn":true})");
    EXPECT_THAT(termsOf(sut.copyWithIdFromUri("/ClampControl/clamps/2")->getDescriptor()),
                ElementsAre(Pair("isSwitchedOn", "true")));
}

TEST_F(Clampcontrol, IsCopiedWithItsQueryOptions) {
    ClampDescriptor descriptor;
    descriptor.setQueryOptions({CLAMP_FIELDS::type}, zeb::QueryOptions::EXPAND_LEVEL::NONE);
    EXPECT_THAT(optionsOf(Clamp(descriptor).copyWithIdFromUri("/ClampControl/clamps/2")->getDescriptor()),
                ElementsAre(Pair("$fields", "type")));
}

TEST_F(Clampcontrol, IsCopiedAsAClampThroughItsBase) {
    const auto sut = objectOf<Clamp>(R"({"id":"1","isSwitchedOn":true})");
    const zeb::XObject<ClampDescriptor>& base = sut;
    const std::unique_ptr<zeb::IXObject> copy = base.copyWithIdFromUri("/ClampControl/clamps/2");
    const auto* const clamp = dynamic_cast<const Clamp*>(copy.get());
    ASSERT_NE(clamp, nullptr);
    EXPECT_EQ(clamp->getId(), "2");
    EXPECT_EQ(clamp->getIsSwitchedOn(), true);
}

TEST_F(Clampcontrol, IsFilledAsAClampAfterACopyThroughItsBase) {
    const zeb::XObject<ClampDescriptor>& base = Clamp();
    const auto copy = base.copyWithIdFromUri("/ClampControl/clamps/2");
    static_cast<zeb::IXObject&>(*copy).fillFromJson(JsonObject::parse(R"({"isSwitchedOn":false})"));
    EXPECT_EQ(copy->getIsSwitchedOn(), false);
}

TEST_F(Clampcontrol, HasAnIdentityWithoutItsValues) {
    const auto sut =
        objectOf<Clamp>(R"({"id":"1","name":"x","uri":"/ClampControl/clamps/1","isSwitchedOn":true})");
    EXPECT_EQ(sut.getIdentityDescriptor().getAsJson()->toString(),
              R"({"id":"1","name":"x","uri":"/ClampControl/clamps/1"})");
}

TEST_F(Clampcontrol, HasAnIdentityThatIsFoundByItsIdAlone) {
    const auto sut = objectOf<Clamp>(R"({"id":"1","isSwitchedOn":true,"type":"ClampS"})");
    EXPECT_THAT(termsOf(sut.getIdentityDescriptor()), ElementsAre(Pair("id", "1")));
}

TEST_F(Clampcontrol, HasAnIdentityWithoutItsQueryOptions) {
    ClampDescriptor descriptor;
    descriptor.setQueryOptions({CLAMP_FIELDS::type}, zeb::QueryOptions::EXPAND_LEVEL::NONE);
    EXPECT_THAT(optionsOf(Clamp(descriptor).getIdentityDescriptor()), IsEmpty());
}

TEST_F(Clampcontrol, HasAnIdentityWithoutAFilterWhenItHasNoId) {
    EXPECT_THAT(termsOf(objectOf<Clamp>(R"({"name":"x"})").getIdentityDescriptor()), IsEmpty());
}

// Query options

TEST_F(Clampcontrol, GivesItsFieldsAsText) {
    EXPECT_THAT(
        ClampDescriptor::getClampVectorAsStringVector({CLAMP_FIELDS::uri, CLAMP_FIELDS::isSwitchedOn}),
        ElementsAre("uri", "isSwitchedOn"));
}

TEST_F(Clampcontrol, GivesItsSortKeysAsText) {
    using Direction = zeb::QueryOptions::SORTBY_OPERATOR;
    EXPECT_THAT(ClampDescriptor::getSortByFieldsAsStringVector(
                    {{Direction::DESCENDING, CLAMP_FIELDS::type}, {Direction::ASCENDING, CLAMP_FIELDS::id}}),
                ElementsAre(Pair(Direction::DESCENDING, "type"), Pair(Direction::ASCENDING, "id")));
}

class ClampcontrolQueryOptions : public testing::Test {
 protected:
    using Level = zeb::QueryOptions::EXPAND_LEVEL;
    using Options = std::vector<zeb::QueryOptions::Option>;

    /// The options that result from the arguments that most operations share, followed by `further`.
    static Options optionsWith(const Options& further) {
        Options options{{"$fields", "isSwitchedOn,id"}, {"$expand", "8:type"}, {"$sortby", "-name"}};
        options.insert(options.end(), further.begin(), further.end());
        return options;
    }

    const std::vector<CLAMP_FIELDS> fields{CLAMP_FIELDS::isSwitchedOn, CLAMP_FIELDS::id};
    const std::vector<CLAMP_FIELDS> expanded{CLAMP_FIELDS::type};
    const ClampDescriptor::SortKeys sortBy{
        {zeb::QueryOptions::SORTBY_OPERATOR::DESCENDING, CLAMP_FIELDS::name}};
    const std::vector<std::string> fieldTexts{"isSwitchedOn", "id"};
    const std::vector<std::string> expandedTexts{"type"};
    const std::vector<zeb::QueryOptions::SortKey> sortByTexts{
        {zeb::QueryOptions::SORTBY_OPERATOR::DESCENDING, "name"}};
    ClampDescriptor sut;
};

TEST_F(ClampcontrolQueryOptions, TakeFieldsAndLevel) {
    sut.setQueryOptions(fields, Level::ONE);
    EXPECT_THAT(optionsOf(sut), ElementsAre(Pair("$fields", "isSwitchedOn,id"), Pair("$expand", "1")));
}

TEST_F(ClampcontrolQueryOptions, TakeExpandedFieldsAndSortKeys) {
    sut.setQueryOptions(fields, Level::ALL, expanded, sortBy);
    EXPECT_EQ(optionsOf(sut), optionsWith({}));
}

TEST_F(ClampcontrolQueryOptions, TakeLimitAndOffset) {
    sut.setQueryOptions(fields, Level::ALL, expanded, sortBy, 10, 20);
    EXPECT_EQ(optionsOf(sut), optionsWith({{"$limit", "10"}, {"$offset", "20"}}));
}

TEST_F(ClampcontrolQueryOptions, TakeLimitAndOffsetId) {
    sut.setQueryOptions(fields, Level::ALL, expanded, sortBy, 10, "x");
    EXPECT_EQ(optionsOf(sut), optionsWith({{"$limit", "10"}, {"$offset", "id:x"}}));
}

TEST_F(ClampcontrolQueryOptions, TakeALimitAlone) {
    sut.setQueryOptionsLimit(fields, Level::ALL, expanded, sortBy, 10);
    EXPECT_EQ(optionsOf(sut), optionsWith({{"$limit", "10"}}));
}

TEST_F(ClampcontrolQueryOptions, TakeAnOffsetAlone) {
    sut.setQueryOptionsOffset(fields, Level::ALL, expanded, sortBy, 20);
    EXPECT_EQ(optionsOf(sut), optionsWith({{"$offset", "20"}}));
}

TEST_F(ClampcontrolQueryOptions, TakeAnOffsetIdAlone) {
    sut.setQueryOptionsOffset(fields, Level::ALL, expanded, sortBy, "x");
    EXPECT_EQ(optionsOf(sut), optionsWith({{"$offset", "id:x"}}));
}

TEST_F(ClampcontrolQueryOptions, TakeTextsAsFields) {
    sut.setQueryOptions(fieldTexts, Level::ONE);
    EXPECT_THAT(optionsOf(sut), ElementsAre(Pair("$fields", "isSwitchedOn,id"), Pair("$expand", "1")));
}

TEST_F(ClampcontrolQueryOptions, TakeTextsAsExpandedFieldsAndSortKeys) {
    sut.setQueryOptions(fieldTexts, Level::ALL, expandedTexts, sortByTexts);
    EXPECT_EQ(optionsOf(sut), optionsWith({}));
}

TEST_F(ClampcontrolQueryOptions, TakeTextsWithLimitAndOffset) {
    sut.setQueryOptions(fieldTexts, Level::ALL, expandedTexts, sortByTexts, 10, 20);
    EXPECT_EQ(optionsOf(sut), optionsWith({{"$limit", "10"}, {"$offset", "20"}}));
}

TEST_F(ClampcontrolQueryOptions, TakeTextsWithLimitAndOffsetId) {
    sut.setQueryOptions(fieldTexts, Level::ALL, expandedTexts, sortByTexts, 10, "x");
    EXPECT_EQ(optionsOf(sut), optionsWith({{"$limit", "10"}, {"$offset", "id:x"}}));
}

TEST_F(ClampcontrolQueryOptions, TakeTextsWithALimitAlone) {
    sut.setQueryOptionsLimit(fieldTexts, Level::ALL, expandedTexts, sortByTexts, 10);
    EXPECT_EQ(optionsOf(sut), optionsWith({{"$limit", "10"}}));
}

TEST_F(ClampcontrolQueryOptions, TakeTextsWithAnOffsetAlone) {
    sut.setQueryOptionsOffset(fieldTexts, Level::ALL, expandedTexts, sortByTexts, 20);
    EXPECT_EQ(optionsOf(sut), optionsWith({{"$offset", "20"}}));
}

TEST_F(ClampcontrolQueryOptions, TakeTextsWithAnOffsetIdAlone) {
    sut.setQueryOptionsOffset(fieldTexts, Level::ALL, expandedTexts, sortByTexts, "x");
    EXPECT_EQ(optionsOf(sut), optionsWith({{"$offset", "id:x"}}));
}

TEST_F(ClampcontrolQueryOptions, TakeOptionsThatWereMadeElsewhere) {
    zeb::QueryOptions options;
    options.setLimit(3);
    sut.setQueryOptions(options);
    EXPECT_THAT(optionsOf(sut), ElementsAre(Pair("$limit", "3")));
}

TEST_F(ClampcontrolQueryOptions, TakeListsInBraces) {
    sut.setQueryOptionsLimit({}, Level::NONE, {}, {}, 3);
    EXPECT_THAT(optionsOf(sut), ElementsAre(Pair("$limit", "3")));
    sut.setQueryOptions({CLAMP_FIELDS::type, CLAMP_FIELDS::id}, Level::NONE);
    EXPECT_THAT(optionsOf(sut), ElementsAre(Pair("$fields", "type,id")));
    sut.setQueryOptions({"type", "id"}, Level::NONE);
    EXPECT_THAT(optionsOf(sut), ElementsAre(Pair("$fields", "type,id")));
}

// Enumerations as text

TEST_F(Clampcontrol, FindsToStringByTheTypeOfItsArgument) {
    EXPECT_EQ(to_string(CLAMP_TYPE::Clamp15), "Clamp15(0)");
    EXPECT_EQ(to_string(objectOf<Clamp>(R"({"type":"ClampS"})").getType()), "ClampS(1)");
}

TEST_F(Clampcontrol, HasAFunctionThatPrintsEachEnumeration) {
    std::string (*const sut)(ClampcontrolService::NOTIFICATION_TYPE) = &ClampcontrolService::to_string;
    EXPECT_EQ(sut(ClampcontrolService::NOTIFICATION_TYPE::DriverInfo), "DriverInfo(2)");
}

TEST_F(Clampcontrol, PrintsItsValuesToAStream) {
    const auto sut = objectOf<Clamp>(R"({"isSwitchedOn":true,"type":"ClampS"})");
    std::ostringstream stream;
    stream << sut.getType().getValue() << ' ' << sut.getType() << ' ' << sut.getIsSwitchedOn() << ' '
           << sut.getName();
    EXPECT_EQ(stream.str(), "ClampS(1) ClampS(1) true optional invalid");
}

TEST_F(Clampcontrol, PrintsItselfAsJson) {
    std::ostringstream stream;
    stream << objectOf<Clamp>(R"({"type":"ClampS","id":"1"})");
    EXPECT_EQ(stream.str(), R"({"id":"1","type":"ClampS"})");
}

TEST_F(Clampcontrol, PrintsAValueWithItsNumber) {
    EXPECT_EQ(ClampcontrolService::to_string(CLAMP_TYPE::Clamp15), "Clamp15(0)");
}

TEST_F(Clampcontrol, PrintsTheNumberOfLiteralsForAnUnknownValue) {
    EXPECT_EQ(ClampcontrolService::to_string(kUnknownType), "unknown value(3)");
    EXPECT_EQ(ClampcontrolService::to_string(ClampcontrolService::SPECIALSTATE_REQUESTINGFUNCTION{13}),
              "unknown value(13)");
}

TEST_F(Clampcontrol, PrintsThatAnOptionalIsEmpty) {
    EXPECT_EQ(ClampcontrolService::to_string(zebutil::Optional<CLAMP_TYPE>()), "optional invalid");
}

// Statics

struct FillsAtExit {
    ~FillsAtExit() {
        const Clamp clamp(JsonObject::parse(R"({"isSwitchedOn":7,"type":"ClampS"})"));
        std::fprintf(stderr, "at exit: %s\n", ClampcontrolService::to_string(clamp.getType()).c_str());
    }
};

TEST_F(Clampcontrol, CanBeFilledInTheDestructorOfAStatic) {
    EXPECT_EXIT(
        {
            static FillsAtExit fillsAtExit;
            std::exit(0);
        },
        testing::ExitedWithCode(0), "at exit: ClampS\\(1\\)");
}

}  // namespace
