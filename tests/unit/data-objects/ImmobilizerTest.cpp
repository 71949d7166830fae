#include <ZebDataObjects_ZEB/Immobilizer.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zebutil/JsonObject.h>

#include <string>
#include <type_traits>
#include <vector>

#include "DataObjectTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;
using zebobjects_ZEB::ImmobilizerService;
using zebutil::JsonObject;

using Info = ImmobilizerService::Info;
using Notification = ImmobilizerService::Notification;

class Immobilizer : public test_data_objects::DataObjectTest {};

TEST_F(Immobilizer, FillsWhatIsThereAndLeavesTheIntegersEmpty) {
    const Info sut(JsonObject::parse(R"({"isLocked":false,"vehicleIdentificationNumber":"X"})"));
    EXPECT_FALSE(sut.getIsLocked().getValue());
    EXPECT_EQ(sut.getVehicleIdentificationNumber().getValue(), "X");
    EXPECT_FALSE(sut.getElementId() || sut.getLearnedKeyValue() || sut.getLearningKeyValue() ||
                 sut.getStateOfLife());
}

TEST_F(Immobilizer, ReadsTheValueBehindAnUnknownType) {
    const Notification sut(JsonObject::parse(R"({"type":"WorkshopRequest","value":3})"));
    EXPECT_FALSE(sut.getType());
    EXPECT_EQ(sut.getValue().getValue(), 3);
    EXPECT_THAT(messagesOf("Immobilizer"), ElementsAre("unknown enum value in type"));
}

TEST_F(Immobilizer, SaysWhyEachFieldCouldNotBeRead) {
    const Info sut(JsonObject::parse(
        R"({"elementId":"","isLocked":"","learnedKeyValue":"","learningKeyValue":"","stateOfLife":"",
            "vehicleIdentificationNumber":{}})"));
    EXPECT_THAT(
        messagesOf("Immobilizer"),
        ElementsAre(StartsWith("could not get elementId as int64_t, exception="),
                    StartsWith("could not get isLocked as bool, exception="),
                    StartsWith("could not get learnedKeyValue as int64_t, exception="),
                    StartsWith("could not get learningKeyValue as int64_t, exception="),
                    StartsWith("could not get stateOfLife as int64_t, exception="),
                    StartsWith("could not get vehicleIdentificationNumber as std::string, exception=")));
}

TEST_F(Immobilizer, MakesALoggerForEachMessage) {
    const Notification sut(JsonObject::parse(R"({"type":"?","value":"?"})"));
    EXPECT_THAT(log.created(), ElementsAre("Immobilizer", "Immobilizer"));
}

TEST_F(Immobilizer, PrintsItsOnlyNotificationType) {
    using TYPE = ImmobilizerService::NOTIFICATION_TYPE;
    EXPECT_EQ(ImmobilizerService::to_string(TYPE::ImmobilizerHint), "ImmobilizerHint(0)");
    EXPECT_EQ(ImmobilizerService::to_string(TYPE{1}), "unknown value(1)");
}

}  // namespace
