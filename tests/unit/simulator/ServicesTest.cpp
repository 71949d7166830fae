#include <NamedText.h>
#include <Poco/JSON/Array.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <utility>

#include "SimulatorTest.h"

namespace {

using test_support::NamedText;
using SimulatorServices = SimulatorTest;
using SimulatorFaultInjection = SimulatorTest;
using SimulatorLibrary = SimulatorTest;
using Poco::JSON::Array;
using Poco::JSON::Object;

constexpr const char* kClamp = "/ClampControl/clamps/1";
constexpr const char* kRegistry = "/serviceregistry/services";

TEST_F(SimulatorServices, AreListedInTheRegistryWithTheirAddress) {
    const Array::Ptr list = RawHttp(sut.port()).get(kRegistry).json()->getArray("data");
    ASSERT_EQ(list->size(), 2U);
    EXPECT_EQ(list->getObject(0)->getValue<std::string>("name"), "ClampControl");
    EXPECT_EQ(list->getObject(0)->getValue<std::string>("serverBaseUri"), sut.baseUri());
    EXPECT_EQ(list->getObject(0)->getValue<std::string>("serverBasePath"), "/");
}

TEST_F(SimulatorServices, LeaveTheRegistryWhenRemovedAndComeBackAsTheyWere) {
    RawWebSocket client(sut.port(), "/serviceregistry");
    client.subscribe(kRegistry);
    EXPECT_EQ(client.receive()->getArray("data")->size(), 2U);
    sut.set(kClamp, R"({"isSwitchedOn":true})");
    sut.removeService("ClampControl");
    EXPECT_EQ(client.receive()->getArray("data")->size(), 1U);
    sut.addService("ClampControl");
    EXPECT_EQ(client.receive()->getArray("data")->size(), 2U);
    EXPECT_NE(sut.element(kClamp).find("\"isSwitchedOn\":true"), std::string::npos);
}

TEST_F(SimulatorServices, CanBeAddedWhileTheBusRuns) {
    sut.addService("New", R"({"things":[{"id":"x"}]})");
    EXPECT_EQ(RawHttp(sut.port()).get("/New/things").ids(), "x");
    EXPECT_EQ(RawHttp(sut.port()).get(std::string(kRegistry) + "?name=New").ids(), "New");
}

TEST_F(SimulatorServices, AreNotFoundWhenRemoved) {
    sut.removeService("ClampControl");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).reason(), "invalid_path");
}

TEST_F(SimulatorServices, CloseTheirWebSocketsWhenRemoved) {
    RawWebSocket client(sut.port(), "/ClampControl");
    sut.removeService("ClampControl");
    EXPECT_EQ(client.receiveClose(), 1001U);
}

TEST_F(SimulatorServices, SendWhatWaitedBeforeTheyClose) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    sut.set(kClamp, R"({"isSwitchedOn":true})");
    sut.setServiceAvailable("ClampControl", false);
    client.receive();
    EXPECT_TRUE(client.receive()->getObject("data")->getValue<bool>("isSwitchedOn"));
    EXPECT_EQ(client.receiveClose(), 1001U);
}

TEST_F(SimulatorServices, StayListedWhenTheyAreNotAvailable) {
    sut.setServiceAvailable("ClampControl", false);
    EXPECT_EQ(RawHttp(sut.port()).get(kRegistry).ids(), "ClampControl,Users");
}

TEST_F(SimulatorServices, AnswerThatTheyAreNotAvailable) {
    sut.setServiceAvailable("ClampControl", false);
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).reason(), "service_unavailable");
    EXPECT_ANY_THROW(RawWebSocket(sut.port(), "/ClampControl"));
}

TEST_F(SimulatorServices, ComeBackUnavailableIfThatWasSetWhileTheyWereAway) {
    sut.removeService("ClampControl");
    sut.setServiceAvailable("ClampControl", false);
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 404);
    sut.addService("ClampControl");
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 503);
}

TEST_F(SimulatorServices, ServeAgainWhenTheyAreAvailableAgain) {
    sut.setServiceAvailable("ClampControl", false);
    sut.setServiceAvailable("ClampControl", true);
    EXPECT_NO_THROW(RawWebSocket(sut.port(), "/ClampControl"));
}

TEST_F(SimulatorFaultInjection, WithholdsTheFirstNotificationUntilItIsReleased) {
    sut.withholdFirstNotifications();
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    sut.set(kClamp, R"({"level":77})");
    sut.releaseFirstNotifications();
    const Object::Ptr notification = client.receive();
    EXPECT_EQ(notification->getValue<int>("seq"), 0);
    EXPECT_EQ(notification->getObject("data")->getValue<int>("level"), 77);
}

TEST_F(SimulatorFaultInjection, DelaysTheFirstNotification) {
    sut.delayFirstNotification(std::chrono::milliseconds(100));
    RawWebSocket client(sut.port(), "/ClampControl");
    const auto begin = std::chrono::steady_clock::now();
    client.subscribe(kClamp);
    EXPECT_EQ(client.receive()->getValue<int>("seq"), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(90));
}

TEST_F(SimulatorFaultInjection, SendsTextToEverySubscriberOnce) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    client.receive();
    client.subscribe(kClamp);
    client.receive();
    sut.sendText(kClamp, "first");
    sut.sendText(kClamp, "second");
    EXPECT_EQ(client.receiveText(), "first");
    EXPECT_EQ(client.receiveText(), "second");
}

TEST_F(SimulatorFaultInjection, SendsBytesBetweenMessages) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    client.receive();
    sut.sendBytes(kClamp, std::string("\x01\x02{\"", 4));
    sut.sendBytes(kClamp, std::string("\x80\x01}", 3));
    EXPECT_EQ(client.receiveText(), "{\"}");
}

TEST_F(SimulatorFaultInjection, ResetsConnections) {
    RawWebSocket client(sut.port(), "/ClampControl");
    sut.waitForWebSockets("ClampControl", 1, kLong);
    sut.dropConnections("ClampControl");
    EXPECT_EQ(client.receiveClose(), 0U);
    EXPECT_EQ(sut.webSocketCount("ClampControl"), 0U);
}

TEST_F(SimulatorFaultInjection, ClosesConnectionsWithTheCodeAskedFor) {
    RawWebSocket client(sut.port(), "/ClampControl");
    sut.waitForWebSockets("ClampControl", 1, kLong);
    sut.closeConnections("ClampControl", 4321);
    EXPECT_EQ(client.receiveClose(), 4321U);
}

TEST_F(SimulatorFaultInjection, SaysNothingMoreOnAFrozenConnection) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    client.receive();
    sut.waitUntilSent(kLong);
    sut.freezeConnections("ClampControl");
    client.ping();
    sut.set(kClamp, R"({"level":1})");
    EXPECT_FALSE(sut.waitUntilSent(std::chrono::milliseconds(50)));
    EXPECT_EQ(sut.webSocketCount("ClampControl"), 1U);
}

TEST_F(SimulatorFaultInjection, FreezesAConnectionInTheMiddleOfPings) {
    const std::string ping("\x89\x80\0\0\0\0", 6);
    const std::string lastPing("\x89\x84\0\0\0\0last", 10);
    for (int attempt = 0; attempt < 5; ++attempt) {
        RawWebSocket client(sut.port(), "/ClampControl");
        std::promise<void> firstAnswer;
        std::atomic<bool> isFrozen = false;
        auto pings = std::async(std::launch::async, [&] {
            bool isAnswered = false;
            while (!isFrozen) {
                client.sendBytes(ping);
                if (!client.bytesArrived().empty() && !std::exchange(isAnswered, true)) {
                    firstAnswer.set_value();
                }
            }
        });
        firstAnswer.get_future().wait();
        sut.freezeConnections("ClampControl");
        isFrozen = true;
        pings.get();
        client.sendBytes(lastPing);
        // An answer would come within some turns of the bus.
        for (int turn = 0; turn < 300; ++turn) {
            sut.element(kClamp);
        }
        sut.dropConnections("ClampControl");
        EXPECT_EQ(client.bytesToTheEnd().find("last"), std::string::npos);
    }
}

TEST_F(SimulatorLibrary, WaitsForASubscriber) {
    auto waiting =
        std::async(std::launch::async, [this] { return sut.waitForSubscribers(kClamp, 1, kLong); });
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    EXPECT_TRUE(waiting.get());
}

TEST_F(SimulatorLibrary, GivesUpWaitingForASubscriberWhenTheTimeIsOver) {
    EXPECT_FALSE(sut.waitForSubscribers(kClamp, 1, std::chrono::milliseconds(10)));
}

TEST_F(SimulatorLibrary, GivesUpWaitingWhenItIsStopped) {
    auto waiting =
        std::async(std::launch::async, [this] { return sut.waitForSubscribers(kClamp, 1, kLong); });
    sut.stop();
    EXPECT_FALSE(waiting.get());
}

TEST_F(SimulatorLibrary, ClosesWebSocketsWhenItStops) {
    RawWebSocket client(sut.port(), "/ClampControl");
    auto closed = std::async(std::launch::async, [&] { return client.receiveClose(); });
    sut.stop();
    EXPECT_EQ(closed.get(), 1001U);
}

TEST_F(SimulatorLibrary, ListensOnTheSamePortAfterARestart) {
    const std::uint16_t port = sut.port();
    { RawWebSocket client(port, "/ClampControl"); }
    sut.stop();
    sut.start();
    EXPECT_EQ(sut.port(), port);
    EXPECT_EQ(RawHttp(port).get(kClamp).status, 200);
}

TEST_F(SimulatorLibrary, CanBeStoppedTwice) {
    sut.stop();
    EXPECT_NO_THROW(sut.stop());
}

TEST_F(SimulatorLibrary, ThrowsForAnElementThatIsNotThere) {
    EXPECT_THROW(sut.set("/ClampControl/clamps/9", "{}"), std::runtime_error);
}

TEST_F(SimulatorLibrary, ThrowsForJsonThatCannotBeUsed) {
    EXPECT_THROW(sut.set(kClamp, "[]"), std::invalid_argument);
}

TEST_F(SimulatorLibrary, ThrowsForAPortThatIsTaken) {
    zebbussim::BusSimulator::Options options;
    options.port = sut.port();
    zebbussim::BusSimulator second(options);
    EXPECT_THROW(second.start(), std::runtime_error);
}

TEST_F(SimulatorLibrary, FloodsWithEveryChangeInOrder) {
    constexpr std::size_t changes = 20001;
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    client.receive();
    auto flooding = std::async(std::launch::async, [&] {
        sut.flood(kClamp, {R"({"isSwitchedOn":true})", R"({"isSwitchedOn":false})"}, changes);
    });
    std::string last;
    for (std::size_t count = 0; count < changes; ++count) {
        last = client.receiveText();
    }
    EXPECT_NE(last.find("\"seq\":20001,"), std::string::npos);
    EXPECT_NE(last.find("\"isSwitchedOn\":true"), std::string::npos);
    flooding.get();
    EXPECT_TRUE(sut.waitUntilSent(kLong));
}

TEST_F(SimulatorLibrary, EndsAFloodThatNobodyReadsWhenItStops) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    client.receive();
    auto flooding = std::async(std::launch::async, [&] { sut.flood(kClamp, {"{}"}, 1000000000); });
    client.receive();
    sut.stop();
    EXPECT_THROW(flooding.get(), std::runtime_error);
}

class SimulatorBusText : public testing::TestWithParam<NamedText> {};

TEST_P(SimulatorBusText, IsRefusedWhenItIsWrong) {
    zebbussim::BusSimulator sut;
    EXPECT_THROW(sut.loadText(GetParam().text), std::invalid_argument);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, SimulatorBusText,
    testing::Values(NamedText{"Empty", ""}, NamedText{"NoServices", "{}"},
                    NamedText{"ListOfServices", R"({"services":[]})"},
                    NamedText{"ListOfResources", R"({"services":{"A":[]}})"},
                    NamedText{"ResourceThatIsAnObject", R"({"services":{"A":{"b":{}}}})"},
                    NamedText{"ElementThatIsANumber", R"({"services":{"A":{"b":[1]}}})"},
                    NamedText{"ElementWithoutId", R"({"services":{"A":{"b":[{}]}}})"},
                    NamedText{"NumberAsId", R"({"services":{"A":{"b":[{"id":1}]}}})"},
                    NamedText{"SlashInAnId", R"({"services":{"A":{"b":[{"id":"x/y"}]}}})"},
                    NamedText{"RepeatedId", R"({"services":{"A":{"b":[{"id":"1"},{"id":"1"}]}}})"},
                    NamedText{"UriOfAnotherElement",
                              R"({"services":{"A":{"b":[{"id":"1","uri":"/A/b/2"}]}}})"},
                    NamedText{"NumberAsName", R"({"services":{"A":{"b":[{"id":"1","name":1}]}}})"},
                    NamedText{"SlashInAServiceName", R"({"services":{"A/B":{}}})"},
                    NamedText{"NameOfTheServiceRegistry", R"({"services":{"serviceregistry":{}}})"}),
    test_support::nameOf);

TEST(SimulatorOnIpVersion6, PutsItsAddressInBrackets) {
    zebbussim::BusSimulator::Options options;
    options.address = "::1";
    zebbussim::BusSimulator sut(options);
    EXPECT_EQ(sut.baseUri(), "http://[::1]:0");
}

}  // namespace
