#include <Poco/JSON/Array.h>

#include <atomic>
#include <exception>
#include <ostream>
#include <thread>

#include "SimulatorTest.h"

namespace {

using SimulatorWebSocket = SimulatorTest;
using Poco::JSON::Object;

constexpr const char* kClamp = "/ClampControl/clamps/1";
constexpr const char* kSwitchOn = R"({"isSwitchedOn":true})";

std::string reasonOf(const Object::Ptr& message) {
    return message->getObject("error")->getValue<std::string>("reason");
}

TEST_F(SimulatorWebSocket, AcceptsWithItsSubProtocol) {
    EXPECT_EQ(RawWebSocket(sut.port(), "/ClampControl").acceptedSubProtocol(), "zeb.v1");
}

TEST_F(SimulatorWebSocket, AcceptsAnOfferOfSeveralSubProtocols) {
    EXPECT_EQ(RawWebSocket(sut.port(), "/ClampControl/", "other, zeb.v1").acceptedSubProtocol(), "zeb.v1");
}

TEST_F(SimulatorWebSocket, RefusesAHandshakeWithoutItsSubProtocol) {
    EXPECT_ANY_THROW(RawWebSocket(sut.port(), "/ClampControl", "other"));
}

TEST_F(SimulatorWebSocket, RefusesAHandshakeForAnUnknownService) {
    EXPECT_ANY_THROW(RawWebSocket(sut.port(), "/Nothing"));
}

TEST_F(SimulatorWebSocket, AnswersASubscribeRequestBeforeTheFirstNotification) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.send(R"({"action":"subscribe","path":"/ClampControl/clamps/1","requestId":"7"})");
    const Object::Ptr answer = client.receive();
    EXPECT_EQ(answer->getValue<std::string>("action"), "subscribe");
    EXPECT_EQ(answer->getValue<std::string>("requestId"), "7");
    const Object::Ptr notification = client.receive();
    EXPECT_EQ(notification->getValue<std::string>("action"), "subscription");
    EXPECT_EQ(notification->getValue<std::string>("subscriptionId"),
              answer->getValue<std::string>("subscriptionId"));
}

TEST_F(SimulatorWebSocket, NotifiesThePresentStateWithTheFirstSequenceNumber) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    const Object::Ptr notification = client.receive();
    EXPECT_EQ(notification->getValue<int>("seq"), 0);
    EXPECT_FALSE(notification->getObject("data")->getValue<bool>("isSwitchedOn"));
}

TEST_F(SimulatorWebSocket, NotifiesEveryChangeInOrderWithCountedSequenceNumbers) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    for (int level = 0; level < 100; ++level) {
        sut.set(kClamp, "{\"level\":" + std::to_string(level) + "}");
    }
    client.receive();
    for (int level = 0; level < 100; ++level) {
        const Object::Ptr notification = client.receive();
        ASSERT_EQ(notification->getValue<int>("seq"), level + 1);
        ASSERT_EQ(notification->getObject("data")->getValue<int>("level"), level);
    }
}

TEST_F(SimulatorWebSocket, NotifiesAPostThatChangesNothing) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    client.receive();
    RawHttp(sut.port()).post(kClamp, "{}");
    EXPECT_EQ(client.receive()->getValue<int>("seq"), 1);
}

TEST_F(SimulatorWebSocket, NotifiesEverySubscriptionToTheSamePath) {
    RawWebSocket client(sut.port(), "/ClampControl");
    const std::string first = client.subscribe(kClamp);
    client.receive();
    const std::string second = client.subscribe(kClamp);
    client.receive();
    sut.set(kClamp, kSwitchOn);
    EXPECT_EQ(client.receive()->getValue<std::string>("subscriptionId"), first);
    EXPECT_EQ(client.receive()->getValue<std::string>("subscriptionId"), second);
}

TEST_F(SimulatorWebSocket, NotifiesACollectionAsTheListOfItsElements) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe("/ClampControl/clamps/");
    EXPECT_EQ(client.receive()->getArray("data")->size(), 3U);
    sut.addElement("/ClampControl/clamps/4", R"({"type":"ClampS"})");
    EXPECT_EQ(client.receive()->getArray("data")->size(), 4U);
    sut.removeElement("/ClampControl/clamps/1");
    EXPECT_EQ(client.receive()->getArray("data")->size(), 3U);
    sut.set("/ClampControl/clamps/2", R"({"level":9})");
    EXPECT_EQ(client.receive()->getArray("data")->getObject(0)->getValue<int>("level"), 9);
}

TEST_F(SimulatorWebSocket, NotifiesAnEmptyCollection) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe("/ClampControl/empty");
    EXPECT_EQ(client.receive()->getArray("data")->size(), 0U);
}

TEST_F(SimulatorWebSocket, EndsTheSubscriptionToAnElementThatIsRemoved) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    client.receive();
    sut.removeElement(kClamp);
    const Object::Ptr message = client.receive();
    EXPECT_EQ(message->getValue<std::string>("action"), "subscription");
    EXPECT_EQ(reasonOf(message), "unavailable_data");
    EXPECT_EQ(sut.subscriberCount(kClamp), 0U);
}

TEST_F(SimulatorWebSocket, EndsASubscriptionWhoseNotificationWouldBeTooLarge) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    client.receive();
    sut.set(kClamp, R"({"name":")" + std::string(1024 * 1024, 'x') + R"("})");
    EXPECT_EQ(reasonOf(client.receive()), "payload_too_large");
}

TEST_F(SimulatorWebSocket, NotifiesNoMoreAfterItAnsweredAnUnsubscribe) {
    RawWebSocket client(sut.port(), "/ClampControl");
    const std::string id = client.subscribe(kClamp);
    client.receive();
    client.send(R"({"action":"unsubscribe","requestId":"8","subscriptionId":")" + id + R"("})");
    const Object::Ptr answer = client.receive();
    EXPECT_EQ(answer->getValue<std::string>("action"), "unsubscribe");
    EXPECT_EQ(answer->getValue<std::string>("subscriptionId"), id);
    sut.set(kClamp, kSwitchOn);
    client.subscribe("/ClampControl/empty");
    EXPECT_TRUE(client.receive()->isArray("data"));
}

struct RefusedMessage {
    const char* name;
    const char* text;
    const char* reason;
};

void PrintTo(const RefusedMessage& message, std::ostream* stream) {
    *stream << message.name;
}

class SimulatorRefusedMessage : public SimulatorTest, public testing::WithParamInterface<RefusedMessage> {};

TEST_P(SimulatorRefusedMessage, GivesTheReasonAndGoesOn) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.send(GetParam().text);
    EXPECT_EQ(reasonOf(client.receive()), GetParam().reason);
    EXPECT_FALSE(client.subscribe(kClamp).empty());
}

INSTANTIATE_TEST_SUITE_P(
    Messages, SimulatorRefusedMessage,
    testing::Values(
        RefusedMessage{"NoJson", "no JSON", "bad_request"}, RefusedMessage{"Empty", "", "bad_request"},
        RefusedMessage{"List", "[]", "bad_request"}, RefusedMessage{"NoAction", "{}", "bad_request"},
        RefusedMessage{"UnknownAction", R"({"action":"get","requestId":"1"})", "bad_request"},
        RefusedMessage{"ActionThatIsNotText", R"({"action":1,"requestId":"1"})", "bad_request"},
        RefusedMessage{"SubscribeWithoutRequestId",
                       R"({"action":"subscribe","path":"/ClampControl/clamps/1"})", "bad_request"},
        RefusedMessage{"SubscribeWithANumberAsRequestId",
                       R"({"action":"subscribe","path":"/ClampControl/clamps/1","requestId":1})",
                       "bad_request"},
        RefusedMessage{"SubscribeWithoutPath", R"({"action":"subscribe","requestId":"1"})", "bad_request"},
        RefusedMessage{"SubscribeToARelativePath",
                       R"({"action":"subscribe","path":"ClampControl/clamps","requestId":"1"})",
                       "bad_request"},
        RefusedMessage{"SubscribeToAnEmptySegment",
                       R"({"action":"subscribe","path":"/ClampControl//1","requestId":"1"})", "bad_request"},
        RefusedMessage{"SubscribeToAService",
                       R"({"action":"subscribe","path":"/ClampControl","requestId":"1"})", "invalid_path"},
        RefusedMessage{"SubscribeToAnUnknownResource",
                       R"({"action":"subscribe","path":"/ClampControl/x","requestId":"1"})", "invalid_path"},
        RefusedMessage{"SubscribeToAnotherService",
                       R"({"action":"subscribe","path":"/Users/groups/a","requestId":"1"})", "invalid_path"},
        RefusedMessage{"SubscribeToAnUnknownElement",
                       R"({"action":"subscribe","path":"/ClampControl/clamps/9","requestId":"1"})",
                       "unavailable_data"},
        RefusedMessage{"UnsubscribeWithoutSubscriptionId", R"({"action":"unsubscribe","requestId":"1"})",
                       "bad_request"},
        RefusedMessage{"UnsubscribeOfAnUnknownSubscription",
                       R"({"action":"unsubscribe","requestId":"1","subscriptionId":"99"})",
                       "invalid_subscriptionId"}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(SimulatorWebSocket, GivesBackActionAndRequestIdOfWhatItRefuses) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.send(R"({"action":"set","requestId":"r\"1"})");
    const Object::Ptr answer = client.receive();
    EXPECT_EQ(answer->getValue<std::string>("action"), "set");
    EXPECT_EQ(answer->getValue<std::string>("requestId"), "r\"1");
}

TEST_F(SimulatorWebSocket, RefusesAMessageThatIsNestedTooDeep) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.send(R"({"action":"subscribe","requestId":"1","path":)" + std::string(64, '[') +
                std::string(64, ']') + "}");
    EXPECT_EQ(reasonOf(client.receive()), "bad_request");
}

TEST_F(SimulatorWebSocket, ClosesAfterABinaryMessage) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.sendBinary("{}");
    EXPECT_EQ(client.receiveClose(), 1003U);
}

TEST_F(SimulatorWebSocket, ClosesAfterTextThatIsNotUtf8) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.send("\xff");
    EXPECT_EQ(client.receiveClose(), 1007U);
}

TEST_F(SimulatorWebSocket, ClosesAfterAMessageOfMoreThanOneMebibyte) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.send(std::string(1024 * 1024 + 1, ' '));
    EXPECT_EQ(client.receiveClose(), 1009U);
}

TEST_F(SimulatorWebSocket, ClosesAfterAFrameThatIsNotMasked) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.sendBytes(std::string("\x81\x02{}", 4));
    EXPECT_EQ(client.receiveClose(), 1002U);
}

TEST_F(SimulatorWebSocket, ClosesWithThePeersCodeWhenThePeerCloses) {
    RawWebSocket client(sut.port(), "/ClampControl");
    EXPECT_NO_THROW(client.close());
    EXPECT_TRUE(sut.waitForWebSockets("ClampControl", 0, kLong));
}

TEST_F(SimulatorWebSocket, CountsNoWebSocketThatWasDroppedBeforeItsHandshakeWasComplete) {
    std::atomic<bool> isOver = false;
    std::thread dropping([&] {
        while (!isOver) {
            sut.dropConnections("ClampControl");
        }
    });
    constexpr int kRounds = 300;  // enough to hit that moment several times
    for (int round = 0; round < kRounds; ++round) {
        try {
            const RawWebSocket client(sut.port(), "/ClampControl");
        } catch (const std::exception&) {
            continue;  // dropped before the answer
        }
    }
    isOver = true;
    dropping.join();
    EXPECT_TRUE(sut.waitForWebSockets("ClampControl", 0, kLong));
}

TEST_F(SimulatorWebSocket, ForgetsTheSubscriptionsOfAClientThatIsGone) {
    {
        RawWebSocket client(sut.port(), "/ClampControl");
        client.subscribe(kClamp);
    }
    EXPECT_TRUE(sut.waitForSubscribers(kClamp, 0, kLong));
}

TEST_F(SimulatorWebSocket, ClosesAClientThatDoesNotReadAfterSixtyFourMebibytes) {
    RawWebSocket reading(sut.port(), "/ClampControl");
    reading.subscribe("/ClampControl/empty");
    reading.receive();
    RawWebSocket notReading(sut.port(), "/ClampControl");
    notReading.subscribe(kClamp);
    const std::string large = R"({"name":")" + std::string(1000 * 1000, 'x') + R"("})";
    for (int count = 0; count < 90; ++count) {
        sut.set(kClamp, large);
    }
    EXPECT_TRUE(sut.waitForSubscribers(kClamp, 0, kLong));
    EXPECT_FALSE(reading.subscribe(kClamp).empty());
}

}  // namespace
