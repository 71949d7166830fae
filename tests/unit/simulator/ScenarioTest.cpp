#include <NamedText.h>

#include <future>
#include <stdexcept>
#include <vector>

#include "SimulatorTest.h"
#include "scenario/Scenario.h"

namespace {

using test_support::NamedText;
using SimulatorScenario = SimulatorTest;
using zebbussim::Scenario;

constexpr const char* kClamp = "/ClampControl/clamps/1";

void run(const std::string& json, zebbussim::BusSimulator& bus) {
    Scenario::fromText(json, "the test").run(bus, [](const std::string&) {});
}

TEST_F(SimulatorScenario, SetsElements) {
    run(R"([{"set":{"path":"/ClampControl/clamps/1","data":{"level":5}}}])", sut);
    EXPECT_NE(sut.element(kClamp).find("\"level\":5"), std::string::npos);
}

TEST_F(SimulatorScenario, AddsAndRemovesElements) {
    run(R"([{"add":{"path":"/ClampControl/clamps/9","data":{}}},{"remove":{"path":"/ClampControl/clamps/1"}}])",
        sut);
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps").ids(), "2,3,9");
}

TEST_F(SimulatorScenario, MakesServicesUnavailable) {
    run(R"([{"service":{"name":"ClampControl","available":false}}])", sut);
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 503);
}

TEST_F(SimulatorScenario, RemovesServices) {
    run(R"([{"service":{"name":"ClampControl","present":false}}])", sut);
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 404);
}

TEST_F(SimulatorScenario, PrintsText) {
    std::string printed;
    Scenario::fromText(R"([{"print":"hello"}])", "the test").run(sut, [&](const std::string& text) {
        printed += text;
    });
    EXPECT_EQ(printed, "hello");
}

TEST_F(SimulatorScenario, WaitsForSubscribers) {
    RawWebSocket client(sut.port(), "/ClampControl");
    auto scenario = std::async(std::launch::async, [&] {
        run(R"([{"wait":{"subscribers":{"path":"/ClampControl/clamps/1","count":1}}},
                {"set":{"path":"/ClampControl/clamps/1","data":{"level":5}}}])",
            sut);
    });
    client.subscribe(kClamp);
    EXPECT_EQ(client.receive()->getObject("data")->getValue<int>("level"), 3);
    EXPECT_EQ(client.receive()->getObject("data")->getValue<int>("level"), 5);
    scenario.get();
}

TEST_F(SimulatorScenario, FailsWhenSubscribersDoNotComeInTime) {
    EXPECT_THROW(
        run(R"([{"wait":{"subscribers":{"path":"/ClampControl/clamps/1","count":1},"timeout":10}}])", sut),
        std::runtime_error);
}

TEST_F(SimulatorScenario, EndsSoonWhenItIsCancelled) {
    Scenario scenario = Scenario::fromText(R"([{"wait":{"ms":1000000}}])", "the test");
    auto running = std::async(std::launch::async, [&] { scenario.run(sut, [](const std::string&) {}); });
    scenario.cancel();
    EXPECT_NO_THROW(running.get());
}

TEST_F(SimulatorScenario, SaysWhichStepFailed) {
    try {
        run(R"([{"wait":{"ms":0}},{"set":{"path":"/ClampControl/clamps/9","data":{}}}])", sut);
        FAIL() << "the step went through";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(),
                     "the test, step 2: \"set\": There is no element \"9\" in /ClampControl/clamps");
    }
}

TEST(SimulatorExampleScenario, CanBeRead) {
    EXPECT_NO_THROW(Scenario::fromFile(EXAMPLE_SCENARIO_FILE));
}

class SimulatorScenarioText : public testing::TestWithParam<NamedText> {};

TEST_P(SimulatorScenarioText, IsRefusedWhenItIsWrong) {
    EXPECT_THROW(Scenario::fromText(GetParam().text, "the test"), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, SimulatorScenarioText,
    testing::Values(NamedText{"Empty", ""}, NamedText{"Object", "{}"}, NamedText{"StepThatIsANumber", "[1]"},
                    NamedText{"StepsBehindTheList", R"([], "steps": [{"print":"x"}])"},
                    NamedText{"StepsBehindAListWithAnEscape", R"([{"print":"a\"]"}], "\u0073teps": [])"},
                    NamedText{"EmptyStep", "[{}]"}, NamedText{"UnknownStep", R"([{"what":{}}])"},
                    NamedText{"SetThatIsANumber", R"([{"set":1}])"},
                    NamedText{"SetWithoutData", R"([{"set":{"path":"/a/b/c"}}])"},
                    NamedText{"SetOfAList", R"([{"set":{"path":"/a/b/c","data":[]}}])"},
                    NamedText{"SetWithANumberAsPath", R"([{"set":{"path":1,"data":{}}}])"},
                    NamedText{"SetWithAnUnknownMember", R"([{"set":{"path":"/a/b/c","data":{},"more":1}}])"},
                    NamedText{"EmptyWait", R"([{"wait":{}}])"},
                    NamedText{"WaitForANegativeTime", R"([{"wait":{"ms":-1}}])"},
                    NamedText{"WaitForTwoThings",
                              R"([{"wait":{"ms":1,"subscribers":{"path":"/a/b","count":1}}}])"},
                    NamedText{"WaitForATimeWithATimeout", R"([{"wait":{"ms":1,"timeout":1}}])"},
                    NamedText{"SubscribersWithoutCount", R"([{"wait":{"subscribers":{"path":"/a/b"}}}])"},
                    NamedText{"ServiceWithoutState", R"([{"service":{"name":"A"}}])"},
                    NamedText{"ServiceWithAnUnknownMember",
                              R"([{"service":{"name":"A","available":true,"present":true}}])"},
                    NamedText{"PrintOfANumber", R"([{"print":1}])"}),
    test_support::nameOf);

}  // namespace
