#include <PlatformFixture.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <set>

// Numbers are those of the promises in docs/platform-contract.md.

namespace {

using namespace std::chrono_literals;
using test_support::kLimit;
using test_support::LightingService;

class ServiceRegistryContract : public test_support::PlatformFixture {};

class HeatingService : public zeb::Service {
 public:
    using zeb::Service::Service;
    static std::string getServiceName() { return "Heating"; }
};

// P9, P11
TEST_F(ServiceRegistryContract, TellsAListenerThatItsServiceIsConnected) {
    createRegistry();
    listen();
    EXPECT_EQ(states.next(), "connected");
}

// P10
TEST_F(ServiceRegistryContract, TellsAListenerThatComesLateToo) {
    connect();
    listen();
    EXPECT_EQ(states.next(), "connected");
}

// P6
TEST_F(ServiceRegistryContract, TellsItsListenersOnTheZebExecutor) {
    createRegistry();
    test_support::Received<std::thread::id> executorThread;
    test_support::Received<std::thread::id> handlerThread;
    zebExecutor->add([&] { executorThread.push(std::this_thread::get_id()); }, "thread");
    zeb::ServiceListener<LightingService> listener;
    listener.connected = [&](const std::shared_ptr<LightingService>&) {
        handlerThread.push(std::this_thread::get_id());
    };
    registry->registerServiceListener(listener);
    EXPECT_EQ(handlerThread.next(), executorThread.next());
}

// P9, P12
TEST_F(ServiceRegistryContract, WaitsForAServiceThatIsNotThereYet) {
    bus.setServiceAvailable("Lighting", false);
    createRegistry();
    listen();
    EXPECT_TRUE(log->waitFor("not reachable")) << "it never tried";
    EXPECT_EQ(states.size(), 0U);
    bus.setServiceAvailable("Lighting", true);
    EXPECT_EQ(states.next(), "connected");
}

// P9, P12
TEST_F(ServiceRegistryContract, WaitsForAServerThatIsNotThereYet) {
    zebbussim::BusSimulator::Options samePort;
    samePort.port = bus.port();
    bus.stop();
    createRegistry();
    listen();
    EXPECT_TRUE(log->waitFor("not reachable")) << "it never tried";
    zebbussim::BusSimulator restarted(samePort);
    restarted.addService("Lighting", R"({"lamps":[]})");
    restarted.start();
    EXPECT_EQ(states.next(), "connected");
    stop();
}

// P11
TEST_F(ServiceRegistryContract, TellsWhenTheServiceClosesTheConnection) {
    connect();
    bus.closeConnections("Lighting", 1001);
    EXPECT_EQ(states.next(), "disconnected");
}

// P11
TEST_F(ServiceRegistryContract, TellsWhenTheConnectionIsReset) {
    connect();
    bus.dropConnections("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
}

// P12
TEST_F(ServiceRegistryContract, ConnectsAgainWithANewServiceObject) {
    const auto first = connect();
    bus.dropConnections("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(states.next(), "connected");
    EXPECT_NE(service(), first);
}

// P10
TEST_F(ServiceRegistryContract, AlternatesConnectedAndDisconnectedWhateverHappens) {
    connect();
    for (int round = 0; round < 5; ++round) {
        bus.waitForWebSockets("Lighting", 1, kLimit);
        bus.dropConnections("Lighting");
        ASSERT_EQ(states.next(), "disconnected") << "round " << round;
        ASSERT_EQ(states.next(), "connected") << "round " << round;
    }
    stop();
    EXPECT_EQ(states.size(), 0U);
}

// P13
TEST_F(ServiceRegistryContract, TellsNobodyAboutAServiceThatHeDidNotAskFor) {
    configuration->isKnown = false;
    createRegistry(Mode::DynamicOnly);
    listen();
    EXPECT_EQ(states.next(), "connected");
    bus.setServiceAvailable("Heating", false);
    bus.setServiceAvailable("Heating", true);
    stop();
    EXPECT_EQ(states.size(), 0U);
}

// P11
TEST_F(ServiceRegistryContract, OpensOneConnectionForAllListenersOfAService) {
    connect();
    listen();
    EXPECT_EQ(states.next(), "connected");
    EXPECT_TRUE(bus.waitForWebSockets("Lighting", 1, kLimit));
    EXPECT_EQ(bus.handshakeCount("Lighting"), 1U);
}

// P18
TEST_F(ServiceRegistryContract, ReportsAConfigurationThatThrowsInEveryMode) {
    configuration->isUnreadable = true;
    createRegistry(Mode::StaticBeforeDynamic);
    listen();
    EXPECT_EQ(states.next(), "error");
}

// P14
TEST_F(ServiceRegistryContract, TellsTheErrorWhenTheConfigurationDoesNotKnowTheService) {
    configuration->isKnown = false;
    createRegistry(Mode::StaticOnly);
    listen();
    EXPECT_EQ(states.next(), "error");
    EXPECT_TRUE(log->contains("the configuration says nothing about service \"Lighting\""));
}

// P14
TEST_F(ServiceRegistryContract, TellsTheErrorWhenTheBaseUriCannotBeUsed) {
    configuration->known.serverBaseUri = "/";
    createRegistry(Mode::StaticOnly);
    listen();
    EXPECT_EQ(states.next(), "error");
    EXPECT_TRUE(log->contains("ZebException: configuration: \"/\" is not the base URI of a server"));
}

// P17
TEST_F(ServiceRegistryContract, FindsServicesThroughTheRegistryServiceInDynamicMode) {
    configuration->isKnown = false;
    createRegistry(Mode::DynamicOnly);
    listen();
    EXPECT_EQ(states.next(), "connected");
}

// P17
TEST_F(ServiceRegistryContract, DoesNotAskTheConfigurationInDynamicMode) {
    configuration->known.serverBaseUri = "http://127.0.0.1:1";
    createRegistry(Mode::DynamicOnly);
    listen();
    EXPECT_EQ(states.next(), "connected");
}

// P11
TEST_F(ServiceRegistryContract, TellsWhenAServiceLeavesTheRegistryAndComesBack) {
    createRegistry(Mode::DynamicOnly);
    listen();
    EXPECT_EQ(states.next(), "connected");
    bus.removeService("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
    bus.addService("Lighting");
    EXPECT_EQ(states.next(), "connected");
}

// P11
TEST_F(ServiceRegistryContract, KeepsServicesWhileTheRegistryServiceIsAway) {
    createRegistry(Mode::DynamicOnly);
    listen();
    EXPECT_EQ(states.next(), "connected");
    bus.dropConnections("serviceregistry");
    EXPECT_TRUE(log->waitFor("service \"serviceregistry\" disconnected"));
    EXPECT_TRUE(bus.waitForSubscribers("/serviceregistry/services", 1, kLimit));
    drainExecutor();
    EXPECT_EQ(states.size(), 0U);
}

// P12
TEST_F(ServiceRegistryContract, AsksForTheServicesAgainWhenTheRegistryServiceEndsTheirSubscription) {
    createRegistry(Mode::DynamicOnly);
    listen();
    EXPECT_EQ(states.next(), "connected");
    bus.sendText("/serviceregistry/services",
                 R"({"action":"subscription","subscriptionId":"1","error":{"number":413}})");
    EXPECT_TRUE(log->waitFor("the subscription to the services was refused or ended"));
    bus.removeService("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
}

/// A registry service whose notifications the test writes, and a second bus with the same service.
class RegistryEntriesContract : public ServiceRegistryContract {
 protected:
    RegistryEntriesContract() {
        other.loadText(R"({"services":{"Lighting":{"lamps":[{"id":"1","level":77}]}}})");
        other.start();
    }

    void TearDown() override { stop(); }

    void connectInDynamicMode() {
        createRegistry(Mode::DynamicOnly);
        listen();
        ASSERT_EQ(states.next(), "connected");
    }

    static std::string entryAt(const zebbussim::BusSimulator& place) {
        return R"({"id":"Lighting","name":"Lighting","uri":"/serviceregistry/services/Lighting",)"
               R"("serverBaseUri":")" +
               place.baseUri() + R"(","serverBasePath":")" + place.basePath() + "\"}";
    }

    // Sends a notification of the list of services, after `number` - 1 others.
    void tellServices(const std::string& list, int number = 1) {
        bus.sendText("/serviceregistry/services", R"({"action":"subscription","subscriptionId":"1","seq":)" +
                                                      std::to_string(number) + ",\"data\":" + list + "}");
    }

    // How many sockets of this process have one of these ports as their peer.
    static std::size_t socketsTo(const std::set<std::uint16_t>& ports) {
        std::size_t count = 0;
        for (int descriptor = 0; descriptor < 1024; ++descriptor) {
            sockaddr_in peer{};
            socklen_t size = sizeof peer;
            if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0) {
                count += ports.count(ntohs(peer.sin_port));
            }
        }
        return count;
    }

    zebbussim::BusSimulator other;
};

// P11, P12
TEST_F(RegistryEntriesContract, FollowsAServiceThatMoves) {
    connectInDynamicMode();
    tellServices("[" + entryAt(other) + "]");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(states.next(), "connected");
    const auto subscription = subscribe(service());
    EXPECT_EQ(levels.next(), 77);
    EXPECT_TRUE(bus.waitForWebSockets("Lighting", 0, kLimit)) << "still connected at the old place";
}

// P11
TEST_F(RegistryEntriesContract, LooksForElementsWhereAServiceHasMovedTo) {
    connectInDynamicMode();
    tellServices("[" + entryAt(other) + "]");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(states.next(), "connected");
    test_support::Received<std::int64_t> found;
    service()->getAccessor()->findFirst<test_support::Lamp>(
        test_support::LampDescriptor(),
        [&found](const auto& lamp, const auto&) { found.push(lamp ? lamp->level() : -1); },
        [&found](const auto&) { found.push(-2); });
    EXPECT_EQ(found.next(), 77);
}

// P11
TEST_F(RegistryEntriesContract, StaysConnectedWhenTheSameAddressIsToldAgain) {
    connectInDynamicMode();
    tellServices("[" + entryAt(bus) + "]", 1);
    tellServices("[" + entryAt(other) + "]", 2);
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(states.next(), "connected");
    EXPECT_EQ(bus.handshakeCount("Lighting"), 1U);
}

// P11
TEST_F(RegistryEntriesContract, TakesTheFirstOfTwoEntriesOfOneName) {
    connectInDynamicMode();
    tellServices("[" + entryAt(other) + "," + entryAt(bus) + "]");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(states.next(), "connected");
    const auto subscription = subscribe(service());
    EXPECT_EQ(levels.next(), 77);
}

// P11
TEST_F(RegistryEntriesContract, IgnoresAndLogsBrokenEntries) {
    connectInDynamicMode();
    tellServices(R"([5,null,{},{"name":"Lighting"},
        {"name":"Lighting","serverBaseUri":"nowhere","serverBasePath":"/"},
        {"name":null,"serverBaseUri":"http://127.0.0.1:1","serverBasePath":"/"},)" +
                 entryAt(bus) + "]");
    EXPECT_TRUE(log->waitFor(" of the service registry ignored: ", kLimit, 6));
    EXPECT_TRUE(log->contains("entry 5 of the service registry ignored: "));
    drainExecutor();
    EXPECT_EQ(states.size(), 0U);
}

// P14
TEST_F(RegistryEntriesContract, LogsABadEntryOnceHoweverOftenItIsSent) {
    connectInDynamicMode();
    tellServices("[{}," + entryAt(bus) + "]", 1);
    EXPECT_TRUE(log->waitFor("entry 0 of the service registry ignored: "));
    for (int number = 2; number <= 100; ++number) {
        tellServices("[{}," + entryAt(bus) + "]", number);
    }
    tellServices("[7," + entryAt(bus) + "]", 101);
    EXPECT_TRUE(log->waitFor("expected an object, got a number"));
    EXPECT_EQ(log->count("warning "), 2U);
}

// P14
TEST_F(RegistryEntriesContract, SaysLittleOfAListThatIsFullOfFaults) {
    connectInDynamicMode();
    std::string list = "[";
    for (int entry = 0; entry < 1000; ++entry) {
        list += std::to_string(entry) + ",";
    }
    tellServices(list + entryAt(other) + "]");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_FALSE(log->waitFor(" of the service registry ignored: ", 0ms, 9));
}

// P11, P12
TEST_F(RegistryEntriesContract, PausesAtAServiceThatLeavesAndComesBackAgainAndAgain) {
    connectInDynamicMode();
    tellServices("[]", 1);
    EXPECT_EQ(states.next(), "disconnected");
    for (int number = 2; number <= 400; number += 2) {
        tellServices("[" + entryAt(bus) + "]", number);
        tellServices("[]", number + 1);
    }
    tellServices("[" + entryAt(bus) + "]", 402);
    EXPECT_EQ(states.next(), "connected");
    EXPECT_LT(bus.handshakeCount("Lighting"), 10U);
}

// P11, P12
TEST_F(RegistryEntriesContract, PausesAtAServiceThatMovesToAndFroAgainAndAgain) {
    connectInDynamicMode();
    tellServices("[" + entryAt(other) + "]", 1);
    EXPECT_EQ(states.next(), "disconnected");
    for (int number = 2; number <= 400; number += 2) {
        tellServices("[" + entryAt(bus) + "]", number);
        tellServices("[" + entryAt(other) + "]", number + 1);
    }
    EXPECT_EQ(states.next(), "connected");
    EXPECT_LT(bus.handshakeCount("Lighting") + other.handshakeCount("Lighting"), 20U);
}

// P11
TEST_F(RegistryEntriesContract, HasOneSocketPerServiceHoweverOftenItMoves) {
    connectInDynamicMode();
    // Neither server answers when a connection is closed.
    bus.freezeConnections("Lighting");
    std::size_t most = 0;
    for (int number = 1; number <= 400; ++number) {
        tellServices("[" + entryAt(number % 2 == 0 ? bus : other) + "]", number);
        drainExecutor();
        other.freezeConnections("Lighting");
        // While it is counted, one may be closed and the next be opened. So the least of two counts.
        most = std::max(
            most, std::min(socketsTo({bus.port(), other.port()}), socketsTo({bus.port(), other.port()})));
    }
    EXPECT_LE(most, 2U) << "one to the registry, and one to the service";
}

// P3, P11
TEST_F(RegistryEntriesContract, KeepsWhatItKnowsWhenToldSomethingThatIsNoList) {
    connectInDynamicMode();
    tellServices(R"({"Lighting":1})", 1);
    EXPECT_TRUE(log->waitFor("the list of the service registry is ignored: "));
    drainExecutor();
    EXPECT_EQ(states.size(), 0U);
    tellServices("[]", 2);
    EXPECT_EQ(states.next(), "disconnected");
}

// P14
TEST_F(RegistryEntriesContract, SaysWhyTheNewAddressOfAServiceIsRefused) {
    connectInDynamicMode();
    tellServices(R"([{"name":"Lighting","serverBaseUri":"nowhere","serverBasePath":"/"}])");
    EXPECT_EQ(states.next(), "error");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_TRUE(
        log->contains("service \"Lighting\" disconnected: its new address is refused: ZebException: "
                      "service registry \"nowhere\" is not the base URI of a server"));
}

// P11
TEST_F(RegistryEntriesContract, DoesNotCallAServiceUnreachableThatMovesDuringAnAttempt) {
    connectInDynamicMode();
    other.ignoreHttp("/Lighting");
    tellServices("[" + entryAt(other) + "]", 1);
    EXPECT_EQ(states.next(), "disconnected");
    tellServices("[" + entryAt(bus) + "]", 2);
    EXPECT_EQ(states.next(), "connected");
    EXPECT_TRUE(log->contains("service \"Lighting\" no longer tried at " + other.baseUri() +
                              ": it moved to " + bus.baseUri() + bus.basePath()));
    EXPECT_FALSE(log->contains("not reachable"));
}

// P14, P44
TEST_F(RegistryEntriesContract, LogsOnceThatItIsToldSomethingThatIsNoList) {
    connectInDynamicMode();
    tellServices("{}", 1);
    EXPECT_TRUE(log->waitFor("error "));
    for (int number = 2; number <= 100; ++number) {
        tellServices("{\"" + std::string(static_cast<std::size_t>(number), 'x') + "\":1}", number);
    }
    tellServices("[]", 101);
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(log->count("error "), 1U);
}

// P44
TEST_F(ServiceRegistryContract, LogsOnceThatConnectionsDoNotLast) {
    connect();
    for (int round = 0; round < 4; ++round) {
        bus.waitForWebSockets("Lighting", 1, kLimit);
        bus.dropConnections("Lighting");
        ASSERT_EQ(states.next(), "disconnected") << "round " << round;
        ASSERT_EQ(states.next(), "connected") << "round " << round;
    }
    EXPECT_EQ(log->count("warning "), 1U);
    EXPECT_EQ(log->count("debug ServiceRegistry: service \"Lighting\" disconnected: "), 3U);
}

// P17
TEST_F(ServiceRegistryContract, AsksNoRegistryServiceWhenTheConfigurationKnowsEverything) {
    createRegistry(Mode::StaticBeforeDynamic);
    listen();
    EXPECT_EQ(states.next(), "connected");
    EXPECT_EQ(bus.handshakeCount("serviceregistry"), 0U);
}

// P11
TEST_F(ServiceRegistryContract, TakesAnEndlessWatchdogIntervalForNone) {
    configuration->known.watchdogPingInterval = std::chrono::milliseconds::max();
    configuration->known.watchdogPongTimeout = std::chrono::milliseconds::max();
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    EXPECT_EQ(states.size(), 0U);
}

// P17
TEST_F(ServiceRegistryContract, PrefersTheConfigurationInStaticBeforeDynamicMode) {
    configuration->known.serverBaseUri = "http://127.0.0.1:1";
    createRegistry(Mode::StaticBeforeDynamic);
    listen();
    EXPECT_TRUE(log->waitFor("service \"Lighting\" not reachable at http://127.0.0.1:1"));
    EXPECT_EQ(states.size(), 0U);
}

// P17
TEST_F(ServiceRegistryContract, AsksTheRegistryServiceForTheRestInStaticBeforeDynamicMode) {
    createRegistry(Mode::StaticBeforeDynamic);
    listen<HeatingService>();
    EXPECT_EQ(states.next(), "connected");
}

// P11
TEST_F(ServiceRegistryContract, LosesAPeerThatAnswersNoPing) {
    configuration->known.watchdogPingInterval = 50ms;
    configuration->known.watchdogPongTimeout = 150ms;
    connect();
    bus.freezeConnections("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_TRUE(log->contains("nothing received for 150 ms"));
}

// P11
TEST_F(ServiceRegistryContract, KeepsASilentPeerThatAnswersPings) {
    configuration->known.watchdogPingInterval = 100ms;
    configuration->known.watchdogPongTimeout = 300ms;
    const auto connected = connect();
    const auto subscription = subscribe(connected);
    EXPECT_EQ(levels.next(), 10);
    // For several pong time-outs the server sends nothing but pongs.
    EXPECT_FALSE(states.next(1s));
}

// P11
TEST_F(ServiceRegistryContract, TakesTheWatchdogOfTheRegistrySettingsBeforeThatOfTheConfiguration) {
    const std::chrono::milliseconds pingInterval = 50ms;
    const std::chrono::milliseconds pongTimeout = 150ms;
    serviceSettings->emplace("Lighting",
                             zeb::ZebServiceConfigurations::ServiceSetting(
                                 false, zebutil::Optional<std::chrono::milliseconds>(&pingInterval),
                                 zebutil::Optional<std::chrono::milliseconds>(&pongTimeout)));
    connect();
    bus.freezeConnections("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
}

// P15
TEST_F(ServiceRegistryContract, TellsNothingAfterStop) {
    connect();
    stop();
    bus.dropConnections("Lighting");
    EXPECT_EQ(states.size(), 0U);
    EXPECT_TRUE(bus.waitForWebSockets("Lighting", 0, kLimit));
}

// P5, P7, P15
TEST_F(ServiceRegistryContract, CanBeStoppedByAListener) {
    createRegistry();
    zeb::ServiceListener<LightingService> listener;
    listener.connected = [this](const std::shared_ptr<LightingService>&) {
        stop();
        states.push("stopped");
    };
    registry->registerServiceListener(listener);
    EXPECT_EQ(states.next(), "stopped");
}

// P15, P33
TEST_F(ServiceRegistryContract, CanBeStoppedInTheMiddleOfConnecting) {
    bus.ignoreHttp("/Lighting");
    createRegistry();
    listen();
    stop();
    EXPECT_EQ(states.size(), 0U);
}

// P3
TEST_F(ServiceRegistryContract, GoesOnAfterAListenerThatThrows) {
    createRegistry();
    zeb::ServiceListener<LightingService> listener;
    listener.connected = [](const std::shared_ptr<LightingService>&) { throw std::runtime_error("mine"); };
    registry->registerServiceListener(listener);
    listen();
    EXPECT_EQ(states.next(), "connected");
    EXPECT_TRUE(log->contains("task \"service connected\" threw: mine"));
}

// P11
TEST_F(ServiceRegistryContract, RefusesAServerThatDoesNotSpeakTheSubProtocol) {
    bus.answerHttpWithBytes("/Lighting",
                            "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                            "Connection: Upgrade\r\nSec-WebSocket-Accept: wrong\r\n\r\n");
    createRegistry();
    listen();
    EXPECT_TRUE(log->waitFor("not reachable"));
    EXPECT_EQ(states.size(), 0U);
}

}  // namespace
