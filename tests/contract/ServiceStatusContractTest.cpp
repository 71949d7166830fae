#include <PlatformFixture.h>
#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using test_support::kLimit;
using test_support::Lamp;
using test_support::LampDescriptor;
using test_support::LightingService;
using test_support::Received;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;
using testing::StartsWith;
using State = zeb::ServiceStatus::State;

/// A listener that also asks why its service is not connected.
class ServiceStatusContract : public test_support::PlatformFixture {
 protected:
    zeb::ServiceListener<LightingService> listener() {
        zeb::ServiceListener<LightingService> listener;
        listener.connected = [this](const std::shared_ptr<LightingService>&) { events.push("connected"); };
        listener.disconnected = [this] { events.push("disconnected"); };
        listener.unavailable = [this](const std::string& reason) { events.push(reason); };
        listener.owner = owner;
        return listener;
    }

    void follow(Mode mode = Mode::StaticOnly) {
        createRegistry(mode);
        registry->registerServiceListener(listener());
    }

    void followConnected() {
        follow();
        EXPECT_EQ(events.next(), "connected");
    }

    std::string address() const { return bus.baseUri() + bus.basePath(); }

    std::optional<zeb::ServiceStatus> status(const std::string& service = "Lighting") const {
        for (const zeb::ServiceStatus& one : registry->getServiceStatuses()) {
            if (one.service == service) {
                return one;
            }
        }
        return std::nullopt;
    }

    // Nothing listens there.
    void configureClosedPort() {
        zebbussim::BusSimulator gone;
        gone.start();
        configuration->known.serverBaseUri = gone.baseUri();
        gone.stop();
    }

    std::shared_ptr<int> owner = std::make_shared<int>(0);
    Received<std::string> events;
};

// P55
TEST_F(ServiceStatusContract, HasTheAddressThatItConnectsTo) {
    bus.ignoreHttp("/");
    follow();
    drainExecutor();
    EXPECT_EQ(status()->reason, "connecting to " + address());
}

// P54
TEST_F(ServiceStatusContract, SaysWhyTheServiceIsNotReachable) {
    configureClosedPort();
    follow();
    const auto reason = events.next();
    EXPECT_THAT(reason, Optional(StartsWith("not reachable at " + configuration->known.serverBaseUri)));
    EXPECT_THAT(reason, Optional(HasSubstr("Connection refused")));
}

// P54
TEST_F(ServiceStatusContract, SaysTheSameReasonOnce) {
    configureClosedPort();
    follow();
    events.next();
    ASSERT_TRUE(log->waitFor("not reachable"));
    while (status()->attempts < 5) {
        drainExecutor();
    }
    drainExecutor();
    EXPECT_EQ(events.size(), 0U);
}

// P54
TEST_F(ServiceStatusContract, SaysWhyAConnectionWasLostBeforeItSaysThatItWas) {
    followConnected();
    bus.closeConnections("Lighting", 1011);
    const auto reason = events.next();
    EXPECT_THAT(reason, Optional(StartsWith("disconnected: ")));
    EXPECT_THAT(reason, Optional(HasSubstr("1011")));
    EXPECT_EQ(events.next(), "disconnected");
}

// P54
TEST_F(ServiceStatusContract, SaysWhyToAListenerThatComesLate) {
    configureClosedPort();
    createRegistry();
    listen();
    ASSERT_TRUE(log->waitFor("not reachable"));
    registry->registerServiceListener(listener());
    EXPECT_THAT(events.next(), Optional(StartsWith("not reachable at ")));
}

// P54
TEST_F(ServiceStatusContract, SaysThatTheConfigurationDoesNotKnowTheService) {
    configuration->isKnown = false;
    follow();
    EXPECT_THAT(events.next(),
                Optional(HasSubstr("the configuration says nothing about service \"Lighting\"")));
}

// P54
TEST_F(ServiceStatusContract, SaysThatTheServiceRegistryIsNotReachable) {
    bus.stop();
    follow(Mode::DynamicOnly);
    std::optional<std::string> reason;
    do {
        reason = events.next();
    } while (reason && reason->find("Connection refused") == std::string::npos);
    EXPECT_THAT(reason, Optional(StartsWith("without an address; service registry not reachable at " +
                                            bus.baseUri())));
}

// P54
TEST_F(ServiceStatusContract, SaysThatTheServiceRegistryDoesNotListTheService) {
    bus.removeService("Lighting");
    follow(Mode::DynamicOnly);
    std::optional<std::string> reason;
    do {
        reason = events.next();
    } while (reason && reason->find("not listed") == std::string::npos);
    EXPECT_EQ(reason, "not listed by the service registry at " + address());
}

// P54
TEST_F(ServiceStatusContract, SaysThatTheServiceHasLeftTheServiceRegistry) {
    follow(Mode::DynamicOnly);
    while (events.next() != "connected") {
    }
    bus.removeService("Lighting");
    std::optional<std::string> reason;
    do {
        reason = events.next();
    } while (reason && reason->find("not listed") == std::string::npos);
    EXPECT_EQ(reason, "not listed by the service registry at " + address());
}

// P55
TEST_F(ServiceStatusContract, CountsConnections) {
    followConnected();
    EXPECT_EQ(status()->connections, 1U);
}

// P55
TEST_F(ServiceStatusContract, HasTheStateAndTheAddressOfAConnectedService) {
    followConnected();
    EXPECT_EQ(status()->state, State::Connected);
    EXPECT_EQ(status()->address, address());
    EXPECT_THAT(status()->reason, IsEmpty());
}

// P55
TEST_F(ServiceStatusContract, KeepsTheLastFailureOfAServiceThatIsConnectedAgain) {
    followConnected();
    const auto before = zeb::ServiceStatus::Clock::now();
    bus.closeConnections("Lighting", 1011);
    while (events.next() != "connected") {
    }
    EXPECT_THAT(status()->lastFailure, HasSubstr("1011"));
    EXPECT_GE(status()->lastFailureAt, before);
}

// P55
TEST_F(ServiceStatusContract, SaysAfterStopThatItWasStopped) {
    followConnected();
    stop();
    EXPECT_EQ(status()->reason, "stopped");
}

// P55
TEST_F(ServiceStatusContract, HasNoStatusOfAServiceThatNobodyFollows) {
    createRegistry();
    EXPECT_THAT(registry->getServiceStatuses(), IsEmpty());
}

/// What is counted of the subscriptions of one connected service.
class ServiceCountsContract : public ServiceStatusContract {
 protected:
    void subscribeLamp() {
        subscription = subscribe(connect());
        ASSERT_EQ(levels.next(), 10);
    }

    zeb::ServiceStatus::Counts counts() const { return status()->counts; }

    void tell(const std::string& message) { bus.sendText("/Lighting/lamps/1", message); }

    // Everything that was sent before this call has been received and delivered.
    void settle() {
        setLevel(99);
        while (levels.next() != 99) {
        }
    }

    std::shared_ptr<zeb::Subscription> subscription;
};

// P57
TEST_F(ServiceCountsContract, HaveEachNotificationThatWasDelivered) {
    subscribeLamp();
    setLevel(11);
    ASSERT_EQ(levels.next(), 11);
    EXPECT_EQ(counts().received, 2U);
    EXPECT_EQ(counts().delivered, 2U);
}

// P57
TEST_F(ServiceCountsContract, HaveEachSubscriptionThatWasMade) {
    subscribeLamp();
    EXPECT_EQ(counts().subscriptionsMade, 1U);
}

// P57
TEST_F(ServiceCountsContract, HaveEachSubscriptionThatWasRefused) {
    subscribeLamp();
    const auto refused = subscribe(service(), "no such lamp");
    ASSERT_TRUE(log->waitFor("refused"));
    EXPECT_EQ(counts().subscriptionsRefused, 1U);
}

// P57
TEST_F(ServiceCountsContract, HaveEachSubscriptionThatTheServerHasEnded) {
    subscribeLamp();
    const auto other = subscribe(service(), "2");
    ASSERT_EQ(levels.next(), 20);
    bus.removeElement("/Lighting/lamps/2");
    settle();
    EXPECT_EQ(counts().subscriptionsEnded, 1U);
}

// P57
TEST_F(ServiceCountsContract, HaveWhatWasForNoSubscription) {
    subscribeLamp();
    tell(R"({"action":"subscription","subscriptionId":"nobody's","seq":0,"data":{"id":"1"}})");
    settle();
    EXPECT_EQ(counts().ofNoSubscription, 1U);
}

// P57
TEST_F(ServiceCountsContract, HaveWhatWasRepeated) {
    subscribeLamp();
    tell(R"({"action":"subscription","subscriptionId":"1","seq":0,"data":{"id":"1","level":77}})");
    settle();
    EXPECT_EQ(counts().repeated, 1U);
}

// P57
TEST_F(ServiceCountsContract, HaveWhatTheServerHasLeftOut) {
    subscribeLamp();
    tell(R"({"action":"subscription","subscriptionId":"1","seq":4,"data":{"id":"1","level":77}})");
    EXPECT_EQ(levels.next(), 77);
    EXPECT_EQ(counts().missing, 3U);
}

// P57
TEST_F(ServiceCountsContract, HaveWhatCouldNotBeRead) {
    subscribeLamp();
    bus.set("/Lighting/lamps/1", R"({"level":"bright"})");
    settle();
    EXPECT_EQ(counts().failed, 1U);
}

// P57
TEST_F(ServiceCountsContract, HaveTheLongestQueueAndTheTimeForWhichNothingWasRead) {
    const auto connected = connect();
    Received<bool> goOn;
    LampDescriptor descriptor;
    descriptor.setId("1");
    subscription =
        connected->subscribeElement<Lamp>(descriptor, [&](const std::shared_ptr<const Lamp>& lamp) {
            if (lamp->level() == 10) {
                goOn.next();
            }
            levels.push(lamp->level());
        });
    ASSERT_TRUE(bus.waitForSubscribers("/Lighting/lamps/1", 1, kLimit));
    constexpr int kChanges = 20'000;
    for (int change = 1; change <= kChanges; ++change) {
        setLevel(1000 + change);
    }
    goOn.push(true);
    while (levels.next() != 1000 + kChanges) {
    }
    EXPECT_GT(counts().longestQueue, 1000U);
    EXPECT_GT(counts().paused.count(), 0);
}

// P57
TEST_F(ServiceCountsContract, GoOnOverConnections) {
    subscribeLamp();
    bus.closeConnections("Lighting", 1000);
    ASSERT_EQ(states.next(), "disconnected");
    ASSERT_EQ(states.next(), "connected");
    subscription = subscribe(service());
    ASSERT_EQ(levels.next(), 10);
    EXPECT_EQ(counts().delivered, 2U);
}

// P56
TEST_F(ServiceStatusContract, CallsNoListenerThatWasTakenBack) {
    followConnected();
    registry->removeServiceListeners(owner);
    bus.closeConnections("Lighting", 1000);
    ASSERT_TRUE(log->waitFor("disconnected"));
    drainExecutor();
    EXPECT_EQ(events.size(), 0U);
}

// P56
TEST_F(ServiceStatusContract, CallsNoListenerThatWasTakenBackBeforeItWasAdded) {
    createRegistry();
    Received<bool> isBusy;
    Received<bool> goOn;
    zebExecutor->add(
        [&] {
            isBusy.push(true);
            goOn.next();
        },
        "busy");
    isBusy.next();
    registry->registerServiceListener(listener());
    registry->removeServiceListeners(owner);
    goOn.push(true);
    listen();
    EXPECT_EQ(states.next(), "connected");
    EXPECT_EQ(events.size(), 0U);
}

// P56
TEST_F(ServiceStatusContract, KeepsTheListenersOfOthers) {
    followConnected();
    listen();
    ASSERT_EQ(states.next(), "connected");
    registry->removeServiceListeners(owner);
    bus.closeConnections("Lighting", 1000);
    EXPECT_EQ(states.next(), "disconnected");
}

// P56
TEST_F(ServiceStatusContract, TakesAListenerBackInItsOwnHandler) {
    createRegistry();
    auto one = listener();
    one.connected = [this](const std::shared_ptr<LightingService>&) {
        registry->removeServiceListeners(owner);
        events.push("connected");
    };
    registry->registerServiceListener(one);
    while (events.next() != "connected") {
    }
    bus.closeConnections("Lighting", 1000);
    ASSERT_TRUE(log->waitFor("disconnected"));
    drainExecutor();
    EXPECT_EQ(events.size(), 0U);
}

/// A service that nobody reads, because a callback blocks and too many notifications wait for it.
class UnreadServiceContract : public ServiceCountsContract {
 protected:
    UnreadServiceContract() {
        const auto connected = connect();
        LampDescriptor descriptor;
        descriptor.setId("1");
        subscription = connected->subscribeElement<Lamp>(
            descriptor, [this](const std::shared_ptr<const Lamp>&) { goOn.next(); });
        EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps/1", 1, kLimit));
        for (int change = 1; change <= 2000; ++change) {
            setLevel(1000 + change);
        }
        awaitThat([this] { return counts().paused.count() > 0; });
    }

    // Nothing is told meanwhile, because the thread that would is blocked.
    template <typename Condition>
    static void awaitThat(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + kLimit;
        while (!condition() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
    }

    void TearDown() override {
        subscription->unsubscribe();
        goOn.push(true);
        ServiceCountsContract::TearDown();
    }

    Received<bool> goOn;
};

// P57
TEST_F(UnreadServiceContract, ShowsThePauseWhileItLasts) {
    EXPECT_GT(counts().paused.count(), 0);
}

// P27
TEST_F(UnreadServiceContract, HasNoActiveSubscriptionOnceItsConnectionIsLost) {
    ASSERT_TRUE(subscription->isActive());
    bus.dropConnections("Lighting");
    awaitThat([this] { return !subscription->isActive(); });
    EXPECT_FALSE(subscription->isActive());
}

}  // namespace
