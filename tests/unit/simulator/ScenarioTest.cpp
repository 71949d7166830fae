#include <NamedText.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <vector>

#include "SimulatorTest.h"
#include "scenario/Scenario.h"

namespace {

using test_support::NamedText;
using SimulatorScenario = SimulatorTest;
using zebbussim::Scenario;
using zebbussim::Strictness;

constexpr const char* kClamp = "/ClampControl/clamps/1";

/// What went wrong; empty if nothing did.
std::string failureOf(zebbussim::BusSimulator& bus, const std::string& scenario) {
    try {
        bus.play(scenario);
        return {};
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
}

std::string problemOf(const std::string& scenario) {
    try {
        Scenario::fromText(scenario, "file");
        return {};
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
}

TEST_F(SimulatorScenario, SetsElements) {
    sut.play(R"([{"set":{"path":"/ClampControl/clamps/1","data":{"level":5}}}])");
    EXPECT_NE(sut.element(kClamp).find("\"level\":5"), std::string::npos);
}

TEST_F(SimulatorScenario, AddsAndRemovesElements) {
    sut.play(
        R"([{"add":{"path":"/ClampControl/clamps/9","data":{}}},{"remove":{"path":"/ClampControl/clamps/1"}}])");
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps").ids(), "2,3,9");
}

TEST_F(SimulatorScenario, MakesServicesUnavailable) {
    sut.play(R"([{"service":{"name":"ClampControl","available":false}}])");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 503);
}

TEST_F(SimulatorScenario, RemovesServices) {
    sut.play(R"([{"service":{"name":"ClampControl","present":false}}])");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 404);
}

TEST_F(SimulatorScenario, WaitsForSubscribers) {
    RawWebSocket client(sut.port(), "/ClampControl");
    auto scenario = std::async(std::launch::async, [&] {
        sut.play(R"([{"wait":{"subscribers":{"path":"/ClampControl/clamps/1","count":1}}},
                {"set":{"path":"/ClampControl/clamps/1","data":{"level":5}}}])");
    });
    client.subscribe(kClamp);
    EXPECT_EQ(client.receive()->getObject("data")->getValue<int>("level"), 3);
    EXPECT_EQ(client.receive()->getObject("data")->getValue<int>("level"), 5);
    scenario.get();
}

TEST_F(SimulatorScenario, SaysWhatItHasWaitedForInVain) {
    EXPECT_EQ(
        failureOf(sut,
                  R"([{"wait":{"subscribers":{"path":"/ClampControl/clamps/1","count":1},"timeout":10}}])"),
        "The scenario:1:2: the wait was in vain within 10 ms: there are 0 subscribers of "
        "/ClampControl/clamps/1, expected at least 1");
}

TEST_F(SimulatorScenario, EndsWithTheBus) {
    auto playing = std::async(std::launch::async, [&] {
        return failureOf(sut, R"([
        {"set":{"path":"/ClampControl/clamps/1","data":{"level":5}}},{"wait":{"ms":1000000}}])");
    });
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    while (client.receive()->getObject("data")->getValue<int>("level") != 5) {
    }
    sut.stop();
    EXPECT_EQ(playing.get(), "The simulator was stopped");
}

TEST_F(SimulatorScenario, SaysWhichStepFailedAndWhere) {
    EXPECT_EQ(
        failureOf(sut, "[{\"wait\":{\"ms\":0}},\n  {\"remove\":{\"path\":\"/ClampControl/clamps/9\"}}]"),
        "The scenario:2:3: There is no element \"9\" in /ClampControl/clamps");
}

TEST_F(SimulatorScenario, FailsWhenAnExpectationDoesNotHold) {
    EXPECT_EQ(failureOf(sut, R"([{"expect":{"subscribers":{"path":"/ClampControl/clamps/1","count":1}}}])"),
              "The scenario:1:2: the expectation does not hold: there are 0 subscribers of "
              "/ClampControl/clamps/1, expected 1");
}

TEST_F(SimulatorScenario, FailsAtOnceWhenItWaitsForSomethingThatTheBusDoesNotHave) {
    EXPECT_EQ(failureOf(sut, R"([{"wait":{"subscribers":{"path":"/ClampControl/clmps/1","count":1}}}])"),
              "The scenario:1:2: There is no resource \"clmps\" in ClampControl; did you mean \"clamps\"?");
}

TEST_F(SimulatorScenario, DoesNotExpectNothingOfAServiceThatTheBusDoesNotHave) {
    EXPECT_EQ(failureOf(sut, R"([{"expect":{"webSockets":{"service":"ClampContrl","count":0}}}])"),
              "The scenario:1:2: There is no service \"ClampContrl\"; did you mean \"ClampControl\"?");
}

TEST_F(SimulatorScenario, ExpectsExactlyTheCount) {
    RawWebSocket first(sut.port(), "/ClampControl");
    RawWebSocket second(sut.port(), "/ClampControl");
    first.subscribe(kClamp);
    second.subscribe(kClamp);
    EXPECT_NE(failureOf(sut, R"([{"expect":{"subscribers":{"path":"/ClampControl/clamps/1","count":1}}}])"),
              "");
    EXPECT_EQ(failureOf(sut, R"([{"expect":{"subscribers":{"path":"/ClampControl/clamps/1","count":2}}}])"),
              "");
}

TEST_F(SimulatorScenario, ExpectsASubscriptionWithinATime) {
    auto playing = std::async(std::launch::async, [&] {
        return failureOf(sut, R"([{"set":{"path":"/ClampControl/clamps/1","data":{"level":5}}},
            {"expect":{"subscribed":{"path":"/ClampControl/clamps/1","count":1},"within":10000}}])");
    });
    while (sut.element(kClamp).find("\"level\":5") == std::string::npos) {
    }
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    EXPECT_EQ(playing.get(), "");
}

TEST_F(SimulatorScenario, CountsNewSubscriptionsFromTheLastChangeOn) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    EXPECT_EQ(failureOf(sut, R"([{"set":{"path":"/ClampControl/clamps/1","data":{"level":5}}},
                                 {"expect":{"subscribed":{"path":"/ClampControl/clamps/1","count":0}}}])"),
              "");
}

TEST_F(SimulatorScenario, ExpectsTheStateOfAnElement) {
    EXPECT_EQ(
        failureOf(sut, R"([{"expect":{"element":{"path":"/ClampControl/clamps/1","data":{"level":3}}}}])"),
        "");
    EXPECT_EQ(
        failureOf(sut, R"([{"expect":{"element":{"path":"/ClampControl/clamps/1","data":{"level":4}}}}])"),
        "The scenario:1:2: the expectation does not hold: /ClampControl/clamps/1 has \"level\" 3, expected "
        "4");
}

TEST_F(SimulatorScenario, WaitsForARequestThatIsAnsweredLate) {
    auto playing = std::async(std::launch::async, [this] {
        return failureOf(sut, R"([{"delay":{"ms":1000000}},
                                  {"wait":{"requests":{"path":"/ClampControl/clamps/1","count":1}}}])");
    });
    RawHttp client(sut.port());
    client.write("GET /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(playing.get(), "");
}

TEST_F(SimulatorScenario, DoesNotAccuseAClientThatUnsubscribesWhatHasJustEnded) {
    auto playing = std::async(std::launch::async, [this] {
        return failureOf(sut, R"([{"wait":{"subscribers":{"path":"/ClampControl/clamps/1","count":1}}},
                                  {"remove":{"path":"/ClampControl/clamps/1"}},
                                  {"wait":{"requests":{"path":"/ClampControl/clamps/2","count":1}}},
                                  {"expect":{"violations":{"count":0}}}])");
    });
    RawWebSocket client(sut.port(), "/ClampControl");
    const std::string id = client.subscribe(kClamp);
    client.receive();  // the state
    client.receive();  // the end
    client.send(R"({"action":"unsubscribe","requestId":"1","subscriptionId":")" + id + R"(","more":1})");
    EXPECT_TRUE(client.receive()->has("error"));
    RawHttp(sut.port()).get("/ClampControl/clamps/2");
    EXPECT_EQ(playing.get(), "");
}

TEST_F(SimulatorScenario, ExpectsNoViolations) {
    RawWebSocket client(sut.port(), "/ClampControl");
    auto playing = std::async(std::launch::async, [&] {
        return failureOf(sut,
                         R"([{"wait":{"violations":{"count":1}}},{"expect":{"violations":{"count":0}}}])");
    });
    // Until it has been heard.
    while (playing.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
        client.send(R"({"action":"dance","requestId":"1"})");
        client.receiveText();
    }
    EXPECT_NE(playing.get().find("violation"), std::string::npos);
}

TEST_F(SimulatorScenario, DoesAStepAtItsTime) {
    const auto begin = std::chrono::steady_clock::now();
    sut.play(R"([{"at":30,"set":{"path":"/ClampControl/clamps/1","data":{"level":5}}}])");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
}

TEST(SimulatorScenarioFile, NamesEveryProblemWithItsPlace) {
    EXPECT_EQ(problemOf("[\n  {\"sett\": {}},\n  {\"drop\": {\"servce\": \"A\"}}\n]"),
              "file:2:3: \"sett\" is no step; did you mean \"set\"?\n"
              "file:3:13: \"drop\": \"servce\" is unknown here; did you mean \"service\"?");
}

TEST(SimulatorScenarioFile, NamesAWrongNumberBeforeAnythingIsPlayed) {
    EXPECT_EQ(problemOf(R"([{"close":{"code":5}}])"),
              "file:1:12: \"close\": \"code\" must be an integer from 1000 to 4999, not 5");
}

TEST(SimulatorScenarioFile, ChecksWhatItExpectsOfAnElement) {
    const std::string text =
        R"([{"expect":{"element":{"path":"/ClampControl/clamps/1","data":{"isSwitchdOn":true}}}}])";
    try {
        Scenario::fromText(text, "file", Strictness::Strict);
        FAIL() << "no model has this field";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()).substr(0, 79),
                  "file:1:64: /ClampControl/clamps has no field \"isSwitchdOn\". Did you mean \"isSwi");
    }
}

TEST(SimulatorScenarioFile, MayExpectWhatNoModelHas) {
    EXPECT_NO_THROW(Scenario::fromText(
        R"([{"expect":{"element":{"path":"/ClampControl/clamps/1","data":{"x":1},"unchecked":true}}}])",
        "file", Strictness::Strict));
}

TEST(SimulatorScenarioFile, MayWriteKeysWithEscapes) {
    EXPECT_NO_THROW(
        Scenario::fromText(R"([{"set":{"\u0070ath":"/ClampControl/clamps/1","data":{"isSwitchedOn":true}}}])",
                           "file", Strictness::Strict));
}

TEST(SimulatorScenarioFile, NamesThePlaceOfASyntaxError) {
    EXPECT_EQ(problemOf("[\n{\"print\" 1}]").substr(0, 10), "file:2:10:");
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
