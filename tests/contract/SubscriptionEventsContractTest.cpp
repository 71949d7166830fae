#include <PlatformFixture.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

// Numbers are those of the promises in docs/platform-contract.md.

namespace {

using test_support::kLimit;
using test_support::Lamp;
using test_support::lampOf;

/// A lamp that can be built only from an element that has a level.
class StrictLamp : public Lamp {
 public:
    explicit StrictLamp(std::shared_ptr<zebutil::JsonObject> json) : Lamp(std::move(json)) {
        static_cast<void>(level());
    }
};

/// A lamp for which there is no memory.
class LostLamp : public Lamp {
 public:
    explicit LostLamp(std::shared_ptr<zebutil::JsonObject> json) : Lamp(std::move(json)) {
        throw std::bad_alloc();
    }
};

/// What the platform tells about a subscription besides its notifications.
class SubscriptionEventsContract : public test_support::PlatformFixture {
 protected:
    template <typename T = Lamp>
    std::shared_ptr<zeb::Subscription> follow(const std::string& id = "1") {
        return service()->subscribeElement<T>(
            lampOf(id),
            [this](const std::shared_ptr<const T>& lamp) {
                calls.push(lamp ? "level " + std::to_string(lamp->level()) : "no state");
            },
            events());
    }

    zeb::SubscriptionEvents events() {
        return {[this](const std::string& reason) { calls.push("ended: " + reason); },
                [this](const std::string& reason) { calls.push("unreadable: " + reason); }};
    }

    void notify(int seq, const std::string& data) {
        bus.sendText("/Lighting/lamps/1", R"({"action":"subscription","subscriptionId":"1","seq":)" +
                                              std::to_string(seq) + R"(,"data":)" + data + "}");
    }

    test_support::Received<std::string> calls;
};

// P25
TEST_F(SubscriptionEventsContract, TellWhyTheServerHasRefusedTheSubscription) {
    connect();
    const auto sut = follow("99");
    EXPECT_EQ(calls.next(), R"(ended: 404 unavailable_data: There is no element "99" in /Lighting/lamps)");
}

// P25
TEST_F(SubscriptionEventsContract, TellAfterTheLastNotificationWhyTheServerHasEndedTheSubscription) {
    connect();
    const auto sut = follow();
    EXPECT_EQ(calls.next(), "level 10");
    setLevel(11);
    bus.removeElement("/Lighting/lamps/1");
    EXPECT_EQ(calls.next(), "level 11");
    EXPECT_EQ(calls.next().value_or("").rfind("ended: 404 unavailable_data: ", 0), 0U);
}

// P25
TEST_F(SubscriptionEventsContract, TellTheEndOnce) {
    connect();
    const auto sut = follow("99");
    EXPECT_TRUE(calls.next());
    bus.dropConnections("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(calls.size(), 0U);
}

// P6
TEST_F(SubscriptionEventsContract, AreToldOnTheZebExecutor) {
    connect();
    test_support::Received<std::thread::id> threads;
    zebExecutor->add([&] { threads.push(std::this_thread::get_id()); }, "thread");
    const auto sut = service()->subscribeElement<Lamp>(
        lampOf("99"), [](const auto&) {},
        {[&](const std::string&) { threads.push(std::this_thread::get_id()); }, {}});
    const auto executorThread = threads.next();
    EXPECT_EQ(threads.next(), executorThread);
}

// P25
TEST_F(SubscriptionEventsContract, DoNotReportAnEndThatTheUserHasBroughtAbout) {
    connect();
    auto sut = follow();
    EXPECT_EQ(calls.next(), "level 10");
    sut->unsubscribe();
    EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps/1", 0, kLimit));
    drainExecutor();
    EXPECT_EQ(calls.size(), 0U);
}

// P28
TEST_F(SubscriptionEventsContract, DoNotReportAnEndThatHasArrivedWhenTheUserUnsubscribes) {
    connect();
    test_support::Received<bool> go;
    const auto sut = service()->subscribeElement<Lamp>(
        lampOf("1"), [&](const auto&) { go.next(); }, events());
    EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps/1", 1, kLimit));
    bus.removeElement("/Lighting/lamps/1");
    EXPECT_TRUE(log->waitFor("the server ended the subscription of /Lighting/lamps/1"));
    sut->unsubscribe();
    go.push(true);
    drainExecutor();
    EXPECT_EQ(calls.size(), 0U);
}

// P30
TEST_F(SubscriptionEventsContract, DoNotReportTheEndOfTheConnection) {
    connect();
    const auto sut = follow();
    EXPECT_EQ(calls.next(), "level 10");
    bus.dropConnections("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
    drainExecutor();
    EXPECT_EQ(calls.size(), 0U);
}

// P26
TEST_F(SubscriptionEventsContract, TellWhyANotificationThatIsNoObjectCannotBeRead) {
    connect();
    const auto sut = follow();
    EXPECT_EQ(calls.next(), "level 10");
    notify(1, "[5]");
    EXPECT_EQ(calls.next(),
              "unreadable: a notification of /Lighting/lamps/1 cannot be read: "
              "JSON, byte 0: expected an object");
}

// P26
TEST_F(SubscriptionEventsContract, TellWhyNoElementCanBeMadeOfANotification) {
    connect();
    const auto sut = follow<StrictLamp>();
    EXPECT_EQ(calls.next(), "level 10");
    notify(1, R"({"id":"1","level":"high"})");
    const std::string told = calls.next().value_or("");
    EXPECT_NE(told.find("unreadable: a notification of /Lighting/lamps/1 cannot be read: "),
              std::string::npos);
    EXPECT_NE(told.find("level"), std::string::npos) << told;
}

// P26
TEST_F(SubscriptionEventsContract, TellThatThereIsNoMemoryForTheElement) {
    connect();
    const auto sut = follow<LostLamp>();
    const std::string told = calls.next().value_or("");
    EXPECT_NE(told.find("out of memory"), std::string::npos) << told;
}

// P26
TEST_F(SubscriptionEventsContract, EscapeWhatTheyQuote) {
    connect();
    const auto sut = follow<StrictLamp>();
    EXPECT_EQ(calls.next(), "level 10");
    notify(1, R"({"id":["\u001b[2J"]})");
    const std::string told = calls.next().value_or("");
    EXPECT_EQ(told.find('\x1b'), std::string::npos) << told;
}

// P26
TEST_F(SubscriptionEventsContract, GoOnAfterANotificationThatCannotBeRead) {
    connect();
    const auto sut = follow();
    EXPECT_EQ(calls.next(), "level 10");
    notify(1, "[5]");
    EXPECT_TRUE(calls.next());
    notify(2, R"({"id":"1","level":12})");
    EXPECT_EQ(calls.next(), "level 12");
}

// P26
TEST_F(SubscriptionEventsContract, AreToldForEachNotificationThatCannotBeRead) {
    connect();
    const auto sut = follow();
    EXPECT_EQ(calls.next(), "level 10");
    notify(1, "[5]");
    notify(2, "[5]");
    EXPECT_EQ(calls.next().value_or("").rfind("unreadable: ", 0), 0U);
    EXPECT_EQ(calls.next().value_or("").rfind("unreadable: ", 0), 0U);
}

// P44
TEST_F(SubscriptionEventsContract, AreLoggedOnceHoweverOftenTheyCome) {
    connect();
    const auto sut = follow();
    EXPECT_EQ(calls.next(), "level 10");
    notify(1, "[5]");
    notify(2, "[6]");
    EXPECT_TRUE(calls.next() && calls.next());
    drainExecutor();
    EXPECT_EQ(log->count("error "), 1U);
}

// P26
TEST_F(SubscriptionEventsContract, DoNotTakeAMissingStateForAnUnreadableOne) {
    connect();
    const auto sut = follow<StrictLamp>();
    EXPECT_EQ(calls.next(), "level 10");
    notify(1, "null");
    EXPECT_EQ(calls.next(), "no state");
}

// P3
TEST_F(SubscriptionEventsContract, DoNotReportWhatTheUsersOwnHandlerThrows) {
    connect();
    const auto sut = service()->subscribeElement<Lamp>(
        lampOf("1"), [](const auto&) { throw std::runtime_error("mine"); }, events());
    EXPECT_TRUE(log->waitFor("threw: mine"));
    drainExecutor();
    EXPECT_EQ(calls.size(), 0U);
}

// P3
TEST_F(SubscriptionEventsContract, KeepTheReasonInTheLogWhenTheirHandlerThrows) {
    connect();
    const auto sut =
        service()->subscribeElement<Lamp>(lampOf("1"), [this](const auto&) { calls.push("level"); },
                                          {{}, [](const std::string&) { throw std::runtime_error("mine"); }});
    EXPECT_EQ(calls.next(), "level");
    notify(1, "[5]");
    EXPECT_TRUE(log->waitFor("JSON, byte 0: expected an object; the handler of this event threw: mine"));
}

// P25
TEST_F(SubscriptionEventsContract, AreNeverToldIfTheSubscribeThrows) {
    connect();
    bus.setServiceAvailable("Lighting", false);
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_THROW(follow(), std::exception);
    drainExecutor();
    EXPECT_EQ(calls.size(), 0U);
}

// P25
TEST_F(SubscriptionEventsContract, AreNotNeededToRefuseADescriptorWithAnEmptyId) {
    connect();
    EXPECT_THROW(service()->subscribeElement<Lamp>(lampOf(""), [](const auto&) {}), std::exception);
}

/// Keeps its tasks until the test runs them: an executor whose thread is busy.
class BusyExecutor : public zebutil::ITaskExecutor {
 public:
    void add(std::function<void()> function, const char* name) override {
        tasks_.push({name, std::move(function)});
    }

    using Task = std::pair<std::string, std::function<void()>>;

    /// Waits for the next task. Its name is empty if there is none within the limit.
    Task next() { return tasks_.next().value_or(Task()); }

 private:
    test_support::Received<Task> tasks_;
};

/// A subscription whose handlers wait for a busy thread.
class ActiveSubscription : public test_support::PlatformFixture {
 protected:
    ActiveSubscription() {
        zeb::WebsocketSettings settings;
        settings.uri = "ws" + bus.baseUri().substr(bus.baseUri().find(':')) + "/Lighting";
        manager = websockets->createWebsocketManager("Lighting", settings, executor,
                                                     loggers->createLogger("websocket"), {});
        executor->next();  // the report that the WebSocket is open
        sut = subscribe(std::make_shared<zeb::Service>(nullptr, manager));
    }

    const std::shared_ptr<BusyExecutor> executor = std::make_shared<BusyExecutor>();
    std::shared_ptr<zeb::IWebsocketManager> manager;
    std::shared_ptr<zeb::Subscription> sut;
};

// P27
TEST_F(ActiveSubscription, IsActiveAtOnce) {
    EXPECT_TRUE(sut->isActive());
}

// P27
TEST_F(ActiveSubscription, IsActiveWithTheFirstNotification) {
    EXPECT_EQ(executor->next().first, "notifications");
    EXPECT_TRUE(sut->isActive());
}

// P27
TEST_F(ActiveSubscription, IsOverOnceItIsUnsubscribed) {
    sut->unsubscribe();
    EXPECT_FALSE(sut->isActive());
}

// P27
TEST_F(ActiveSubscription, IsOverOnceAllAreUnsubscribed) {
    manager->unsubscribeFromAll();
    EXPECT_FALSE(sut->isActive());
}

// P27
TEST_F(ActiveSubscription, IsOverOnceItsConnectionIsStopped) {
    manager->stop();
    EXPECT_FALSE(sut->isActive());
}

// P27
TEST_F(ActiveSubscription, IsOverOnceItsConnectionIsLostThoughNoHandlerHasRun) {
    EXPECT_EQ(executor->next().first, "notifications");
    bus.dropConnections("Lighting");
    EXPECT_EQ(executor->next().first, "websocket closed");
    EXPECT_FALSE(sut->isActive());
}

// P27
TEST_F(ActiveSubscription, IsOverOnceTheServersEndHasArrivedThoughNoHandlerHasRun) {
    EXPECT_EQ(executor->next().first, "notifications");
    bus.removeElement("/Lighting/lamps/1");
    EXPECT_EQ(executor->next().first, "subscription ended by the server");
    EXPECT_FALSE(sut->isActive());
}

// P27
TEST_F(ActiveSubscription, IsOverOnceTheServersRefusalHasArrivedThoughNoHandlerHasRun) {
    const auto refused = subscribe(std::make_shared<zeb::Service>(nullptr, manager), "99");
    EXPECT_EQ(executor->next().first, "notifications");
    EXPECT_EQ(executor->next().first, "subscription ended by the server");
    EXPECT_FALSE(refused->isActive());
    EXPECT_TRUE(sut->isActive());
}

// P26
TEST_F(ActiveSubscription, GivesWhatArrivedBeforeTheServersEndThoughItIsOver) {
    const auto notifications = executor->next().second;
    bus.removeElement("/Lighting/lamps/1");
    const auto end = executor->next();
    EXPECT_FALSE(sut->isActive());
    notifications();
    EXPECT_EQ(levels.next(), 10);
}

// P33
TEST_F(ActiveSubscription, IsNotToldToHaveEndedOnceItsConnectionIsStopped) {
    bool isTold = false;
    const auto refused = std::make_shared<zeb::Service>(nullptr, manager)
                             ->subscribeElement<Lamp>(lampOf("99"), [](const auto&) {},
                                                      {[&](const auto&) { isTold = true; }, {}});
    EXPECT_EQ(executor->next().first, "notifications");
    const auto end = executor->next();
    EXPECT_EQ(end.first, "subscription ended by the server");
    manager->stop();
    end.second();
    EXPECT_FALSE(isTold);
}

}  // namespace
