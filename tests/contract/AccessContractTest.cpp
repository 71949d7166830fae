#include <PlatformFixture.h>
#include <TestBuild.h>
#include <pthread.h>

#include <array>
#include <future>
#include <string>

// Numbers are those of the promises in docs/platform-contract.md.

namespace {

using namespace std::chrono_literals;
using test_support::kLimit;
using test_support::Lamp;
using test_support::LampDescriptor;

class FindFirstContract : public test_support::PlatformFixture {
 protected:
    struct Answer {
        bool isSuccess;
        std::shared_ptr<const Lamp> lamp;
        std::shared_ptr<const zeb::ZebResponse> response;
        std::thread::id thread;
    };

    void findFirst(const LampDescriptor& descriptor) {
        service()->getAccessor()->findFirst<Lamp>(
            descriptor,
            [this](std::shared_ptr<const Lamp> lamp, std::shared_ptr<const zeb::ZebResponse> response) {
                answers.push({true, std::move(lamp), std::move(response), std::this_thread::get_id()});
            },
            [this](std::shared_ptr<const zeb::ZebResponse> response) {
                answers.push({false, nullptr, std::move(response), std::this_thread::get_id()});
            });
    }

    Answer answerOf(const LampDescriptor& descriptor) {
        findFirst(descriptor);
        auto answer = answers.next();
        EXPECT_TRUE(answer) << "no handler was called";
        return answer.value_or(Answer{});
    }

    test_support::Received<Answer> answers;
};

// P21
TEST_F(FindFirstContract, GivesTheFirstElement) {
    connect();
    const Answer answer = answerOf(LampDescriptor());
    ASSERT_TRUE(answer.lamp);
    EXPECT_EQ(answer.lamp->getId().getValue(), "1");
}

// P21
TEST_F(FindFirstContract, GivesTheFirstElementThatMatchesTheFilter) {
    connect();
    LampDescriptor descriptor;
    descriptor.getFilter().add("level", std::int64_t{20});
    const Answer answer = answerOf(descriptor);
    ASSERT_TRUE(answer.lamp);
    EXPECT_EQ(answer.lamp->getId().getValue(), "2");
}

// P21
TEST_F(FindFirstContract, GivesNullAndStatus200WhenNothingMatches) {
    connect();
    LampDescriptor descriptor;
    descriptor.getFilter().add("level", std::int64_t{99});
    const Answer answer = answerOf(descriptor);
    EXPECT_TRUE(answer.isSuccess);
    EXPECT_FALSE(answer.lamp);
    EXPECT_EQ(answer.response->getStatusCode(), 200);
}

// P21
TEST_F(FindFirstContract, EncodesWhatItAsksFor) {
    connect();
    bus.addElement("/Lighting/lamps/3", R"({"label":"a&b=c d/ä+%"})");
    LampDescriptor descriptor;
    descriptor.getFilter().add("label", "a&b=c d/ä+%");
    const Answer answer = answerOf(descriptor);
    ASSERT_TRUE(answer.lamp);
    EXPECT_EQ(answer.lamp->getId().getValue(), "3");
}

// P21
TEST_F(FindFirstContract, SendsTheSeparatorWhenTheServiceUsesOne) {
    configuration->known.separatorAfterResource = "/";
    configuration->known.useSeparator = true;
    connect();
    EXPECT_TRUE(answerOf(LampDescriptor()).lamp);
}

// P6, P19
TEST_F(FindFirstContract, CallsItsHandlersOnTheZebExecutor) {
    connect();
    test_support::Received<std::thread::id> executorThread;
    zebExecutor->add([&] { executorThread.push(std::this_thread::get_id()); }, "thread");
    EXPECT_EQ(answerOf(LampDescriptor()).thread, executorThread.next());
}

// P22
TEST_F(FindFirstContract, GivesTheStatusOfAnError) {
    connect();
    bus.answerHttp("/Lighting/lamps", 503, R"({"error":{"number":503}})");
    const Answer answer = answerOf(LampDescriptor());
    EXPECT_FALSE(answer.isSuccess);
    EXPECT_EQ(answer.response->getStatusCode(), 503);
    EXPECT_FALSE(answer.response->getHttpException());
}

// P22
TEST_F(FindFirstContract, GivesTheStatusOfAnErrorWithoutBody) {
    connect();
    bus.answerHttp("/Lighting/lamps", 500, "");
    EXPECT_EQ(answerOf(LampDescriptor()).response->getStatusCode(), 500);
}

// P22
TEST_F(FindFirstContract, FollowsNoRedirect) {
    connect();
    bus.answerHttpWithBytes("/Lighting/lamps",
                            "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\n"
                            "Content-Length: 0\r\n\r\n");
    EXPECT_EQ(answerOf(LampDescriptor()).response->getStatusCode(), 302);
}

// P23
TEST_F(FindFirstContract, GivesAnExceptionForABodyThatIsNoJson) {
    connect();
    bus.answerHttp("/Lighting/lamps", 200, "<html>");
    const Answer answer = answerOf(LampDescriptor());
    ASSERT_TRUE(answer.response->getHttpException());
    EXPECT_EQ(std::string(answer.response->getHttpException()->what())
                  .rfind("ZebException: unknown find first failed reason: ", 0),
              0U)
        << answer.response->getHttpException()->what();
}

// P23
TEST_F(FindFirstContract, GivesAnExceptionForJsonOfTheWrongShape) {
    connect();
    for (const char* body : {"{}", "[]", R"({"data":{}})", R"({"data":null})", R"({"data":[5]})"}) {
        bus.answerHttp("/Lighting/lamps", 200, body);
        EXPECT_TRUE(answerOf(LampDescriptor()).response->getHttpException()) << body;
    }
}

// P23
TEST_F(FindFirstContract, GivesAnExceptionForATruncatedBody) {
    connect();
    bus.answerHttpWithBytes("/Lighting/lamps", "HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\n{\"data\":[]}");
    EXPECT_TRUE(answerOf(LampDescriptor()).response->getHttpException());
}

// P23
TEST_F(FindFirstContract, GivesAnExceptionWhenTheServerIsGone) {
    connect();
    bus.stop();
    const Answer answer = answerOf(LampDescriptor());
    EXPECT_FALSE(answer.isSuccess);
    EXPECT_TRUE(answer.response->getHttpException());
}

// P20
TEST_F(FindFirstContract, GivesAnExceptionBeforeFiveSecondsWhenTheServerIsSilent) {
    connect();
    bus.ignoreHttp("/Lighting/lamps");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(answerOf(LampDescriptor()).response->getHttpException());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

// P20
TEST_F(FindFirstContract, GivesEachOfSeveralRequestsAnExceptionBeforeFiveSecondsWhenTheServerIsSilent) {
    connect();
    bus.ignoreHttp("/Lighting/lamps");
    const auto begin = std::chrono::steady_clock::now();
    for (int request = 0; request < 3; ++request) {
        findFirst(LampDescriptor());
    }
    for (int request = 0; request < 3; ++request) {
        const auto answer = answers.next();
        ASSERT_TRUE(answer);
        EXPECT_TRUE(answer->response->getHttpException());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

/// A task that keeps the httpExecutor busy until it is destroyed, as a silent server of another service does.
class BusyExecutor {
 public:
    explicit BusyExecutor(zebutil::SingleThreadAsyncTaskExecutor& executor) {
        executor.add([isOver = isOver_.get_future().share()] { isOver.wait(); }, "busy");
    }
    ~BusyExecutor() { isOver_.set_value(); }
    BusyExecutor(const BusyExecutor&) = delete;
    BusyExecutor& operator=(const BusyExecutor&) = delete;

 private:
    std::promise<void> isOver_;
};

// P50
TEST_F(FindFirstContract, EndsARequestThatWaitsForItsTurnWhenTheConnectionIsLost) {
    connect();
    const BusyExecutor busy(*httpExecutor);
    findFirst(LampDescriptor());
    bus.dropConnections("Lighting");
    const auto answer = answers.next();
    ASSERT_TRUE(answer) << "no handler was called";
    EXPECT_NE(std::string(answer->response->getHttpException()->what()).find("cancelled: "),
              std::string::npos);
}

// P50
TEST_F(FindFirstContract, EndsARequestThatWaitsForItsTurnWhenTheRegistryStops) {
    connect();
    const BusyExecutor busy(*httpExecutor);
    findFirst(LampDescriptor());
    registry->stop();
    const auto answer = answers.next();
    ASSERT_TRUE(answer) << "no handler was called";
    EXPECT_NE(std::string(answer->response->getHttpException()->what()).find("cancelled: "),
              std::string::npos);
}

// P19
TEST_F(FindFirstContract, WorksAgainAfterTheServerClosedTheKeptConnection) {
    connect();
    bus.answerHttpWithBytes("/Lighting/lamps", "HTTP/1.1 200 OK\r\nContent-Length: 11\r\n\r\n{\"data\":[]}");
    EXPECT_TRUE(answerOf(LampDescriptor()).isSuccess);
    bus.clearHttpFaults();
    EXPECT_TRUE(answerOf(LampDescriptor()).lamp);
}

// P37
TEST_F(FindFirstContract, LogsAMissingSuccessHandler) {
    connect();
    service()->getAccessor()->findFirst<Lamp>(LampDescriptor(), nullptr, nullptr);
    EXPECT_TRUE(log->waitFor("ZebAccessor::findFirst(): missing success callback"));
}

// P37
TEST_F(FindFirstContract, LogsAnErrorStatusThatNoHandlerTakes) {
    connect();
    bus.answerHttp("/Lighting/lamps", 500, "");
    service()->getAccessor()->findFirst<Lamp>(
        LampDescriptor(), [](auto, auto) {}, nullptr);
    EXPECT_TRUE(log->waitFor("findFirst: error occurred but no error callback given"));
}

// P37
TEST_F(FindFirstContract, LogsAnExceptionThatNoHandlerTakes) {
    connect();
    bus.answerHttp("/Lighting/lamps", 200, "<html>");
    service()->getAccessor()->findFirst<Lamp>(
        LampDescriptor(), [](auto, auto) {}, nullptr);
    EXPECT_TRUE(log->waitFor("findFirst: exception error occurred but no error callback given"));
}

// P3
TEST_F(FindFirstContract, LogsAHandlerThatThrowsWithTheTasksName) {
    connect();
    service()->getAccessor()->findFirst<Lamp>(
        LampDescriptor(), [](auto, auto) { throw std::runtime_error("mine"); }, nullptr);
    EXPECT_TRUE(log->waitFor("task \"findFirst callbackSuccess\" threw: mine"));
}

class SubscriptionContract : public test_support::PlatformFixture {
 protected:
    // A subscription to lamp 1. The first call of its handler waits for `go` or until the limit.
    std::shared_ptr<zeb::Subscription> subscribeSlowly(std::chrono::milliseconds limit = kLimit) {
        LampDescriptor descriptor;
        descriptor.setId("1");
        auto subscription = service()->subscribeElement<Lamp>(
            descriptor, [this, limit, isFirst = true](const std::shared_ptr<const Lamp>& lamp) mutable {
                if (std::exchange(isFirst, false)) {
                    go.next(limit);
                }
                levels.push(lamp->level());
            });
        EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps/1", 1, kLimit));
        return subscription;
    }

    // Sets the levels 0, 1, 2 and so on.
    void setLevels(int count) {
        for (int level = 0; level < count; ++level) {
            setLevel(level);
        }
    }
    void expectLevels(int count) {
        for (int level = 0; level < count; ++level) {
            ASSERT_EQ(levels.next(), level);
        }
    }

    test_support::Received<bool> go;
};

// P26
TEST_F(SubscriptionContract, TellsThePresentStateAtOnce) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
}

// P26
TEST_F(SubscriptionContract, TellsEveryChangeInOrder) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    setLevels(500);
    expectLevels(500);
}

// P27
TEST_F(SubscriptionContract, KnowsTheUuidOfItsElement) {
    EXPECT_EQ(subscribe(connect(), "2")->getUuidOfElement(), "2");
}

// P6
TEST_F(SubscriptionContract, NeverCallsItsHandlerOnTheCallersStack) {
    const auto connected = connect();
    LampDescriptor descriptor;
    descriptor.setId("1");
    test_support::Received<std::thread::id> thread;
    const auto subscription = connected->subscribeElement<Lamp>(
        descriptor, [&](const std::shared_ptr<const Lamp>&) { thread.push(std::this_thread::get_id()); });
    EXPECT_NE(thread.next(), std::this_thread::get_id());
}

// P25
TEST_F(SubscriptionContract, RefusesADescriptorWithoutId) {
    const auto connected = connect();
    EXPECT_THROW(connected->subscribeElement<Lamp>(LampDescriptor(), [](const auto&) {}), std::exception);
}

// P25
TEST_F(SubscriptionContract, IsRefusedOnAServiceWhoseConnectionWasLost) {
    const auto connected = connect();
    bus.dropConnections("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_THROW(subscribe(connected), std::exception);
}

// P37
TEST_F(SubscriptionContract, LogsARefusalOfTheServer) {
    const auto subscription = subscribe(connect(), "99");
    EXPECT_TRUE(log->waitFor("subscription of /Lighting/lamps/99 refused"));
    EXPECT_EQ(levels.size(), 0U);
}

// P28
TEST_F(SubscriptionContract, EndsWhenItIsUnsubscribed) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    subscription->unsubscribe();
    setLevel(11);
    EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps/1", 0, kLimit));
    drainExecutor();
    EXPECT_EQ(levels.size(), 0U);
}

// P29
TEST_F(SubscriptionContract, EndsWhenItIsReleased) {
    auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    subscription.reset();
    EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps/1", 0, kLimit));
}

// P29
TEST_F(SubscriptionContract, EndsWhenItIsReleasedBeforeItsFirstNotification) {
    bus.withholdFirstNotifications();
    const auto connected = connect();
    subscribe(connected).reset();
    const auto second = subscribe(connected, "2");
    bus.releaseFirstNotifications();
    EXPECT_EQ(levels.next(), 20);
    EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps/1", 0, kLimit));
}

// P30
TEST_F(SubscriptionContract, EndsWithItsConnection) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.dropConnections("Lighting");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(states.next(), "connected");
    setLevel(11);
    drainExecutor();
    EXPECT_EQ(bus.subscriberCount("/Lighting/lamps/1"), 0U);
    EXPECT_EQ(levels.size(), 0U);
}

// P31
TEST_F(SubscriptionContract, EndsWithAllOthersAtTheElementRegistry) {
    const auto connected = connect();
    const auto first = subscribe(connected, "1");
    const auto second = subscribe(connected, "2");
    EXPECT_TRUE(levels.next() && levels.next());
    elements->unsubscribeFromAll();
    setLevel(11);
    EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps/2", 0, kLimit));
    drainExecutor();
    EXPECT_EQ(levels.size(), 0U);
}

// P37
TEST_F(SubscriptionContract, IsLoggedWhenTheServerEndsIt) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.removeElement("/Lighting/lamps/1");
    EXPECT_TRUE(log->waitFor("the server ended the subscription of /Lighting/lamps/1"));
}

// P7, P28
TEST_F(SubscriptionContract, MayBeEndedByItsOwnHandler) {
    const auto connected = connect();
    LampDescriptor descriptor;
    descriptor.setId("1");
    std::shared_ptr<zeb::Subscription> subscription;
    test_support::Received<bool> mayUnsubscribe;
    subscription =
        connected->subscribeElement<Lamp>(descriptor, [&](const std::shared_ptr<const Lamp>& lamp) {
            mayUnsubscribe.next();
            subscription.reset();
            levels.push(lamp->level());
        });
    EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps/1", 1, kLimit));
    setLevel(11);
    mayUnsubscribe.push(true);
    EXPECT_EQ(levels.next(), 10);
    EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps/1", 0, kLimit));
    drainExecutor();
    EXPECT_EQ(levels.size(), 0U);
}

// P3
TEST_F(SubscriptionContract, GoesOnAfterAHandlerThatThrows) {
    const auto connected = connect();
    LampDescriptor descriptor;
    descriptor.setId("1");
    const auto subscription =
        connected->subscribeElement<Lamp>(descriptor, [&](const std::shared_ptr<const Lamp>& lamp) {
            levels.push(lamp->level());
            throw std::runtime_error("mine");
        });
    EXPECT_EQ(levels.next(), 10);
    setLevel(11);
    EXPECT_EQ(levels.next(), 11);
    EXPECT_TRUE(log->contains("task \"notification of /Lighting/lamps/1\" threw: mine"));
}

// P32
TEST_F(SubscriptionContract, LosesNothingWhenItsHandlerIsSlowAndTheServerFloods) {
    connect();
    const auto subscription = subscribeSlowly();
    constexpr int changes = 20'000;
    setLevels(changes);
    go.push(true);
    EXPECT_EQ(levels.next(), 10);
    expectLevels(changes);
}

// P32
TEST_F(SubscriptionContract, DoesNotTakeAPausedConnectionForADeadOne) {
    // A sanitizer or the emulator may take longer than 60 ms for a pong.
    constexpr auto interval = test_support::kIsNative ? 20ms : 200ms;
    configuration->known.watchdogPingInterval = interval;
    configuration->known.watchdogPongTimeout = 3 * interval;
    connect();
    const auto subscription = subscribeSlowly(30 * interval);  // ten pong time-outs
    constexpr int changes = 2000;
    setLevels(changes);
    EXPECT_EQ(levels.next(), 10);
    expectLevels(changes);
    EXPECT_EQ(states.size(), 0U);
}

// P26
TEST_F(SubscriptionContract, LogsAGapInTheSequenceAndGoesOn) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.sendText("/Lighting/lamps/1",
                 R"({"action":"subscription","subscriptionId":"1","seq":7,"data":{"id":"1","level":77}})");
    EXPECT_EQ(levels.next(), 77);
    EXPECT_TRUE(log->contains("notification of /Lighting/lamps/1 out of order: expected seq 1, got 7"));
}

// P26
TEST_F(SubscriptionContract, TellsNothingTwiceWhenTheServerRepeatsANotification) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.sendText("/Lighting/lamps/1",
                 R"({"action":"subscription","subscriptionId":"1","seq":0,"data":{"id":"1","level":77}})");
    EXPECT_TRUE(log->waitFor("expected seq 1, got 0"));
    setLevel(11);
    EXPECT_EQ(levels.next(), 11);
}

// P3
TEST_F(SubscriptionContract, LogsAnElementThatIsNoObjectAndGoesOn) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.sendText("/Lighting/lamps/1", R"({"action":"subscription","subscriptionId":"1","seq":1,"data":[5]})");
    EXPECT_TRUE(log->waitFor("task \"notification of /Lighting/lamps/1\" threw: "));
}

// P44
TEST_F(SubscriptionContract, LogsElementsThatAreNoObjectsOnce) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    for (int seq = 1; seq <= 100; ++seq) {
        bus.sendText("/Lighting/lamps/1", R"({"action":"subscription","subscriptionId":"1","seq":)" +
                                              std::to_string(seq) + R"(,"data":[)" + std::to_string(seq) +
                                              "]}");
    }
    bus.sendText("/Lighting/lamps/1",
                 R"({"action":"subscription","subscriptionId":"1","seq":101,"data":null})");
    EXPECT_EQ(levels.next(), -1);
    EXPECT_EQ(log->count("error "), 1U);
}

// P26
TEST_F(SubscriptionContract, GivesANullElementForNullData) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.sendText("/Lighting/lamps/1",
                 R"({"action":"subscription","subscriptionId":"1","seq":1,"data":null})");
    EXPECT_EQ(levels.next(), -1);
}

// P26
TEST_F(SubscriptionContract, IgnoresNotificationsOfUnknownSubscriptions) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.sendText("/Lighting/lamps/1", R"({"action":"subscription","subscriptionId":"99","seq":0,"data":{}})");
    setLevel(11);
    EXPECT_EQ(levels.next(), 11);
}

// P26
TEST_F(SubscriptionContract, ToleratesARefusalThatNamesNoRequest) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.sendText("/Lighting/lamps/1", R"({"action":"subscribe","error":{"number":400}})");
    setLevel(11);
    EXPECT_EQ(levels.next(), 11);
    EXPECT_TRUE(log->contains("the server refused a subscribe request"));
}

// P6
TEST_F(SubscriptionContract, NeverReleasesAHandlerOnTheThreadOfTheSockets) {
    const auto connected = connect();
    LampDescriptor descriptor;
    descriptor.setId("99");
    test_support::Received<std::string> releasedOn;
    auto held = std::shared_ptr<int>(new int(0), [&](const int* value) {
        delete value;
        std::array<char, 16> name{};
        pthread_getname_np(pthread_self(), name.data(), name.size());
        releasedOn.push(name.data());
    });
    auto subscription =
        connected->subscribeElement<Lamp>(descriptor, [held](const std::shared_ptr<const Lamp>&) {});
    held.reset();
    EXPECT_TRUE(log->waitFor("subscription of /Lighting/lamps/99 refused"));
    drainExecutor();
    subscription.reset();
    stop();
    EXPECT_NE(releasedOn.next(), "zebIo");
}

// P26
TEST_F(SubscriptionContract, IgnoresMessagesWithUnknownActions) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.sendText("/Lighting/lamps/1", R"({"action":"dance"})");
    setLevel(11);
    EXPECT_EQ(levels.next(), 11);
    EXPECT_TRUE(log->contains("message with unknown action ignored"));
}

// P11, P12
TEST_F(SubscriptionContract, ConnectsAnewAfterAMessageThatIsNoJson) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.sendText("/Lighting/lamps/1", "garbage");
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(states.next(), "connected");
}

// P11, P12
TEST_F(SubscriptionContract, ConnectsAnewAfterTextThatIsNoUtf8) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.sendBytes("/Lighting/lamps/1", std::string("\x81\x02\xC3\x28", 4));
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(states.next(), "connected");
}

// P11, P12
TEST_F(SubscriptionContract, ConnectsAnewAfterAMessageOfMoreThanOneMebibyte) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    bus.sendText("/Lighting/lamps/1", std::string(1024 * 1024 + 1, ' '));
    EXPECT_EQ(states.next(), "disconnected");
    EXPECT_EQ(states.next(), "connected");
}

// P26
TEST_F(SubscriptionContract, JoinsFragmentsWithAPingBetween) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    const std::string first = R"({"action":"subscription","subscriptionId":"1",)";
    const std::string last = R"("seq":1,"data":{"level":77}})";
    std::string frames;
    frames.append("\x01").append(1, static_cast<char>(first.size())).append(first);
    frames.append("\x89").append(1, '\0');
    frames.append("\x80").append(1, static_cast<char>(last.size())).append(last);
    bus.sendBytes("/Lighting/lamps/1", frames);
    EXPECT_EQ(levels.next(), 77);
}

}  // namespace
