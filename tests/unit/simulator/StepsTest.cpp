// The steps that scenarios, the control interface and users of the library do, above all faults.
#include <NamedText.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>

#include "SimulatorTest.h"
#include "steps/StepKinds.h"

namespace {

using test_support::NamedText;
using SimulatorSteps = SimulatorTest;

constexpr const char* kClamp = "/ClampControl/clamps/1";

TEST_F(SimulatorSteps, RefuseAStepThatThereIsNot) {
    EXPECT_THROW(sut.perform(R"({"dance":{}})"), std::invalid_argument);
}

TEST_F(SimulatorSteps, RefuseAMemberThatAStepDoesNotHave) {
    EXPECT_THROW(sut.perform(R"({"drop":{"services":"ClampControl"}})"), std::invalid_argument);
}

TEST_F(SimulatorSteps, RefuseAServiceThatThereIsNot) {
    EXPECT_THROW(sut.perform(R"({"drop":{"service":"Nothing"}})"), std::runtime_error);
}

TEST_F(SimulatorSteps, RefuseAFaultOfAServiceThatThereIsNotAndSayWhichWasMeant) {
    try {
        sut.perform(R"({"delay":{"path":"/ClampContrl/clamps","ms":5}})");
        FAIL() << "the fault would never show";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "There is no service \"ClampContrl\"; did you mean \"ClampControl\"?");
    }
}

TEST_F(SimulatorSteps, SayThatAWaitIsForScenarios) {
    try {
        sut.perform(R"({"wait":{"ms":5}})");
        FAIL() << "a wait is no step";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "\"wait\" is possible in scenarios only");
    }
}

class SimulatorStepText : public testing::TestWithParam<NamedText> {};

TEST_P(SimulatorStepText, IsRefusedWhenAMemberIsWrong) {
    zebbussim::BusSimulator sut;
    sut.addService("ClampControl", R"({"clamps":[{"id":"1"}]})");
    EXPECT_THROW(sut.perform(GetParam().text), std::invalid_argument);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, SimulatorStepText,
    testing::Values(NamedText{"PathWithoutSlash", R"({"ignore":{"path":"ClampControl"}})"},
                    NamedText{"EmptyPath", R"({"ignore":{"path":""}})"},
                    NamedText{"PathWithAControlCharacter", R"({"ignore":{"path":"/a\u0000"}})"},
                    NamedText{"ElementPathWithoutSlash", R"({"remove":{"path":"ClampControl/clamps/1"}})"},
                    NamedText{"ContentTypeOfTwoLines", R"({"contentType":{"type":"a\r\nb: c"}})"},
                    NamedText{"EmptyContentType", R"({"contentType":{"type":""}})"},
                    NamedText{"HalfAByte", R"({"bytes":{"hex":"abc"}})"},
                    NamedText{"BytesThatAreNotHex", R"({"bytes":{"hex":"xy"}})"},
                    NamedText{"NegativeByte", R"({"bytes":{"hex":"-1"}})"},
                    NamedText{"TextAndBytes", R"({"bytes":{"hex":"00","text":"a"}})"},
                    NamedText{"LowStatus", R"({"status":{"code":99}})"},
                    NamedText{"HighStatus", R"({"status":{"code":600}})"},
                    NamedText{"LowCloseCode", R"({"close":{"code":999}})"},
                    NamedText{"HighCloseCode", R"({"close":{"code":5000}})"},
                    NamedText{"UnknownWayToDrop", R"({"drop":{"how":"hard"}})"},
                    NamedText{"NoFragment", R"({"fragment":{"size":0}})"},
                    NamedText{"FragmentThatCannotBeFramed", R"({"fragment":{"size":126}})"},
                    NamedText{"NothingToSkip", R"({"skip":{"path":"/ClampControl/clamps/1","count":0}})"},
                    NamedText{"NoBytesPerSecond", R"({"slow":{"bytesPerSecond":0}})"},
                    NamedText{"MuchPadding", R"({"pad":{"size":67108865}})"},
                    NamedText{"BodyOfAnAnswerWithoutOne", R"({"status":{"code":204,"body":"x"}})"},
                    NamedText{"EndOfWhatDoesNotLast", R"({"clear":{"fault":"drop"}})"},
                    NamedText{"EndOfAPathAndAKind", R"({"clear":{"fault":"delay","path":"/"}})"},
                    NamedText{"ElementOfTheRegistry",
                              R"({"remove":{"path":"/serviceregistry/services/ClampControl"}})"},
                    NamedText{"TimeInQuotes", R"({"delay":{"ms":"5"}})"},
                    NamedText{"FractionOfATime", R"({"delay":{"ms":0.5}})"},
                    NamedText{"TimeOfMonths", R"({"delay":{"ms":1000000001}})"}),
    test_support::nameOf);

TEST_F(SimulatorSteps, AnswerWithAStatus) {
    sut.perform(R"({"status":{"path":"/ClampControl","code":503,"body":"away"}})");
    const auto answer = RawHttp(sut.port()).get(kClamp);
    EXPECT_EQ(answer.status, 503);
    EXPECT_EQ(answer.body, "away");
}

TEST_F(SimulatorSteps, MayHaveASlashAtTheEndOfAPath) {
    sut.perform(R"({"status":{"path":"/ClampControl/","code":503}})");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 503);
    sut.perform(R"({"clear":{"path":"/ClampControl/"}})");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 200);
}

TEST_F(SimulatorSteps, PadTheHeaderOfAHandshake) {
    sut.perform(R"({"pad":{"size":2000000}})");
    RawHttp client(sut.port());
    client.write(
        "GET /ClampControl HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
        "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
        "Sec-WebSocket-Protocol: zeb.v1\r\n\r\n");
    std::string header;
    while (header.find("\r\n\r\n") == std::string::npos) {
        header += client.readSome();
    }
    EXPECT_GE(header.size(), 2'000'000U);
    EXPECT_EQ(header.substr(0, 12), "HTTP/1.1 101");
}

TEST_F(SimulatorSteps, AnswerLate) {
    sut.perform(R"({"delay":{"ms":50}})");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 200);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
}

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

class SimulatorThatKeepsItsClientsWaiting : public SimulatorTest,
                                            public testing::WithParamInterface<NamedText> {};

TEST_P(SimulatorThatKeepsItsClientsWaiting, ClosesTheConnectionsOfThoseThatLeave) {
    sut.perform(GetParam().text);
    const std::ptrdiff_t before = openDescriptors();
    {
        RawHttp client(sut.port());
        client.write("GET /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_TRUE(sut.waitForRequests(kClamp, 1, kLong));
    }
    const auto limit = std::chrono::steady_clock::now() + kLong;
    while (openDescriptors() > before && std::chrono::steady_clock::now() < limit) {
        sut.element(kClamp);  // a turn of the bus
    }
    EXPECT_EQ(openDescriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(Faults, SimulatorThatKeepsItsClientsWaiting,
                         testing::Values(NamedText{"ForEver", R"({"ignore":{}})"},
                                         NamedText{"ForLong", R"({"delay":{"ms":1000000}})"}),
                         test_support::nameOf);

TEST_F(SimulatorSteps, AnswerNever) {
    sut.perform(R"({"ignore":{}})");
    RawHttp client(sut.port());
    client.write("GET /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_TRUE(sut.waitForRequests(kClamp, 1, kLong));
    EXPECT_FALSE(client.answersWithin(std::chrono::milliseconds(50)));
}

TEST_F(SimulatorSteps, AnswerWithBytes) {
    sut.perform(R"({"bytes":{"hex":"de ad"}})");
    RawHttp client(sut.port());
    client.write("GET /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(client.readToEnd(), "\xde\xad");
}

TEST_F(SimulatorSteps, AnswerWithAnotherContentType) {
    sut.perform(R"({"contentType":{"type":"text/html"}})");
    RawHttp client(sut.port());
    client.write("GET /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_NE(client.readToEnd().find("Content-Type: text/html\r\n"), std::string::npos);
}

TEST_F(SimulatorSteps, PadAnAnswer) {
    sut.perform(R"({"pad":{"size":2000000}})");
    EXPECT_GE(RawHttp(sut.port()).get(kClamp).body.size(), 2000000U);
}

TEST_F(SimulatorSteps, CutAnAnswer) {
    sut.perform(R"({"cut":{}})");
    RawHttp client(sut.port());
    client.write("GET /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const std::string answer = client.readToEnd();
    EXPECT_EQ(answer.substr(0, 15), "HTTP/1.1 200 OK");
    EXPECT_EQ(answer.find("\"ts\""), std::string::npos);
}

TEST_F(SimulatorSteps, RefuseASubscription) {
    sut.perform(R"({"refuse":{"path":"/ClampControl/clamps/1","number":401,"message":"not today"}})");
    RawWebSocket client(sut.port(), "/ClampControl");
    client.send(R"({"action":"subscribe","path":"/ClampControl/clamps/1","requestId":"1"})");
    const auto error = client.receive()->getObject("error");
    EXPECT_EQ(error->getValue<int>("number"), 401);
    EXPECT_EQ(error->getValue<std::string>("message"), "not today");
}

TEST_F(SimulatorSteps, WithholdAndReleaseFirstNotifications) {
    sut.perform(R"({"withhold":{}})");
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    sut.perform(R"({"set":{"path":"/ClampControl/clamps/1","data":{"level":7}}})");
    sut.perform(R"({"release":{}})");
    EXPECT_EQ(client.receive()->getObject("data")->getValue<int>("level"), 7);
}

TEST_F(SimulatorSteps, SkipANotification) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    EXPECT_EQ(client.receive()->getValue<int>("seq"), 0);
    sut.perform(R"({"skip":{"path":"/ClampControl/clamps/1"}})");
    sut.set(kClamp, R"({"level":1})");
    sut.set(kClamp, R"({"level":2})");
    const auto message = client.receive();
    EXPECT_EQ(message->getValue<int>("seq"), 2);
    EXPECT_EQ(message->getObject("data")->getValue<int>("level"), 2);
}

TEST_F(SimulatorSteps, SendEveryMessageTwice) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    client.receive();
    sut.perform(R"({"twice":{}})");
    sut.set(kClamp, R"({"level":1})");
    EXPECT_EQ(client.receiveText(), client.receiveText());
}

TEST_F(SimulatorSteps, SendMessagesInFragments) {
    sut.perform(R"({"fragment":{"size":5}})");
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    EXPECT_EQ(client.receive()->getObject("data")->getValue<int>("level"), 3);
}

TEST_F(SimulatorSteps, GiveASubscriptionTheIdOfAnother) {
    RawWebSocket client(sut.port(), "/ClampControl");
    const std::string first = client.subscribe(kClamp);
    client.receive();
    sut.perform(R"({"sameId":{}})");
    EXPECT_EQ(client.subscribe("/ClampControl/clamps/2"), first);
}

TEST_F(SimulatorSteps, SendATextToSubscribers) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    client.receive();
    sut.perform(R"({"send":{"path":"/ClampControl/clamps/1","text":"nonsense"}})");
    EXPECT_EQ(client.receiveText(), "nonsense");
}

TEST_F(SimulatorSteps, CloseWithACode) {
    RawWebSocket client(sut.port(), "/ClampControl");
    sut.waitForWebSockets("ClampControl", 1, kLong);
    sut.perform(R"({"close":{"service":"ClampControl","code":1012}})");
    EXPECT_EQ(client.receiveClose(), 1012U);
}

TEST_F(SimulatorSteps, EndAConnectionWithoutACloseFrame) {
    RawWebSocket client(sut.port(), "/ClampControl");
    sut.waitForWebSockets("ClampControl", 1, kLong);
    sut.perform(R"({"drop":{"how":"end"}})");
    EXPECT_EQ(client.receiveClose(), 0U);
}

TEST_F(SimulatorSteps, StallAndGoOn) {
    sut.perform(R"({"stall":{}})");
    RawHttp client(sut.port());
    client.write("GET /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_TRUE(sut.waitForRequests(kClamp, 1, kLong));
    EXPECT_FALSE(client.answersWithin(std::chrono::milliseconds(50)));
    sut.perform(R"({"clear":{}})");
    EXPECT_NE(client.readToEnd().find("200 OK"), std::string::npos);
}

TEST_F(SimulatorSteps, SendSlowly) {
    sut.perform(R"({"slow":{"bytesPerSecond":5000}})");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 200);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
}

TEST_F(SimulatorSteps, RefuseConnectionsUntilTheyAreCleared) {
    sut.perform(R"({"refuseConnections":{}})");
    EXPECT_THROW(RawHttp(sut.port()), std::exception);
    sut.perform(R"({"clear":{"fault":"refuseConnections"}})");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 200);
}

TEST_F(SimulatorSteps, RestartTheBus) {
    RawWebSocket client(sut.port(), "/ClampControl");
    sut.waitForWebSockets("ClampControl", 1, kLong);
    sut.play(
        R"([{"restart":{"ms":20}},{"wait":{"webSockets":{"service":"ClampControl","count":0}}},{"wait":{"ms":50}}])");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 200);
}

TEST_F(SimulatorSteps, ReplaceAFaultOfTheSamePath) {
    sut.perform(R"({"status":{"code":503}})");
    sut.perform(R"({"status":{"code":500}})");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 500);
    sut.perform(R"({"clear":{}})");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 200);
}

TEST_F(SimulatorSteps, ClearTheFaultsOfAPathOnly) {
    sut.perform(R"({"status":{"path":"/ClampControl/clamps","code":500}})");
    sut.perform(R"({"status":{"path":"/Users","code":500}})");
    sut.perform(R"({"clear":{"path":"/Users"}})");
    EXPECT_EQ(RawHttp(sut.port()).get("/Users/groups").status, 200);
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 500);
}

TEST_F(SimulatorSteps, BringServicesBackWhenEverythingIsCleared) {
    sut.perform(R"({"service":{"name":"ClampControl","present":false}})");
    sut.perform(R"({"service":{"name":"Users","available":false}})");
    sut.perform(R"({"clear":{}})");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 200);
    EXPECT_EQ(RawHttp(sut.port()).get("/Users/groups").status, 200);
}

std::set<std::string> keysOf(const Poco::JSON::Object::Ptr& object) {
    const auto names = object->getNames();
    return {names.begin(), names.end()};
}

Poco::JSON::Object::Ptr stepsOfTheSchema() {
    std::ifstream file(SCENARIO_SCHEMA_FILE);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return Poco::JSON::Parser()
        .parse(text)
        .extract<Poco::JSON::Object::Ptr>()
        ->getObject("$defs")
        ->getObject("step")
        ->getObject("properties");
}

TEST(SimulatorStepKinds, AreThoseOfTheSchemaOfScenarios) {
    std::set<std::string> kinds{"at", "print", "wait", "expect"};
    for (const zebbussim::StepKind& kind : zebbussim::stepKinds()) {
        kinds.insert(kind.name);
    }
    EXPECT_EQ(kinds, keysOf(stepsOfTheSchema()));
}

TEST(SimulatorStepKinds, HaveTheMembersThatTheSchemaOfScenariosNames) {
    const auto steps = stepsOfTheSchema();
    for (const zebbussim::StepKind& kind : zebbussim::stepKinds()) {
        const auto step = steps->getObject(kind.name);
        if (!step->has("properties")) {
            continue;  // shared with another step
        }
        std::set<std::string> members;
        for (const zebbussim::MemberKind& member : kind.members) {
            members.insert(member.key);
        }
        EXPECT_EQ(members, keysOf(step->getObject("properties"))) << kind.name;
    }
}

}  // namespace
