// The control interface: the panel, the state of the bus, the live events, steps over HTTP.
#include <string>

#include "SimulatorTest.h"

namespace {

constexpr const char* kClamp = "/ClampControl/clamps/1";

class SimulatorControl : public SimulatorTest {
 protected:
    RawHttp::Answer post(const std::string& step, const std::string& body) {
        return RawHttp(sut.port()).post("/_sim/" + step, body);
    }
    Poco::JSON::Object::Ptr state() { return RawHttp(sut.port()).get("/_sim/state").json(); }

    /// Opens the live events and reads the head and the first state.
    std::string follow(RawHttp& client) {
        client.write("GET /_sim/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
        return readUntil(client, "\"faults\":[]}\n\n");
    }
    static std::string readUntil(RawHttp& client, const std::string& end) {
        std::string text;
        while (text.find(end) == std::string::npos) {
            text += client.readSome();
        }
        return text;
    }
};

TEST_F(SimulatorControl, ServesThePanel) {
    EXPECT_EQ(RawHttp(sut.port()).get("/").status, 200);
}

TEST_F(SimulatorControl, ServesThePanelBelowTheBasePath) {
    zebbussim::BusSimulator::Options options;
    options.basePath = "/bus";
    zebbussim::BusSimulator other(options);
    other.start();
    EXPECT_EQ(RawHttp(other.port()).get("/bus/").status, 200);
    EXPECT_EQ(RawHttp(other.port()).get("/").status, 200);
}

TEST_F(SimulatorControl, AllowsThePanelNoFilesFromElsewhere) {
    RawHttp client(sut.port());
    client.write("GET / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_NE(client.readToEnd().find("Content-Security-Policy: default-src 'self'"), std::string::npos);
}

TEST_F(SimulatorControl, RefusesForeignPages) {
    RawHttp client(sut.port());
    EXPECT_EQ(client
                  .sendBytes("POST /_sim/drop HTTP/1.1\r\nHost: localhost\r\nOrigin: http://example.org\r\n"
                             "Content-Length: 2\r\n\r\n{}")
                  .status,
              403);
}

TEST_F(SimulatorControl, RefusesForeignHosts) {
    RawHttp client(sut.port());
    EXPECT_EQ(client.sendBytes("GET /_sim/state HTTP/1.1\r\nHost: example.org\r\n\r\n").status, 403);
}

TEST_F(SimulatorControl, DoesASteps) {
    EXPECT_EQ(post("set", R"({"path":"/ClampControl/clamps/1","data":{"level":8}})").status, 200);
    EXPECT_NE(sut.element(kClamp).find("\"level\":8"), std::string::npos);
}

TEST_F(SimulatorControl, DoesAStepWithoutMembers) {
    EXPECT_EQ(post("twice", "").status, 200);
}

TEST_F(SimulatorControl, NamesTheStepThatWasProbablyMeant) {
    const auto answer = post("dropp", "{}");
    EXPECT_EQ(answer.status, 400);
    EXPECT_NE(answer.body.find("did you mean \\\"drop\\\"?"), std::string::npos) << answer.body;
}

TEST_F(SimulatorControl, IsReachableWhateverIsWrongWithTheBus) {
    for (const char* const fault : {"ignore", "stall", "cut"}) {
        EXPECT_EQ(post(fault, "{}").status, 200);
    }
    EXPECT_EQ(post("clear", "{}").status, 200);
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 200);
}

TEST_F(SimulatorControl, KeepsItsConnectionWhenTheBusRefusesConnections) {
    RawHttp client(sut.port());
    EXPECT_EQ(client.post("/_sim/refuseConnections", "{}").status, 200);
    EXPECT_EQ(client.post("/_sim/clear", "{}").status, 200);
    EXPECT_EQ(RawHttp(sut.port()).get(kClamp).status, 200);
}

TEST_F(SimulatorControl, DoesNotCountAsARequestOfTheBus) {
    state();
    EXPECT_EQ(sut.requestCount("/_sim/state"), 0U);
}

TEST_F(SimulatorControl, ListsServicesWithTheirElements) {
    const auto services = state()->getArray("services");
    ASSERT_EQ(services->size(), 2U);
    const auto service = services->getObject(0);
    EXPECT_EQ(service->getValue<std::string>("name"), "ClampControl");
    EXPECT_EQ(service->getArray("resources")->getObject(0)->getArray("elements")->size(), 3U);
}

TEST_F(SimulatorControl, ListsAServiceThatIsAway) {
    sut.removeService("ClampControl");
    EXPECT_FALSE(state()->getArray("services")->getObject(0)->getValue<bool>("present"));
}

TEST_F(SimulatorControl, ListsClientsWithTheirSubscriptions) {
    RawWebSocket client(sut.port(), "/ClampControl");
    client.subscribe(kClamp);
    const auto clients = state()->getArray("clients");
    ASSERT_EQ(clients->size(), 1U);
    EXPECT_EQ(clients->getObject(0)->getArray("subscriptions")->getObject(0)->getValue<std::string>("path"),
              kClamp);
}

TEST_F(SimulatorControl, ListsTheFaultsThatLast) {
    post("delay", R"({"path":"/ClampControl","ms":5})");
    const auto fault = state()->getArray("faults")->getObject(0);
    EXPECT_EQ(fault->getValue<std::string>("kind"), "delay");
    EXPECT_EQ(fault->getValue<std::string>("text"), "answers /ClampControl after 5 ms");
    post("clear", "{}");
    EXPECT_EQ(state()->getArray("faults")->size(), 0U);
}

TEST_F(SimulatorControl, BeginsLiveEventsWithTheState) {
    RawHttp client(sut.port());
    const std::string text = follow(client);
    EXPECT_NE(text.find("Content-Type: text/event-stream"), std::string::npos);
    EXPECT_NE(text.find("event: state\ndata: {"), std::string::npos);
}

TEST_F(SimulatorControl, TellsChangesLive) {
    RawHttp client(sut.port());
    follow(client);
    sut.set(kClamp, R"({"level":4})");
    const std::string text = readUntil(client, "\n\n");
    EXPECT_EQ(text.substr(0, 15), "event: element\n");
    EXPECT_NE(text.find("\"level\":4"), std::string::npos);
}

TEST_F(SimulatorControl, TellsLiveThatClientsComeSubscribeAndLeave) {
    RawHttp follower(sut.port());
    follow(follower);
    {
        RawWebSocket client(sut.port(), "/ClampControl");
        client.subscribe(kClamp);
    }
    const std::string text = readUntil(follower, "event: disconnected");
    EXPECT_NE(text.find("event: connected"), std::string::npos);
    EXPECT_NE(text.find("event: subscribed"), std::string::npos);
}

TEST_F(SimulatorControl, LetsTheBusStopWhileItIsFollowedLive) {
    RawHttp client(sut.port());
    follow(client);
    sut.stop();
    EXPECT_NO_THROW(client.readToEnd());
}

}  // namespace
