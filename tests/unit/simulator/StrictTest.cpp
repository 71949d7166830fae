// A bus that refuses what the models of the services do not allow.
#include <gmock/gmock.h>

#include <ostream>
#include <stdexcept>
#include <string>

#include "SimulatorTest.h"

namespace {

using testing::HasSubstr;
using DataCheck = zebbussim::BusSimulator::DataCheck;

constexpr const char* kClamp = "/ClampControl/clamps/1";

zebbussim::BusSimulator::Options strict() {
    zebbussim::BusSimulator::Options options;
    options.lenient = false;
    return options;
}

class StrictSimulator : public testing::Test {
 protected:
    StrictSimulator() {
        sut.loadText(R"({"services":{
            "ClampControl":{"clamps":[{"id":"1","isSwitchedOn":false,"type":"Clamp15"}]},
            "Users":{"groups":[{"id":"a"}]}}})");
        sut.start();
    }

    std::string state() { return sut.element(kClamp); }

    zebbussim::BusSimulator sut{strict()};
};

template <typename Function>
std::string refusalOf(Function function) {
    try {
        function();
        return "";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

struct Change {
    const char* name;
    const char* json;
    const char* message;  ///< a part of it
};

void PrintTo(const Change& change, std::ostream* stream) {
    *stream << change.name;
}

class WrongChange : public StrictSimulator, public testing::WithParamInterface<Change> {};

TEST_P(WrongChange, IsRefusedOverHttpAndExplained) {
    const std::string before = state();
    const RawHttp::Answer answer = RawHttp(sut.port()).post(kClamp, GetParam().json);
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.errorNumber(), 400);
    EXPECT_EQ(answer.reason(), "bad_request");
    EXPECT_THAT(answer.json()->getObject("error")->getValue<std::string>("message"),
                HasSubstr(GetParam().message));
    EXPECT_EQ(state(), before);
}

TEST_P(WrongChange, IsRefusedByTheLibraryToo) {
    const std::string before = state();
    EXPECT_THAT(refusalOf([&] { sut.set(kClamp, GetParam().json); }), HasSubstr(GetParam().message));
    EXPECT_THAT(refusalOf([&] { sut.addElement("/ClampControl/clamps/2", GetParam().json); }),
                HasSubstr(GetParam().message));
    EXPECT_EQ(state(), before);
    EXPECT_THROW(sut.element("/ClampControl/clamps/2"), std::runtime_error);
}

TEST_P(WrongChange, IsMadeIfItIsNotToBeChecked) {
    sut.set(kClamp, GetParam().json, DataCheck::None);
    sut.addElement("/ClampControl/clamps/2", GetParam().json, DataCheck::None);
    EXPECT_NE(sut.element("/ClampControl/clamps/2"), "");
}

INSTANTIATE_TEST_SUITE_P(
    Changes, WrongChange,
    testing::Values(Change{"UnknownField", R"({"isSwitchdOn":true})", "Did you mean \"isSwitchedOn\"?"},
                    Change{"WrongKind", R"({"isSwitchedOn":"true"})",
                           "\"isSwitchedOn\" must be true or false, but is \"true\""},
                    Change{"UnknownLiteral", R"({"type":"clamp15"})", "Did you mean \"Clamp15\"?"},
                    Change{"OneMistakeOfThree", R"({"isSwitchedOn":true,"type":"ClampS","level":1})",
                           "/ClampControl/clamps has no field \"level\""}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(StrictSimulator, MakesARightChange) {
    EXPECT_EQ(RawHttp(sut.port()).post(kClamp, R"({"isSwitchedOn":true})").status, 200);
    sut.set(kClamp, R"({"type":"Clamp75_X"})");
    EXPECT_THAT(state(), HasSubstr(R"("isSwitchedOn":true,"type":"Clamp75_X")"));
}

TEST_F(StrictSimulator, ChangesAnElementThatHasBecomeWrong) {
    sut.set(kClamp, R"({"level":1})", DataCheck::None);
    EXPECT_EQ(RawHttp(sut.port()).post(kClamp, R"({"isSwitchedOn":true})").status, 200);
}

TEST_F(StrictSimulator, TakesAnythingForWhatNoModelHas) {
    EXPECT_EQ(RawHttp(sut.port()).post("/Users/groups/a", R"({"anything":[1,null]})").status, 200);
    sut.addElement("/ClampControl/own/1", R"({"anything":1})");
    sut.addService("Own", R"({"own":[{"id":"1","anything":1}]})");
}

TEST_F(StrictSimulator, StillSaysFirstThatAnElementDoesNotExist) {
    EXPECT_EQ(RawHttp(sut.port()).post("/ClampControl/clamps/9", R"({"level":1})").status, 404);
}

TEST_F(StrictSimulator, RefusesAServiceWithWrongElements) {
    EXPECT_THAT(refusalOf([&] { sut.addService("ClampControl", R"({"clamps":[{"id":"1","level":1}]})"); }),
                HasSubstr("ClampControl:1:22: /ClampControl/clamps has no field \"level\""));
    EXPECT_THAT(state(), HasSubstr("Clamp15"));
}

TEST_F(StrictSimulator, RefusesABusWithWrongElements) {
    EXPECT_THAT(refusalOf([&] {
                    sut.loadText(R"({"services":{"ClampControl":{"clamps":[{"id":"1","level":1}]}}})");
                }),
                HasSubstr("bus:1:50: /ClampControl/clamps has no field \"level\""));
    EXPECT_THAT(state(), HasSubstr("Clamp15"));
}

using LenientSimulator = SimulatorTest;

TEST_F(LenientSimulator, TakesWhatTheModelsDoNotAllow) {
    EXPECT_EQ(RawHttp(sut.port()).post(kClamp, R"({"level":"x","type":0})").status, 200);
    sut.addService("ClampControl", R"({"clamps":[{"id":"1","level":1}]})");
    sut.set(kClamp, R"({"isSwitchedOn":"perhaps"})");
    EXPECT_THAT(sut.element(kClamp), HasSubstr("perhaps"));
}

}  // namespace
