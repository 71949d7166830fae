#include <ZebDataObjects_ZEB/Authentictime.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zebutil/JsonObject.h>

#include <string>
#include <vector>

#include "DataObjectTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;
using zebobjects_ZEB::AuthentictimeService;
using zebutil::JsonObject;

using Time = AuthentictimeService::Time;
using TIME_AVAILABLE = AuthentictimeService::TIME_AVAILABLE;
using TIME_TYPE = AuthentictimeService::TIME_TYPE;

class Authentictime : public test_data_objects::DataObjectTest {};

TEST_F(Authentictime, FillsTheEnumerationsAndLeavesTheNumbersEmpty) {
    const Time sut(JsonObject::parse(R"({"available":"Init","type":"CurrentAuthenticTime"})"));
    EXPECT_EQ(sut.getAvailable().getValue(), TIME_AVAILABLE::Init);
    EXPECT_EQ(sut.getType().getValue(), TIME_TYPE::CurrentAuthenticTime);
    EXPECT_FALSE(sut.getDay() || sut.getHour() || sut.getMinute() || sut.getMonth() || sut.getQuality() ||
                 sut.getSecond() || sut.getUnixDate() || sut.getYear());
}

TEST_F(Authentictime, StoresTimesThatDoNotAgreeOrAreOutOfRange) {
    const Time sut(JsonObject::parse(R"({"month":13,"second":-1,"unixDate":0,"year":2026})"));
    EXPECT_EQ(sut.getMonth().getValue(), 13);
    EXPECT_EQ(sut.getSecond().getValue(), -1);
    EXPECT_EQ(sut.getUnixDate().getValue(), 0);
    EXPECT_EQ(sut.getYear().getValue(), 2026);
}

TEST_F(Authentictime, SaysWhyEachFieldCouldNotBeRead) {
    const Time sut(
        JsonObject::parse(R"({"available":"init","day":"","hour":"","minute":"","month":"","quality":"",
                                         "second":"","type":"","unixDate":"","year":""})"));
    EXPECT_THAT(
        messagesOf("Authentictime"),
        ElementsAre("unknown enum value in available", StartsWith("could not get day as int64_t, exception="),
                    StartsWith("could not get hour as int64_t, exception="),
                    StartsWith("could not get minute as int64_t, exception="),
                    StartsWith("could not get month as int64_t, exception="),
                    StartsWith("could not get quality as int64_t, exception="),
                    StartsWith("could not get second as int64_t, exception="), "unknown enum value in type",
                    StartsWith("could not get unixDate as int64_t, exception="),
                    StartsWith("could not get year as int64_t, exception=")));
}

TEST_F(Authentictime, MakesALoggerForEachMessage) {
    const Time sut(JsonObject::parse(R"({"available":"?","day":"?"})"));
    EXPECT_THAT(log.created(), ElementsAre("Authentictime", "Authentictime"));
}

TEST_F(Authentictime, PrintsItsEnumerations) {
    EXPECT_EQ(AuthentictimeService::to_string(TIME_AVAILABLE::PhysicalValue), "PhysicalValue(1)");
    EXPECT_EQ(AuthentictimeService::to_string(TIME_AVAILABLE{2}), "unknown value(2)");
    EXPECT_EQ(AuthentictimeService::to_string(TIME_TYPE{-1}), "unknown value(2)");
}

}  // namespace
