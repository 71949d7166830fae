// How the platform closes a WebSocket: the codes of section 4.5 of docs/wire-protocol.md, as a server sees
// them. Numbers are those of the promises in docs/platform-contract.md.

#include <PlatformFixture.h>
#include <zeb/ZebException.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "BareServer.h"

namespace {

using test_support::kLimit;

class CloseContract : public test_support::PlatformFixture {
 protected:
    CloseContract() { configuration->known.serverBaseUri = server.baseUri(); }

    void connectToServer() {
        createRegistry();
        listen();
        server.accept();
        ASSERT_EQ(states.next(), "connected");
    }

    // Receives a subscribe request and answers it.
    void acceptSubscription(const std::string& subscriptionId) {
        const auto request = zebutil::JsonObject::parse(server.receiveText());
        server.sendText(R"({"action":"subscribe","requestId":")" + request->getString("requestId") +
                        R"(","subscriptionId":")" + subscriptionId + "\"}");
    }

    contract::BareServer server{kLimit};
};

struct Violation {
    const char* name;
    std::string bytes;
    std::uint16_t code;
};

void PrintTo(const Violation& violation, std::ostream* stream) {
    *stream << violation.name;
}

std::string bytes(std::initializer_list<unsigned> values, const std::string& rest = {}) {
    std::string result;
    for (const unsigned value : values) {
        result.push_back(static_cast<char>(value));
    }
    return result + rest;
}

class CloseCodeContract : public CloseContract, public testing::WithParamInterface<Violation> {};

// P11
TEST_P(CloseCodeContract, SaysWhatTheServerDid) {
    connectToServer();
    server.sendBytes(GetParam().bytes);
    EXPECT_EQ(server.receiveClose(), GetParam().code);
    EXPECT_EQ(states.next(), "disconnected");
}

INSTANTIATE_TEST_SUITE_P(
    Of, CloseCodeContract,
    testing::Values(
        Violation{"AReservedBit", bytes({0xC1, 2}, "{}"), 1002},
        Violation{"AnUnknownKindOfFrame", bytes({0x83, 0}), 1002},
        Violation{"AMaskedFrame", bytes({0x81, 0x82, 0, 0, 0, 0}, "{}"), 1002},
        Violation{"AContinuationOfNothing", bytes({0x80, 2}, "{}"), 1002},
        Violation{"AMessageWithinAMessage", bytes({0x01, 1}, "{") + bytes({0x81, 1}, "}"), 1002},
        Violation{"APingInFragments", bytes({0x09, 0}), 1002},
        Violation{"APingThatIsTooLong", bytes({0x89, 0x7E, 0, 126}, std::string(126, 'x')), 1002},
        Violation{"ABinaryMessage", bytes({0x82, 2}, "{}"), 1003},
        Violation{"ABinaryMessageInFragments", bytes({0x02, 1}, "{") + bytes({0x80, 1}, "}"), 1003},
        Violation{"TextThatIsNoUtf8", bytes({0x81, 2, 0xC3, 0x28}), 1007},
        Violation{"TextThatEndsWithinACharacter", bytes({0x81, 1, 0xC3}), 1007},
        Violation{"AMessageThatIsNoJson", contract::BareServer::textFrame("garbage"), 1007},
        Violation{"AMessageThatIsNoObject", contract::BareServer::textFrame("[]"), 1007},
        Violation{
            "AMessageThatIsNestedTooDeep",
            contract::BareServer::textFrame(R"({"x":)" + std::string(64, '[') + std::string(64, ']') + "}"),
            1007},
        Violation{"ANotificationWithoutSubscriptionId",
                  contract::BareServer::textFrame(R"({"action":"subscription","seq":0,"data":{}})"), 1007},
        Violation{"AnAnswerWithoutRequestId",
                  contract::BareServer::textFrame(R"({"action":"subscribe","subscriptionId":"1"})"), 1007},
        Violation{"AMessageOfWhichAPartIsNoJson", contract::BareServer::textFrame(R"({"action":"x","y":[}})"),
                  1007},
        Violation{"AnErrorThatIsNoObject",
                  contract::BareServer::textFrame(
                      R"({"action":"subscription","subscriptionId":"1","seq":0,"data":{},"error":null})"),
                  1007},
        Violation{"AMessageOfMoreThanOneMebibyte", bytes({0x81, 0x7F, 0, 0, 0, 0, 0, 0x10, 0, 1}), 1009},
        Violation{"AMessageWhoseFragmentsAreMoreThanOneMebibyte",
                  bytes({0x01, 1}, " ") + bytes({0x80, 0x7F, 0, 0, 0, 0, 0, 0x10, 0, 0}), 1009}),
    [](const auto& testCase) { return testCase.param.name; });

struct End {
    const char* name;
    std::string bytes;
    const char* reason;
};

void PrintTo(const End& end, std::ostream* stream) {
    *stream << end.name;
}

class ReasonContract : public CloseContract, public testing::WithParamInterface<End> {};

// P11, P14
TEST_P(ReasonContract, IsToldEvenIfTheServerResetsTheConnectionAfterTheAnswer) {
    connectToServer();
    server.sendBytes(GetParam().bytes);
    server.receiveClose();
    server.reset();
    EXPECT_TRUE(log->waitFor(std::string("disconnected: ") + GetParam().reason));
}

// P11, P14
TEST_P(ReasonContract, IsToldEvenIfTheServerResetsTheConnectionAtOnce) {
    connectToServer();
    const std::string ping = bytes({0x89, 0});  // so that the client writes meanwhile
    server.sendBytes(ping + GetParam().bytes);
    server.reset();
    EXPECT_TRUE(log->waitFor(std::string("disconnected: ") + GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    OfTheEndBy, ReasonContract,
    testing::Values(End{"AClose", bytes({0x88, 2, 0x03, 0xE9}), "closed by the server with code 1001"},
                    End{"ACloseWithoutACode", bytes({0x88, 0}), "closed by the server without a code"},
                    End{"AReservedBit", bytes({0xC1, 2}, "{}"),
                        "The WebSocket frame contained illegal reserved bits"},
                    End{"TextThatIsNoUtf8", bytes({0x81, 2, 0xC3, 0x28}),
                        "The WebSocket frame payload was not valid utf8"},
                    End{"AMessageOfMoreThanOneMebibyte", bytes({0x81, 0x7F, 0, 0, 0, 0, 0, 0x10, 0, 1}),
                        "The WebSocket message exceeded"},
                    End{"ABinaryMessage", bytes({0x82, 2}, "{}"), "the server sent a binary message"},
                    End{"AMessageThatIsNoJson", contract::BareServer::textFrame("garbage"),
                        "ZebException: message of the server"}),
    [](const auto& testCase) { return testCase.param.name; });

// P11
TEST_F(CloseContract, GoesOnAfterTheLargestMessageThatIsAllowed) {
    connectToServer();
    const std::string message = R"({"action":"dance"})";
    server.sendBytes(bytes({0x81, 0x7F, 0, 0, 0, 0, 0, 0x10, 0, 0}, message) +
                     std::string(1024 * 1024 - message.size(), ' '));
    EXPECT_TRUE(log->waitFor("message with unknown action ignored"));
    EXPECT_EQ(states.size(), 0U);
}

// P11, P12
TEST_F(CloseContract, ConnectsAnewAfterANotificationWithoutSubscriptionId) {
    connectToServer();
    server.sendText(R"({"action":"subscription","seq":0,"data":{}})");
    EXPECT_EQ(states.next(), "disconnected");
    server.accept();
    EXPECT_EQ(states.next(), "connected");
    EXPECT_TRUE(log->contains("disconnected: ")) << "the reason of the loss";
    EXPECT_TRUE(log->contains("a notification has no \"subscriptionId\""));
}

// P11, P30
TEST_F(CloseContract, SaysThatASubscriptionIdWasGivenTwice) {
    connectToServer();
    const auto first = subscribe(service(), "1");
    acceptSubscription("12");
    const auto second = subscribe(service(), "2");
    acceptSubscription("12");
    EXPECT_EQ(server.receiveClose(), 1007);
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_TRUE(log->contains("the server gave the subscription id 12 twice"));
    EXPECT_EQ(levels.size(), 0U);
}

// P11
TEST_F(CloseContract, AnswersAndTellsACloseOfTheServerThatKeepsItsConnection) {
    connectToServer();
    server.sendBytes(bytes({0x88, 2, 0x03, 0xE9}));
    EXPECT_EQ(server.receiveClose(), 1001);
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_TRUE(log->contains("closed by the server with code 1001"));
}

// P11, P26
TEST_F(CloseContract, DeliversWhatCameBeforeAnEndWithoutWaitingForTheServerToLeave) {
    const std::string closeFrame = bytes({0x88, 2, 0x03, 0xE9});
    const std::string reservedBit = bytes({0xC1, 2}, "{}");
    connectToServer();
    for (const std::string& end : {closeFrame, reservedBit}) {
        const auto subscription = subscribe(service(), "1");
        acceptSubscription("12");
        server.sendBytes(
            contract::BareServer::textFrame(
                R"({"action":"subscription","subscriptionId":"12","seq":0,"data":{"level":10}})") +
            end);
        EXPECT_EQ(levels.next(), 10);
        const auto delivered = std::chrono::steady_clock::now();
        EXPECT_EQ(states.next(), "disconnected");
        // The server keeps its connection open, which the platform tolerates for a second.
        EXPECT_GT(std::chrono::steady_clock::now() - delivered, std::chrono::milliseconds(500));
        server.accept();
        ASSERT_EQ(states.next(), "connected");
    }
}

// P11
TEST_F(CloseContract, SaysThatTheServerChoseAnotherSubProtocol) {
    createRegistry();
    listen();
    server.accept("zeb.v2");
    EXPECT_EQ(server.receiveClose(), 1002);
    EXPECT_TRUE(log->waitFor("the server does not speak the sub-protocol zeb.v1"));
    EXPECT_EQ(states.size(), 0U);
}

/// 64 MiB have to be sent, which takes an emulator many times as long.
constexpr std::chrono::seconds kLongForLargeMessages{60};

// P11, P43
TEST_F(CloseContract, LeavesAServerThatReadsNothing) {
    connectToServer();
    const std::string id(std::size_t{2} * 1024 * 1024, 'x');
    std::vector<std::shared_ptr<zeb::Subscription>> subscriptions;
    for (int request = 0; request < 40; ++request) {
        try {
            subscriptions.push_back(subscribe(service(), id));
        } catch (const zeb::ZebException&) {
            break;  // the connection has ended already
        }
    }
    EXPECT_EQ(states.next(kLongForLargeMessages), "disconnected");
    EXPECT_TRUE(log->contains(" bytes unread"));
}

// P33
TEST_F(CloseContract, SaysThatItGoesAwayWhenItIsStopped) {
    connectToServer();
    stop();
    EXPECT_EQ(server.receiveClose(), 1001);
}

}  // namespace
