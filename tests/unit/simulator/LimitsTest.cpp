// What a client can make the simulator do is bounded.
#include <BusProgram.h>
#include <Emulator.h>
#include <ProcessorTime.h>
#include <TemporaryDirectory.h>
#include <TestBuild.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "SimulatorTest.h"
#include "scenario/Scenario.h"
#include "server/Room.h"

namespace {

using SimulatorLimits = SimulatorTest;
using std::chrono::steady_clock;

constexpr const char* kClamp = "/ClampControl/clamps/1";
constexpr std::size_t kMebibyte = 1024 * 1024;
/// Far more than a request may take, and far less than those took that were not linear.
constexpr std::chrono::seconds kTooLong{5};

/// An object with this many references to the clamps.
std::string references(int count) {
    std::string text = R"({"others":[)";
    for (int index = 0; index < count; ++index) {
        text += index > 0 ? "," : "";
        text += R"({"uri":"/ClampControl/clamps/)" + std::to_string(index % 3 + 1) + "\"}";
    }
    return text + "]}";
}

/// A query of this many terms or keys.
std::string repeated(const std::string& text, int count) {
    std::string result;
    for (int index = 0; index < count; ++index) {
        result += (index > 0 ? text.substr(0, 1) : "") + text.substr(1) + std::to_string(index);
    }
    return result;
}

/// What the function throws as `std::exception`.
template <typename Function>
std::string errorOf(Function function) {
    try {
        function();
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return "nothing";
}

TEST_F(SimulatorLimits, MergeNinetyThousandKeysInLinearTime) {
    const auto merge = [this](int keys) {
        std::string body = "{";
        for (int key = 0; key < keys; ++key) {
            body += (key > 0 ? ",\"" : "\"") + std::to_string(key) + "\":1";
        }
        EXPECT_EQ(RawHttp(sut.port()).post(kClamp, body + "}").status, 200);
    };
    EXPECT_TRUE(test_support::isLinear(merge, 90'000 / 4));
}

TEST_F(SimulatorLimits, LoadTwentyThousandElementsInLinearTime) {
    const auto load = [this](int count) {
        std::string elements = "[";
        for (int id = 0; id < count; ++id) {
            elements += (id > 0 ? ",{\"id\":\"" : "{\"id\":\"") + std::to_string(id) + "\"}";
        }
        sut.addService("Large", "{\"list\":" + elements + "]}");
    };
    EXPECT_TRUE(test_support::isLinear(load, 20'000 / 4));
}

TEST_F(SimulatorLimits, EndExpandingAfterOneMebibyte) {
    for (const char* clamp : {"1", "2", "3"}) {
        sut.set(std::string("/ClampControl/clamps/") + clamp, references(9000));
    }
    const auto begin = steady_clock::now();
    const RawHttp::Answer answer = RawHttp(sut.port()).get("/ClampControl/clamps/1?$expand=8");
    EXPECT_LT(steady_clock::now() - begin, kTooLong);
    EXPECT_EQ(answer.status, 200);
    EXPECT_GT(answer.body.size(), kMebibyte / 2);
    EXPECT_LT(answer.body.size(), 2 * kMebibyte);
}

TEST_F(SimulatorLimits, ShareWhatIsExpandedAmongTheElementsOfAnAnswer) {
    for (const char* clamp : {"1", "2", "3"}) {
        sut.set(std::string("/ClampControl/clamps/") + clamp, references(9000));
    }
    EXPECT_LT(RawHttp(sut.port()).get("/ClampControl/clamps?$expand=8").body.size(), 3 * kMebibyte);
}

TEST_F(SimulatorLimits, LetNoElementGrowBeyondOneMebibyte) {
    RawHttp http(sut.port());
    EXPECT_EQ(http.post(kClamp, R"({"a":")" + std::string(600'000, 'x') + "\"}").status, 200);
    const RawHttp::Answer refused = http.post(kClamp, R"({"b":")" + std::string(600'000, 'x') + "\"}");
    EXPECT_EQ(refused.status, 413);
    EXPECT_EQ(refused.reason(), "payload_too_large");
    EXPECT_EQ(sut.element(kClamp).find("\"b\":"), std::string::npos);
    EXPECT_EQ(http.post(kClamp, R"({"a":""})").status, 200);
}

TEST_F(SimulatorLimits, RefuseAnAnswerOfMoreThanSixteenMebibytes) {
    const std::string large = R"({"name":")" + std::string(1000 * 1000, 'x') + "\"}";
    for (int id = 10; id < 27; ++id) {
        sut.addElement("/ClampControl/clamps/" + std::to_string(id), large);
    }
    RawHttp http(sut.port());
    EXPECT_EQ(http.get("/ClampControl/clamps").reason(), "payload_too_large");
    EXPECT_EQ(http.get("/ClampControl/clamps?$limit=10").status, 200);
}

TEST_F(SimulatorLimits, RefuseAQueryOfMoreThan256Terms) {
    RawHttp http(sut.port());
    EXPECT_EQ(http.get("/ClampControl/clamps?" + repeated("&x=", 256)).status, 200);
    EXPECT_EQ(http.get("/ClampControl/clamps?" + repeated("&x=", 257)).reason(), "filter_invalid");
}

TEST_F(SimulatorLimits, RefuseToSortByMoreThanSixteenKeys) {
    RawHttp http(sut.port());
    EXPECT_EQ(http.get("/ClampControl/clamps?$sortby=" + repeated(",-x", 16)).status, 200);
    EXPECT_EQ(http.get("/ClampControl/clamps?$sortby=" + repeated(",-x", 17)).reason(), "filter_invalid");
}

/// Adds elements to a collection of their own, each with this JSON value as "a".
void addElements(zebbussim::BusSimulator& bus, int count, const std::string& value) {
    for (int id = 0; id < count; ++id) {
        bus.addElement("/ClampControl/large/" + std::to_string(id), "{\"a\":" + value + "}");
    }
}

TEST_F(SimulatorLimits, RefuseToCompareMoreThan32MebibytesForASort) {
    addElements(sut, 40, "\"" + std::string(kMebibyte, 'x') + "\"");
    RawHttp http(sut.port());
    EXPECT_EQ(http.get("/ClampControl/large?$sortby=+a&$limit=1").reason(), "payload_too_large");
    EXPECT_EQ(http.get("/ClampControl/large?$sortby=-id&$limit=1").ids(), "9");
}

TEST_F(SimulatorLimits, RefuseToReadMoreThan32MebibytesOfObjectsForAFilter) {
    addElements(sut, 40, "{\"b\":\"" + std::string(kMebibyte, 'x') + "\"}");
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/large?a=x").reason(), "payload_too_large");
}

TEST_F(SimulatorLimits, ReadAListForAFilterOnlyAsFarAsItMatches) {
    std::string list = "[1";
    while (list.size() < kMebibyte) {
        list += ",{\"uri\":\"\\\"\"}";
    }
    addElements(sut, 40, list + "]");
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/large?a=%5B2%5D").ids(), "");
}

TEST_F(SimulatorLimits, RefuseToLookUpMoreThanAMillionMembers) {
    std::string elements;
    for (int id = 0; id < 66'000; ++id) {
        elements += (id > 0 ? ",{\"id\":\"" : "{\"id\":\"") + std::to_string(id) + "\"}";
    }
    sut.addService("Large", "{\"list\":[" + elements + "]}");
    RawHttp http(sut.port());
    EXPECT_EQ(http.get("/Large/list?$limit=1&$sortby=" + repeated(",-x", 16)).reason(), "payload_too_large");
    EXPECT_EQ(http.get("/Large/list?$limit=1&$sortby=" + repeated(",-x", 15)).status, 200);
}

TEST_F(SimulatorLimits, TakeTheSameFilterTwice) {
    RawHttp http(sut.port());
    EXPECT_EQ(http.get("/ClampControl/clamps?type=ClampS&type=ClampS").ids(), "2");
    EXPECT_EQ(http.get("/ClampControl/clamps?type=ClampS&type=Clamp15").ids(), "");
}

TEST_F(SimulatorLimits, EndASubscriptionToACollectionThatIsTooLarge) {
    const std::string large = R"({"name":")" + std::string(600 * 1000, 'x') + "\"}";
    sut.set("/ClampControl/clamps/1", large);
    sut.set("/ClampControl/clamps/2", large);
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe("/ClampControl/clamps");
    EXPECT_EQ(client.receive()->getObject("error")->getValue<std::string>("reason"), "payload_too_large");
}

TEST_F(SimulatorLimits, RepeatNoRequestIdThatIsTooLong) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.send(R"({"action":"subscribe","path":"/ClampControl/clamps/1","requestId":")" +
                std::string(kMebibyte - 100, 'x') + "\"}");
    const std::string answer = client.receiveText();
    EXPECT_NE(answer.find("bad_request"), std::string::npos);
    EXPECT_LT(answer.size(), 1000U);
}

TEST_F(SimulatorLimits, KeepNoMoreThanTheirShareForClientsThatDoNotRead) {
    std::vector<std::unique_ptr<RawWebSocket>> clients;
    for (int client = 0; client < 8; ++client) {
        clients.push_back(std::make_unique<RawWebSocket>(sut.port(), "/ClampControl"));
        clients.back()->subscribe(kClamp);
    }
    const std::string large = R"({"name":")" + std::string(1000 * 1000, 'x') + "\"}";
    for (int change = 0; change < 50; ++change) {  // none of them has 64 MiB waiting then
        sut.set(kClamp, large);
    }
    sut.element(kClamp);  // waits until those that have too much are closed
    EXPECT_LT(sut.subscriberCount(kClamp), 8U);
}

/// The beginning of a text frame that announces 1 MiB, masked with zeros.
std::string beginningOfAMessage() {
    using namespace std::string_literals;
    return "\x81\xff\x00\x00\x00\x00\x00\x10\x00\x00\x00\x00\x00\x00{"s + std::string(1000 * 1000, ' ');
}

TEST_F(SimulatorLimits, EndTheWebSocketWhoseMessageIsUnfinishedForLongest) {
    std::vector<std::unique_ptr<RawWebSocket>> clients;
    for (int client = 0; client < 70; ++client) {
        clients.push_back(std::make_unique<RawWebSocket>(sut.port(), "/ClampControl"));
        clients.back()->sendBytes(beginningOfAMessage());
    }
    EXPECT_EQ(clients.front()->receiveClose(), 0U);
    clients.back()->sendBytes(std::string(kMebibyte - 1000 * 1000 - 2, ' ') + "}");
    EXPECT_NE(clients.back()->receiveText().find("bad_request"), std::string::npos);
}

TEST_F(SimulatorLimits, EndTheConnectionWhoseRequestIsUnfinishedForLongest) {
    const std::string body = "{" + std::string(1000 * 1000, ' ');
    std::vector<std::unique_ptr<RawHttp>> clients;
    for (int client = 0; client < 70; ++client) {
        clients.push_back(std::make_unique<RawHttp>(sut.port()));
        clients.back()->write("POST /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
                              std::to_string(body.size() + 1) + "\r\n\r\n" + body);
    }
    EXPECT_EQ(clients.front()->readToEnd(), "");
    EXPECT_EQ(clients.back()->sendBytes("}").status, 200);
}

/// Waits for its clients only for a moment.
class SimulatorWithoutPatience : public testing::Test {
 protected:
    SimulatorWithoutPatience() : sut(impatient()) {
        sut.loadText(R"({"services":{"ClampControl":{"clamps":[{"id":"1"}]}}})");
        sut.start();
    }

    zebbussim::BusSimulator sut;

 private:
    static zebbussim::BusSimulator::Options impatient() {
        zebbussim::BusSimulator::Options options;
        options.patience = std::chrono::milliseconds(50);
        return options;
    }
};

TEST_F(SimulatorWithoutPatience, EndsAWebSocketWhoseMessageStaysUnfinished) {
    RawHttp client(sut.port());
    client.sendBytes(
        "GET /ClampControl HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
        "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
        "Sec-WebSocket-Protocol: zeb.v1\r\n\r\n");
    client.write(beginningOfAMessage());
    EXPECT_EQ(client.readToEnd(), "\x88\x02\x03\xf0");  // closes with 1008
}

TEST_F(SimulatorWithoutPatience, EndsAConnectionWhoseRequestStaysUnfinished) {
    RawHttp client(sut.port());
    client.write("POST /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9\r\n\r\n{");
    EXPECT_EQ(client.readToEnd(), "");
}

/// The resident memory of this process in bytes.
std::size_t residentMemory() {
    std::ifstream file("/proc/self/statm");
    std::size_t virtualPages = 0;
    std::size_t residentPages = 0;
    file >> virtualPages >> residentPages;
    return residentPages * 4096;
}

TEST_F(SimulatorLimits, KeepNoMoreMemoryForAClientThatDoesNotReadThanItsShare) {
    if (!test_support::kIsNative) {
        GTEST_SKIP() << "the sanitizer keeps freed memory";
    }
    RawWebSocket client(sut.port(), "/ClampControl");
    const std::string request = R"({"action":"x","requestId":")" + std::string(65'400, 'x') + "\"}";
    const std::size_t before = residentMemory();
    std::size_t most = before;
    // Ends when the WebSocket is closed.
    EXPECT_ANY_THROW(for (;;) {
        client.send(request);
        most = std::max(most, residentMemory());
    });
    EXPECT_LT(most - before, 100 * kMebibyte);
}

TEST_F(SimulatorLimits, ServeOthersBetweenTwoLargeRequests) {
    constexpr int keys = test_support::kIsNative ? 90'000 : 8'000;
    std::string body = "{";
    for (int key = 0; key < keys; ++key) {
        body += (key > 0 ? ",\"" : "\"") + std::to_string(key) + "\":1";
    }
    std::vector<std::unique_ptr<RawHttp>> large;
    for (int client = 0; client < 8; ++client) {
        large.push_back(std::make_unique<RawHttp>(sut.port()));
        large.back()->write("POST /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
                            std::to_string(body.size() + 1) + "\r\n\r\n" + body);
    }
    RawHttp small(sut.port());
    small.get("/ClampControl/clamps/2");
    for (const auto& client : large) {
        client->write("}");
    }
    small.get("/ClampControl/clamps/2");
    EXPECT_FALSE(large.back()->answersWithin(std::chrono::milliseconds(0)));
    EXPECT_TRUE(large.back()->answersWithin(kLong));
}

TEST_F(SimulatorLimits, CountOnlyTheFirstPathsThatAreAskedFor) {
    RawHttp http(sut.port());
    for (int request = 0; request < 300; ++request) {
        http.get("/" + std::to_string(request) + std::string(7000, 'x'));
    }
    const std::string longPath = std::string(7000, 'x');
    EXPECT_EQ(sut.requestCount("/0" + longPath), 1U);
    EXPECT_EQ(sut.requestCount("/299" + longPath), 0U);
    EXPECT_GT(sut.requestCount(""), 0U);
}

std::vector<std::string> programAfter(const std::string& shellCommand) {
    std::vector<std::string> command{"/bin/sh", "-c", shellCommand + "; exec \"$0\" \"$@\""};
    for (const std::string& word : test_support::commandOf(ZEB_BUS_SIM, {VEHICLE_BUS_FILE})) {
        command.push_back(word);
    }
    return command;
}

std::uint16_t portOf(const test_support::BusProgram& bus) {
    return static_cast<std::uint16_t>(std::stoul(bus.baseUri().substr(bus.baseUri().find_last_of(':') + 1)));
}

class SimulatorWithFewDescriptors : public testing::Test {
 protected:
    void SetUp() override {
        if (test_support::kSanitizerNeedsDescriptors) {
            GTEST_SKIP() << "the sanitizer needs descriptors";
        }
        bus_.emplace(programAfter("ulimit -n 40"));
        port = portOf(*bus_);
    }

    std::uint16_t port = 0;

 private:
    std::optional<test_support::BusProgram> bus_;
};

TEST_F(SimulatorWithFewDescriptors, ServesAClientAlthoughOthersHoldThemAll) {
    std::vector<std::unique_ptr<RawHttp>> idle;
    for (int client = 0; client < 60; ++client) {
        idle.push_back(std::make_unique<RawHttp>(port));
    }
    EXPECT_EQ(RawHttp(port).get(kClamp).status, 200);
}

TEST_F(SimulatorWithFewDescriptors, ServesAClientAlthoughOthersDoNotReadTheirAnswers) {
    RawHttp(port).post(kClamp, R"({"text":")" + std::string(1000 * 1000, 'x') + "\"}");
    std::vector<std::unique_ptr<RawHttp>> unread;
    for (int client = 0; client < 30; ++client) {
        unread.push_back(std::make_unique<RawHttp>(port));
        for (int request = 0; request < 16; ++request) {
            unread.back()->write("GET /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\n\r\n");
        }
    }
    EXPECT_EQ(RawHttp(port).get("/ClampControl/clamps/2").status, 200);
}

/// Opens WebSockets until one is refused, at most 60.
template <typename Use>
std::vector<std::unique_ptr<RawWebSocket>> asManyWebSocketsAsThereIsRoomFor(std::uint16_t port,
                                                                            const std::string& target,
                                                                            Use use) {
    std::vector<std::unique_ptr<RawWebSocket>> open;
    try {
        while (open.size() < 60) {
            open.push_back(std::make_unique<RawWebSocket>(port, target));
            use(*open.back());
        }
    } catch (const std::exception&) {
    }
    return open;
}

TEST_F(SimulatorWithFewDescriptors, ServesAClientAlthoughIdleWebSocketsTakeAllTheyGet) {
    const auto nothing = [](RawWebSocket&) {};
    const auto idle = asManyWebSocketsAsThereIsRoomFor(port, "/ClampControl", nothing);
    EXPECT_EQ(RawHttp(port).get(kClamp).status, 200);
}

TEST_F(SimulatorWithFewDescriptors, LeavesRoomForHttpBesideWebSocketsThatAreInUse) {
    const auto open = asManyWebSocketsAsThereIsRoomFor(
        port, "/ClampControl", [](RawWebSocket& client) { client.subscribe(kClamp); });
    const auto others = asManyWebSocketsAsThereIsRoomFor(port, "/serviceregistry", [](RawWebSocket& client) {
        client.subscribe("/serviceregistry/services");
    });
    EXPECT_EQ(RawHttp(port).get(kClamp).status, 200);
}

TEST_F(SimulatorWithFewDescriptors, LeavesRoomForTheRegistryBesideTheWebSocketsOfAService) {
    const auto open = asManyWebSocketsAsThereIsRoomFor(
        port, "/ClampControl", [](RawWebSocket& client) { client.subscribe(kClamp); });
    EXPECT_NO_THROW(RawWebSocket(port, "/serviceregistry").subscribe("/serviceregistry/services"));
}

/// With this many, some of their requests do not fit into the memory.
template <typename Client>
void exhaustMemory(std::uint16_t port, const std::function<void(Client&)>& fill,
                   const std::function<std::unique_ptr<Client>(std::uint16_t)>& connect) {
    std::vector<std::unique_ptr<Client>> clients;
    try {
        for (int client = 0; client < 60; ++client) {
            clients.push_back(connect(port));
            fill(*clients.back());
        }
    } catch (const std::exception&) {  // the connection is closed for lack of memory
    }
}

class SimulatorWithLittleMemory : public testing::Test {
 protected:
    void SetUp() override {
        if (!test_support::kIsNative) {
            GTEST_SKIP() << "the sanitizer or the emulator needs more memory";
        }
        bus_.emplace(programAfter("ulimit -v 60000"));
        port = portOf(*bus_);
    }

    std::uint16_t port = 0;

 private:
    std::optional<test_support::BusProgram> bus_;
};

TEST_F(SimulatorWithLittleMemory, ServesClientsAfterRequestsForWhichItHadNone) {
    exhaustMemory<RawHttp>(
        port,
        [](RawHttp& client) {
            client.write(
                "POST /ClampControl/clamps/1 HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1048576\r\n\r\n" +
                std::string(1000 * 1000, ' '));
        },
        [](std::uint16_t to) { return std::make_unique<RawHttp>(to); });
    EXPECT_EQ(RawHttp(port).get(kClamp).status, 200);
}

TEST_F(SimulatorWithLittleMemory, ServesClientsAfterMessagesForWhichItHadNone) {
    exhaustMemory<RawWebSocket>(
        port, [](RawWebSocket& client) { client.sendBytes(beginningOfAMessage()); },
        [](std::uint16_t to) { return std::make_unique<RawWebSocket>(to, "/ClampControl"); });
    EXPECT_EQ(RawHttp(port).get(kClamp).status, 200);
}

TEST(SimulatorRoom, IsThatOfTheDescriptors) {
    const zebbussim::Room room = zebbussim::roomForConnections(60, 16);
    EXPECT_EQ(room.connections, 40U);
    EXPECT_EQ(room.webSockets, 30U);
    EXPECT_EQ(room.webSocketsOfAService, 20U);
}

TEST(SimulatorRoom, IsLimitedHoweverManyDescriptorsThereAre) {
    const zebbussim::Room room = zebbussim::roomForConnections(1'000'000, 16);
    EXPECT_EQ(room.connections, 2048U);
    EXPECT_EQ(room.webSockets, 1536U);
    EXPECT_EQ(room.webSocketsOfAService, 1024U);
}

TEST_F(SimulatorLimits, QuoteOnlyTheBeginningOfALongText) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.send(R"({"action":"subscribe","requestId":"1","path":")" + std::string(kMebibyte - 100, 'x') +
                "\"}");
    EXPECT_LT(client.receiveText().size(), 1000U);
}

TEST_F(SimulatorLimits, NameThePlaceInABodyThatIsNoJson) {
    EXPECT_NE(RawHttp(sut.port()).post(kClamp, R"({"a":1,})").body.find("byte 7"), std::string::npos);
}

TEST(SimulatorFiles, NameTheLineAndTheColumnOfAMistakeInABusFile) {
    const test_support::TemporaryDirectory directory;
    const std::string file = (directory.path() / "bus.json").string();
    std::ofstream(file) << "{\"services\":\n  {\"A\":\n    nothing}}";
    zebbussim::BusSimulator sut;
    const std::string error = errorOf([&] { sut.loadFile(file); });
    EXPECT_EQ(error, file + ":3:5: This is not a JSON object: expected a value.");
}

TEST(SimulatorFiles, NameTheLineAndTheColumnOfAMistakeInAScenario) {
    const std::string error = errorOf([] { zebbussim::Scenario::fromText("[\n{\"print\" 1}]", "the test"); });
    EXPECT_EQ(error.rfind("the test:2:10: ", 0), 0U) << error;
}

TEST(SimulatorFiles, NameTheFirstLineOfAScenarioAsItIs) {
    const std::string error = errorOf([] { zebbussim::Scenario::fromText("[1 2]", "the test"); });
    EXPECT_EQ(error.rfind("the test:1:4: ", 0), 0U) << error;
}

TEST(SimulatorFiles, RefuseAScenarioWithSomethingBehindTheList) {
    EXPECT_EQ(errorOf([] { zebbussim::Scenario::fromText("[],\"more\":1", "the test"); }),
              "the test:1:1: a scenario must be one JSON list of steps");
}

TEST(SimulatorFiles, EscapeTheNameOfAResourceThatIsNoList) {
    zebbussim::BusSimulator sut;
    const std::string error = errorOf([&] { sut.loadText(R"({"services":{"A":{"\u001b[31m":1}}})"); });
    EXPECT_EQ(error.find('\x1b'), std::string::npos) << error;
    EXPECT_NE(error.find("must be a list"), std::string::npos) << error;
}

}  // namespace
