#include <ChildProcess.h>
#include <RecordingAraLog.h>
#include <SettableClock.h>
#include <csc_logging/CSCLogging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelo-client/ClientServiceBase.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ClampControlAccess.h"
#include "FakeBus.h"
#include "RecordingCallback.h"
#include "WaitingCalls.h"

namespace {

using clampcontrolclient::ClampControlAccess;
using test_support::clampJson;
using test_support::FakeBus;
using test_support::RecordingAraLog;
using test_support::RecordingCallback;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;
using zebobjects_ZEB::ClampcontrolService;

constexpr auto kError = "2 ";
constexpr auto kWarning = "3 ";
constexpr auto kInfo = "4 ";

/// The lines of the client or of the platform, each as "level text". The client's lines are given without
/// their prefix.
std::vector<std::string> logged(bool ofClient = true) {
    const std::string prefix = "Clamp Control Client: ";
    std::vector<std::string> lines;
    for (const auto& record : RecordingAraLog::records()) {
        const bool isOfClient = record.text.rfind(prefix, 0) == 0;
        if (isOfClient == ofClient) {
            lines.push_back(std::to_string(static_cast<int>(record.level)) + " " +
                            record.text.substr(isOfClient ? prefix.size() : 0));
        }
    }
    return lines;
}

std::vector<std::string> loggedByPlatform() {
    return logged(false);
}

class ClampControlAccessTest : public testing::Test {
 protected:
    ClampControlAccessTest() {
        csc_logging::CSCLogging::CreateLogger("test");
        RecordingAraLog::reset();
    }

    void create(const ClampControlAccess::TimeLimits& timeLimits = {}) {
        sut = std::make_shared<ClampControlAccess>(bus.clientServices(), timeLimits);
        sut->AssignCallback(&callback);
        sut->start();
    }

    void createConnected(const ClampControlAccess::TimeLimits& timeLimits = {}) {
        create(timeLimits);
        bus.connectService();
        callback.take();
        RecordingAraLog::reset();
    }

    /// Also forgets what was reported and logged on the way.
    std::shared_ptr<FakeBus::Subscribed> createSubscribed(
        const ClampControlAccess::TimeLimits& timeLimits = {}) {
        createConnected(timeLimits);
        EXPECT_EQ(sut->SubscribeClampControl(), "c15");
        bus.settle();
        callback.take();
        RecordingAraLog::reset();
        return bus.subscriptions().back();
    }

    void destroy() {
        sut->DetachCallback();
        sut.reset();
    }

    RecordingCallback callback;
    FakeBus bus;
    std::shared_ptr<ClampControlAccess> sut;
};

// ---------------------------------------------------------------------------------------- connecting

TEST_F(ClampControlAccessTest, StartFollowsTheClampControlService) {
    create();
    EXPECT_EQ(bus.followedService(), "ClampControl");
}

TEST_F(ClampControlAccessTest, TheStartOfTheClientInterfaceDoesNothing) {
    sut = std::make_shared<ClampControlAccess>(bus.clientServices());
    static_cast<clampcontrolclient::ClampControlClientIf&>(*sut).Start();
    EXPECT_EQ(bus.listeners(), 0);
}

TEST_F(ClampControlAccessTest, TheStopOfTheClientInterfaceDoesNothing) {
    const auto subscribed = createSubscribed();
    static_cast<clampcontrolclient::ClampControlClientIf&>(*sut).Stop();
    EXPECT_EQ(subscribed->unsubscribes, 0);
    EXPECT_FALSE(subscribed->released);
}

TEST_F(ClampControlAccessTest, TellsTheCallbackThatTheServiceConnected) {
    create();
    bus.connectService();
    EXPECT_THAT(callback.take(), ElementsAre("connection true"));
}

TEST_F(ClampControlAccessTest, LogsThatTheServiceConnectedBeforeItTells) {
    create();
    std::vector<std::string> before;
    callback.inConnection = [&before] { before = logged(); };
    bus.connectService();
    EXPECT_THAT(before, ElementsAre(kInfo + std::string("Service Connected")));
}

TEST_F(ClampControlAccessTest, IsReadyToSubscribeWhenItTellsThatTheServiceConnected) {
    create();
    std::future<std::string> uuid;
    callback.inConnection = [this, &uuid] {
        uuid = std::async(std::launch::async, [this] { return sut->SubscribeClampControl(); });
    };
    bus.connectService();
    EXPECT_EQ(uuid.get(), "c15");
}

TEST_F(ClampControlAccessTest, ConnectsWithoutACallback) {
    create();
    sut->AssignCallback(nullptr);
    bus.connectService();
    EXPECT_EQ(sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15), "c15");
}

TEST_F(ClampControlAccessTest, TellsTheCallbackThatTheServiceDisconnected) {
    createConnected();
    bus.disconnectService();
    EXPECT_THAT(callback.take(), ElementsAre("connection false"));
}

TEST_F(ClampControlAccessTest, LogsThatTheServiceDisconnectedBeforeItTells) {
    createConnected();
    std::vector<std::string> before;
    callback.inConnection = [&before] { before = logged(); };
    bus.disconnectService();
    EXPECT_THAT(before, ElementsAre(kInfo + std::string("Service disconnected")));
}

TEST_F(ClampControlAccessTest, DisconnectsWithoutACallback) {
    createConnected();
    sut->AssignCallback(nullptr);
    bus.disconnectService();
    EXPECT_THROW(sut->SubscribeClampControl(), std::runtime_error);
}

TEST_F(ClampControlAccessTest, IsNotReadyAnyMoreWhenItTellsThatTheServiceDisconnected) {
    createConnected();
    bool isReady = true;
    callback.inConnection = [this, &isReady] {
        try {
            sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15);
        } catch (const std::runtime_error&) {
            isReady = false;
        }
    };
    bus.disconnectService();
    EXPECT_FALSE(isReady);
}

TEST_F(ClampControlAccessTest, DropsTheSubscriptionBeforeItTellsThatTheServiceDisconnected) {
    const auto subscribed = createSubscribed();
    bool released = false;
    callback.inConnection = [&] { released = subscribed->released; };
    bus.disconnectService();
    EXPECT_TRUE(released);
}

TEST_F(ClampControlAccessTest, DoesNotUnsubscribeWhenTheServiceDisconnects) {
    const auto subscribed = createSubscribed();
    bus.disconnectService();
    EXPECT_EQ(subscribed->unsubscribes, 0);
}

TEST_F(ClampControlAccessTest, TellsThatTheServiceIsBack) {
    createSubscribed();
    bus.disconnectService();
    bus.connectService();
    EXPECT_THAT(callback.take(), ElementsAre("connection false", "connection true"));
}

TEST_F(ClampControlAccessTest, DoesNotSubscribeByItselfWhenTheServiceIsBack) {
    createSubscribed();
    bus.disconnectService();
    bus.connectService();
    EXPECT_EQ(bus.subscriptions().size(), 1U);
}

TEST_F(ClampControlAccessTest, CanSubscribeAgainWhenTheServiceIsBack) {
    createSubscribed();
    bus.disconnectService();
    bus.connectService();
    EXPECT_EQ(sut->SubscribeClampControl(), "c15");
}

TEST_F(ClampControlAccessTest, LogsAListenerErrorWithTheTextOfTheBaseException) {
    create();
    bus.tellError(std::runtime_error("not this text"));
    EXPECT_THAT(logged(), ElementsAre(kError + std::string("ServiceListener Error: std::exception")));
}

// ---------------------------------------------------------------------------------------- the element

TEST_F(ClampControlAccessTest, FindsTheElementByItsType) {
    createConnected();
    sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::ClampS);
    const auto request = bus.requests().at(0);
    EXPECT_EQ(request.resource, "clamps");
    EXPECT_EQ(request.id, "");
    EXPECT_THAT(request.query, UnorderedElementsAre(Pair("type", "ClampS"), Pair("$limit", "1")));
}

TEST_F(ClampControlAccessTest, GivesTheIdOfTheElementThatWasFound) {
    createConnected();
    EXPECT_EQ(sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15), "c15");
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ClampControlAccessTest, CannotFindTheElementBeforeTheServiceHasConnected) {
    create();
    try {
        sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15);
        FAIL() << "did not throw";
    } catch (const std::runtime_error& exception) {
        EXPECT_STREQ(exception.what(), "ClampControl client not ready");
    }
    EXPECT_THAT(logged(), ElementsAre(kError + std::string("Not ready")));
}

TEST_F(ClampControlAccessTest, GivesNoUuidWhenNoElementMatches) {
    createConnected();
    bus.answer = [] { return zeb::ZebResponse(200, R"({"data":[]})"); };
    EXPECT_EQ(sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15), "");
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ClampControlAccessTest, GivesNoUuidForAnElementWithoutId) {
    createConnected();
    bus.answer = [] { return zeb::ZebResponse(200, R"({"data":[{"type":"Clamp15"}]})"); };
    EXPECT_EQ(sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15), "");
    EXPECT_THAT(logged(), IsEmpty());
}

TEST(ClampControlAccessAtTheEndOfTheProcess, RefusesToSubscribeWithoutAskingForAnything) {
    const auto result = test_support::runInChild([] {
        static auto& bus = *new FakeBus();
        static auto& sut = *new std::shared_ptr<ClampControlAccess>(
            std::make_shared<ClampControlAccess>(bus.clientServices()));
        bus.answer = []() -> zeb::ZebResponse { std::_Exit(2); };
        sut->start();
        bus.connectService();
        std::atexit([] {  // registered before the base is made, so called after its end
            std::_Exit(sut->SubscribeClampControl().empty() ? 0 : 1);
        });
        kelo_client::ClientServiceBase::getInstance();
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

TEST_F(ClampControlAccessTest, LogsTheStatusOfARefusedRequest) {
    createConnected();
    bus.answer = [] { return zeb::ZebResponse(404, ""); };
    EXPECT_EQ(sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15), "");
    EXPECT_THAT(logged(), ElementsAre(kError + std::string("ErrorCb, response status: 404")));
}

TEST_F(ClampControlAccessTest, LogsTheExceptionOfARequestThatFailed) {
    createConnected();
    bus.answer = []() -> zeb::ZebResponse { throw std::runtime_error("no route"); };
    EXPECT_EQ(sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15), "");
    EXPECT_THAT(
        logged(),
        ElementsAre(kError +
                    std::string("ErrorCb: ZebException: unknown find first failed reason: no route")));
}

TEST_F(ClampControlAccessTest, LogsARequestThatCouldNotBeIssued) {
    bus.refuseRequests();
    createConnected();
    EXPECT_EQ(sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15), "");
    EXPECT_THAT(logged(), ElementsAre(kError + std::string("readResource ZebAccess exception")));
}

/// Lets the first request wait until the end of this object, and calls `whenAsked` when it comes; later ones
/// find an element with id "next".
class UnansweredRequest {
 public:
    explicit UnansweredRequest(
        FakeBus& bus, std::function<void()> whenAsked = [] {}) {
        bus.answer = [whenReleased = released_.get_future().share(), whenAsked = std::move(whenAsked),
                      isFirst = true]() mutable {
            if (std::exchange(isFirst, false)) {
                whenAsked();
                whenReleased.wait();
                return zeb::ZebResponse(200, "{\"data\":[" + clampJson("Clamp15", true) + "]}");
            }
            return zeb::ZebResponse(200, "{\"data\":[" + clampJson("Clamp15", true, "next") + "]}");
        };
    }
    ~UnansweredRequest() { released_.set_value(); }
    UnansweredRequest(const UnansweredRequest&) = delete;
    UnansweredRequest& operator=(const UnansweredRequest&) = delete;

 private:
    std::promise<void> released_;
};

constexpr ClampControlAccess::TimeLimits kShortFindFirst{std::chrono::milliseconds(20),
                                                         std::chrono::seconds(5)};
constexpr ClampControlAccess::TimeLimits kShortFirstNotification{std::chrono::seconds(5),
                                                                 std::chrono::milliseconds(20)};
/// Longer than any test may take.
constexpr ClampControlAccess::TimeLimits kNoTimeLimits{std::chrono::hours(1), std::chrono::hours(1)};

TEST_F(ClampControlAccessTest, GivesUpARequestThatIsNotAnsweredInTime) {
    createConnected(kShortFindFirst);
    const UnansweredRequest unanswered(bus);
    EXPECT_EQ(sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15), "");
    EXPECT_THAT(logged(), ElementsAre(kError + std::string("GetClampControlUuid() request timeout")));
}

TEST_F(ClampControlAccessTest, IgnoresAnAnswerThatComesTooLate) {
    createConnected(kShortFindFirst);
    {
        const UnansweredRequest unanswered(bus);
        sut->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15);
        RecordingAraLog::reset();
    }
    // Both requests run on one executor, so the first has ended when the second is answered.
    auto patient = std::make_shared<ClampControlAccess>(bus.clientServices());
    patient->start();
    bus.connectService();
    EXPECT_EQ(patient->GetClampControlUuid(ClampcontrolService::CLAMP_TYPE::Clamp15), "next");
    EXPECT_THAT(logged(), ElementsAre(kInfo + std::string("Service Connected")));
}

/// How long `work` takes, measured by `Clock`. Compare it only with a time that `work` must wait at least, or
/// with one that it must never wait.
template <typename Clock>
typename Clock::duration durationOf(const std::function<void()>& work) {
    const auto begin = Clock::now();
    work();
    return Clock::now() - begin;
}

constexpr std::chrono::seconds kFiveSeconds{5};

// Waiting shows only that the limit is not shorter. These tests show that it is not longer.
TEST(ClampControlAccessTimeLimits, GiveAnAnswerFiveSeconds) {
    EXPECT_EQ(ClampControlAccess::TimeLimits().findFirst, kFiveSeconds);
}

TEST(ClampControlAccessTimeLimits, GiveTheFirstNotificationFiveSeconds) {
    EXPECT_EQ(ClampControlAccess::TimeLimits().firstNotification, kFiveSeconds);
}

TEST_F(ClampControlAccessTest, GivesUpAfterFiveSecondsWhenNobodyAnswers) {
    createConnected();
    const UnansweredRequest unanswered(bus);
    std::string uuid = "none";
    EXPECT_GE(durationOf<std::chrono::system_clock>([&] { uuid = sut->SubscribeClampControl(); }),
              kFiveSeconds);
    EXPECT_EQ(uuid, "");
    EXPECT_THAT(logged(), ElementsAre(kError + std::string("GetClampControlUuid() request timeout")));
    EXPECT_THAT(bus.subscriptions(), IsEmpty());
}

TEST_F(ClampControlAccessTest, WaitsForAnAnswerUntilATimeOfTheSystemClock) {
    createConnected();
    const UnansweredRequest unanswered(bus);
    // The kernel does the waiting and does not see the changed clock: to it the deadline has already passed.
    test_support::setSystemClock(std::chrono::hours(-1));
    const auto lasted = durationOf<std::chrono::steady_clock>([this] { sut->SubscribeClampControl(); });
    test_support::setSystemClock(std::chrono::seconds(0));
    EXPECT_LT(lasted, kFiveSeconds);
    EXPECT_THAT(logged(), ElementsAre(kError + std::string("GetClampControlUuid() request timeout")));
}

// ---------------------------------------------------------------------------------------- subscribing

TEST_F(ClampControlAccessTest, CannotSubscribeBeforeTheServiceHasConnected) {
    create();
    try {
        sut->SubscribeClampControl();
        FAIL() << "did not throw";
    } catch (const std::runtime_error& exception) {
        EXPECT_STREQ(exception.what(), "ClampControl client not ready");
    }
    EXPECT_THAT(logged(), ElementsAre(kError + std::string("Not ready")));
}

TEST_F(ClampControlAccessTest, LooksForClamp15AloneWhenItSubscribes) {
    createSubscribed();
    ASSERT_EQ(bus.requests().size(), 1U);
    EXPECT_THAT(bus.requests()[0].query, Contains(Pair("type", "Clamp15")));
}

TEST_F(ClampControlAccessTest, SubscribesToTheElementThatWasFound) {
    createSubscribed();
    ASSERT_EQ(bus.subscriptions().size(), 1U);
    EXPECT_EQ(bus.subscriptions()[0]->path, "/ClampControl/clamps/c15");
}

TEST_F(ClampControlAccessTest, LogsNothingButTheNotificationWhenSubscribingSucceeds) {
    createConnected();
    sut->SubscribeClampControl();
    EXPECT_THAT(logged(), ElementsAre(kInfo + std::string("Subscription Callback")));
}

TEST_F(ClampControlAccessTest, DoesNotSubscribeToAnElementWithoutId) {
    createConnected();
    bus.answer = [] { return zeb::ZebResponse(200, R"({"data":[{"type":"Clamp15"}]})"); };
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_THAT(bus.subscriptions(), IsEmpty());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ClampControlAccessTest, DoesNotSubscribeToAnElementWithAnEmptyIdAndSaysSo) {
    createConnected();
    bus.answer = [] { return zeb::ZebResponse(200, R"({"data":[{"id":"","type":"Clamp15"}]})"); };
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_THAT(bus.subscriptions(), IsEmpty());
    EXPECT_THAT(loggedByPlatform(),
                ElementsAre(HasSubstr("without a usable \"id\": expected a string, found an empty one")));
}

TEST_F(ClampControlAccessTest, DoesNotSubscribeToAnElementWhoseIdIsNoTextAndSaysSo) {
    createConnected();
    bus.answer = [] { return zeb::ZebResponse(200, R"({"data":[{"id":null,"type":"Clamp15"}]})"); };
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_THAT(loggedByPlatform(),
                ElementsAre(HasSubstr("without a usable \"id\": \"id\": expected a string, a "
                                      "number or a boolean, found null")));
}

TEST_F(ClampControlAccessTest, EndsTheLookUpWhenTheServiceIsLost) {
    createConnected(kNoTimeLimits);
    const UnansweredRequest unanswered(bus, [this] { bus.queueDisconnect(); });
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_THAT(
        logged(),
        ElementsAre(kInfo + std::string("Service disconnected"),
                    kError + std::string("GetClampControlUuid() ended early: the service disconnected")));
}

TEST_F(ClampControlAccessTest, EndsTheLookUpWhenTheClientIsDestroyed) {
    createConnected(kNoTimeLimits);
    const UnansweredRequest unanswered(bus, [this] { sut->DetachCallback(); });
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_THAT(
        logged(),
        ElementsAre(kError + std::string("GetClampControlUuid() ended early: the client was destroyed")));
}

TEST_F(ClampControlAccessTest, IgnoresTheAnswerToALookUpThatHasEnded) {
    createConnected(kNoTimeLimits);
    {
        const UnansweredRequest unanswered(bus, [this] { bus.queueDisconnect(); });
        sut->SubscribeClampControl();
    }
    bus.connectService();
    EXPECT_EQ(sut->SubscribeClampControl(), "next");
}

TEST_F(ClampControlAccessTest, AsksForNothingOnceTheClientWasStopped) {
    createConnected(kNoTimeLimits);
    sut->waitingCalls()->close("the client was stopped");
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_THAT(bus.requests(), IsEmpty());
    EXPECT_THAT(
        logged(),
        ElementsAre(kError + std::string("GetClampControlUuid() ended early: the client was stopped")));
}

TEST_F(ClampControlAccessTest, LogsASubscriptionThatIsRefused) {
    createConnected();
    bus.onSubscribe = [](const auto&) { throw std::runtime_error("not open"); };
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_THAT(logged(), ElementsAre(kError + std::string("Failed to Subscribe. Exception")));
}

TEST_F(ClampControlAccessTest, HoldsUpNoExecutorWhenASubscriptionIsNotifiedAndThenRefused) {
    createConnected();
    bus.onSubscribe = [this](const auto& subscribed) {
        bus.notify(subscribed, clampJson("Clamp15", true));
        throw std::runtime_error("not open");
    };
    sut->SubscribeClampControl();
    bus.settle();
    EXPECT_THAT(callback.take(), IsEmpty());
}

TEST_F(ClampControlAccessTest, HoldsTheFirstNotificationBackUntilTheSubscriptionIsThere) {
    createConnected();
    bus.onSubscribe = [this](const auto& subscribed) {
        bus.notify(subscribed, clampJson("Clamp15", true));
        while (logged().empty()) {  // until the handler has begun
            std::this_thread::yield();
        }
        callback.note("subscription returned");
    };
    sut->SubscribeClampControl();
    bus.settle();
    EXPECT_THAT(callback.take(), ElementsAre("subscription returned", "notification", "clamp15 true"));
}

TEST_F(ClampControlAccessTest, CanUnsubscribeInsideTheFirstNotification) {
    createConnected();
    callback.inNotification = [this] { sut->UnsubscribeClampControl("c15"); };
    sut->SubscribeClampControl();
    bus.settle();
    EXPECT_EQ(bus.subscriptions()[0]->unsubscribes, 1);
}

TEST_F(ClampControlAccessTest, GivesUpASubscriptionThatIsNotNotifiedInTime) {
    createConnected(kShortFirstNotification);
    bus.onSubscribe = [](const auto&) {};
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_THAT(logged(), ElementsAre(kError + std::string("Subscription timed out")));
}

TEST_F(ClampControlAccessTest, DropsASubscriptionThatTimedOut) {
    createConnected(kShortFirstNotification);
    bus.onSubscribe = [](const auto&) {};
    sut->SubscribeClampControl();
    EXPECT_TRUE(bus.subscriptions()[0]->released);
}

TEST_F(ClampControlAccessTest, LogsThatASubscriptionTimedOutThenDropsItThenDecidesItsOutcome) {
    createConnected(kShortFirstNotification);
    std::vector<std::string> before;
    bool isDecided = true;
    bus.onSubscribe = [&](const auto& subscribed) {
        subscribed->inRelease = [&, watched = std::weak_ptr<FakeBus::Subscribed>(subscribed)] {
            before = logged();
            bus.notify(watched.lock(), clampJson("Clamp15", true));
            // The handler ends when the outcome is decided. That must not happen before this function
            // returns.
            isDecided = bus.settlesWithin(std::chrono::milliseconds(100));
        };
    };
    sut->SubscribeClampControl();
    EXPECT_THAT(before, ElementsAre(kError + std::string("Subscription timed out")));
    EXPECT_FALSE(isDecided);
    bus.settle();
    EXPECT_THAT(callback.take(), IsEmpty());
}

TEST_F(ClampControlAccessTest, IgnoresANotificationAfterTheSubscriptionTimedOut) {
    createConnected(kShortFirstNotification);
    bus.onSubscribe = [](const auto&) {};
    sut->SubscribeClampControl();
    RecordingAraLog::reset();
    bus.notify(bus.subscriptions()[0], clampJson("Clamp15", true));
    bus.settle();
    EXPECT_THAT(callback.take(), IsEmpty());
    EXPECT_THAT(logged(), ElementsAre(kInfo + std::string("Subscription Callback")));
}

TEST_F(ClampControlAccessTest, GivesUpASubscriptionWhoseServiceIsLostWhileItWaits) {
    createConnected(kNoTimeLimits);
    bus.onSubscribe = [this](const auto&) { bus.queueDisconnect(); };
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_THAT(
        logged(),
        ElementsAre(kInfo + std::string("Service disconnected"),
                    kError + std::string("SubscribeClampControl() ended early: the service disconnected")));
}

TEST_F(ClampControlAccessTest, GivesUpASubscriptionWhoseClientIsStoppedWhileItWaits) {
    createConnected(kNoTimeLimits);
    bus.onSubscribe = [this](const auto&) { sut->waitingCalls()->close("the client was stopped"); };
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_TRUE(bus.subscriptions()[0]->released);
}

TEST_F(ClampControlAccessTest, CountsANotificationThatCameBeforeTheServiceWasLost) {
    createConnected(kNoTimeLimits);
    bus.onSubscribe = [this](const auto& subscribed) {
        bus.notify(subscribed, clampJson("Clamp15", true));
        bus.queueDisconnect();
    };
    EXPECT_EQ(sut->SubscribeClampControl(), "c15");
    bus.settle();
    EXPECT_THAT(callback.take(), ElementsAre("notification", "clamp15 true", "connection false"));
}

TEST_F(ClampControlAccessTest, HoldsUpNoExecutorWhenTheFirstNotificationComesAsTheClientIsStopped) {
    createConnected(kNoTimeLimits);
    bus.onSubscribe = [this](const auto& subscribed) {
        sut->waitingCalls()->close("the client was stopped");
        bus.notify(subscribed, clampJson("Clamp15", true));
        while (logged().empty()) {  // until the handler has begun
            std::this_thread::yield();
        }
    };
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    bus.settle();
    EXPECT_THAT(callback.take(), IsEmpty());
}

TEST_F(ClampControlAccessTest, HoldsUpNoExecutorWhenTheFirstNotificationComesAtTheTimeLimit) {
    createConnected({std::chrono::seconds(5), std::chrono::milliseconds(0)});
    bus.onSubscribe = [this](const auto& subscribed) {
        bus.notify(subscribed, clampJson("Clamp15", true));
        while (logged().empty()) {  // until the handler has begun
            std::this_thread::yield();
        }
    };
    const bool isRefused = sut->SubscribeClampControl().empty();
    bus.settle();
    EXPECT_EQ(callback.take().empty(), isRefused);
}

TEST_F(ClampControlAccessTest, WaitsFiveSecondsForTheFirstNotification) {
    createConnected();
    bus.onSubscribe = [](const auto&) {};
    EXPECT_GE(durationOf<std::chrono::steady_clock>([this] { sut->SubscribeClampControl(); }), kFiveSeconds);
}

TEST_F(ClampControlAccessTest, ASecondSubscribeReplacesTheFirstSubscription) {
    const auto first = createSubscribed();
    sut->SubscribeClampControl();
    EXPECT_TRUE(first->released);
    EXPECT_FALSE(bus.subscriptions().back()->released);
}

/// Whether notifications of the first subscription still reach the callback, and uuid "c15" still refers to
/// it.
void expectKept(FakeBus& bus, ClampControlAccess& sut, RecordingCallback& callback,
                const std::shared_ptr<FakeBus::Subscribed>& first) {
    EXPECT_FALSE(first->released);
    bus.notify(first, clampJson("Clamp15", false));
    bus.settle();
    EXPECT_THAT(callback.take(), ElementsAre("notification", "clamp15 false"));
    sut.UnsubscribeClampControl("c15");
    EXPECT_EQ(first->unsubscribes, 1);
}

TEST_F(ClampControlAccessTest, ASecondSubscribeThatFindsNoElementKeepsTheFirstSubscription) {
    const auto first = createSubscribed();
    bus.answer = [] { return zeb::ZebResponse(404, ""); };
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    expectKept(bus, *sut, callback, first);
}

TEST_F(ClampControlAccessTest, ASecondSubscribeThatIsRefusedKeepsTheFirstSubscription) {
    const auto first = createSubscribed();
    bus.onSubscribe = [](const auto&) { throw std::runtime_error("not open"); };
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    expectKept(bus, *sut, callback, first);
}

TEST_F(ClampControlAccessTest, ASecondSubscribeThatTimesOutKeepsNeitherSubscription) {
    const auto first = createSubscribed({std::chrono::seconds(5), std::chrono::seconds(1)});
    bus.onSubscribe = [](const auto&) {};
    EXPECT_EQ(sut->SubscribeClampControl(), "");
    EXPECT_TRUE(first->released);
    EXPECT_TRUE(bus.subscriptions().back()->released);
}

/// Subscribes on two threads at once. The first subscription is not notified before the second replaces it.
class TwoThreads : public ClampControlAccessTest {
 protected:
    void subscribe(const std::function<void(const std::shared_ptr<FakeBus::Subscribed>&)>& onSecond) {
        std::promise<void> firstMade;
        bus.onSubscribe = [&, isFirst = true](const std::shared_ptr<FakeBus::Subscribed>& made) mutable {
            if (std::exchange(isFirst, false)) {
                firstMade.set_value();
            } else {
                onSecond(made);
            }
        };
        auto other = std::async(std::launch::async, [this] { return sut->SubscribeClampControl(); });
        firstMade.get_future().wait();
        second = sut->SubscribeClampControl();
        first = other.get();
    }

    std::string first;
    std::string second;
};

TEST_F(TwoThreads, ThatSubscribeAtOnceBothGetTheAnswerOfTheSubscriptionThatStays) {
    createConnected({std::chrono::seconds(60), std::chrono::seconds(60)});
    const auto begin = std::chrono::steady_clock::now();
    subscribe([this](const auto& made) { bus.notify(made, clampJson("Clamp15", true)); });
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    EXPECT_THAT(std::vector({first, second}), ElementsAre("c15", "c15"));
    EXPECT_FALSE(bus.subscriptions().back()->released);
}

TEST_F(TwoThreads, ThatSubscribeAtOnceAreBothRefusedIfTheSubscriptionThatStayedIs) {
    createConnected({std::chrono::seconds(5), std::chrono::seconds(1)});
    subscribe([](const auto&) {});
    EXPECT_THAT(std::vector({first, second}), ElementsAre("", ""));
    EXPECT_TRUE(bus.subscriptions().back()->released);
}

TEST_F(TwoThreads, ThatSubscribeAtOnceAreToldEachNotificationOnce) {
    createConnected();
    subscribe([this](const auto& made) { bus.notify(made, clampJson("Clamp15", true)); });
    bus.settle();
    EXPECT_THAT(callback.take(), ElementsAre("notification", "clamp15 true"));
}

// ---------------------------------------------------------------------------------------- notifications

TEST_F(ClampControlAccessTest, TellsEachNotificationOfClamp15AndItsState) {
    const auto subscribed = createSubscribed();
    bus.notify(subscribed, clampJson("Clamp15", false));
    bus.notify(subscribed, clampJson("Clamp15", true));
    bus.notify(subscribed, clampJson("Clamp15", true));
    bus.settle();
    EXPECT_THAT(callback.take(), ElementsAre("notification", "clamp15 false", "notification", "clamp15 true",
                                             "notification", "clamp15 true"));
}

TEST_F(ClampControlAccessTest, LogsEachNotification) {
    const auto subscribed = createSubscribed();
    bus.notify(subscribed, clampJson("Clamp15", false));
    bus.notify(subscribed, clampJson("ClampS", false));
    bus.settle();
    EXPECT_THAT(logged(), ElementsAre(kInfo + std::string("Subscription Callback"),
                                      kInfo + std::string("Subscription Callback")));
}

TEST_F(ClampControlAccessTest, TellsNoStateOfAnotherClamp) {
    const auto subscribed = createSubscribed();
    bus.notify(subscribed, clampJson("ClampS", true));
    bus.settle();
    EXPECT_THAT(callback.take(), ElementsAre("notification"));
}

TEST_F(ClampControlAccessTest, TellsNothingOfANotificationWithoutClamp) {
    const auto subscribed = createSubscribed();
    bus.notify(subscribed, "null");
    bus.settle();
    EXPECT_THAT(callback.take(), IsEmpty());
}

TEST_F(ClampControlAccessTest, LogsANotificationThatNobodyIsToldOf) {
    const auto subscribed = createSubscribed();
    sut->AssignCallback(nullptr);
    bus.notify(subscribed, clampJson("Clamp15", true));
    bus.settle();
    EXPECT_THAT(logged(),
                ElementsAre(kInfo + std::string("Subscription Callback"),
                            kError + std::string("Element Subscription notification failed, nullptr error")));
}

TEST_F(ClampControlAccessTest, RefusesANotificationWithoutType) {
    const auto subscribed = createSubscribed();
    bus.notify(subscribed, R"({"id":"c15","isSwitchedOn":true})");
    bus.settle();
    EXPECT_THAT(callback.take(), IsEmpty());
    EXPECT_THAT(loggedByPlatform(), ElementsAre(HasSubstr("getValue called on uninitialized Optional")));
}

TEST_F(ClampControlAccessTest, RefusesTheStateOfANotificationThatHasNone) {
    const auto subscribed = createSubscribed();
    bus.notify(subscribed, R"({"id":"c15","type":"Clamp15"})");
    bus.settle();
    EXPECT_THAT(callback.take(), ElementsAre("notification"));
    EXPECT_THAT(loggedByPlatform(), ElementsAre(HasSubstr("getValue called on uninitialized Optional")));
}

TEST_F(ClampControlAccessTest, SaysWhatANotificationHasInPlaceOfAUsableType) {
    const auto subscribed = createSubscribed();
    bus.notify(subscribed, R"({"id":"c15","isSwitchedOn":true,"type":{}})");
    bus.settle();
    EXPECT_THAT(logged(),
                Contains(kWarning + std::string(R"(notification without a usable "type": found an object; )"
                                                R"(expected "Clamp15", "ClampS" or "Clamp75_X")")));
}

TEST_F(ClampControlAccessTest, SaysWhatInANotificationHidesTheType) {
    const auto subscribed = createSubscribed();
    bus.notify(subscribed, R"({"id":{},"isSwitchedOn":true,"type":"Clamp15"})");
    bus.settle();
    EXPECT_THAT(logged(),
                Contains(kWarning +
                         std::string("notification without a usable \"type\": "
                                     "\"id\": expected a string, a number or a boolean, found an object")));
}

TEST_F(ClampControlAccessTest, SaysThatANotificationHasNoState) {
    const auto subscribed = createSubscribed();
    bus.notify(subscribed, R"({"id":"c15","type":"Clamp15"})");
    bus.settle();
    EXPECT_THAT(logged(), Contains(kWarning + std::string("notification without a usable \"isSwitchedOn\": "
                                                          "found nothing; expected true or false")));
}

TEST_F(ClampControlAccessTest, SaysOfAFloodOfUnusableNotificationsLittle) {
    const auto subscribed = createSubscribed();
    for (int notification = 0; notification < 1'000; ++notification) {
        bus.notify(subscribed, R"({"id":"c15","type":"x)" + std::to_string(notification) + "\"}");
    }
    bus.settle();
    const auto lines = logged();
    EXPECT_LT(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) { return line.rfind(kWarning, 0) == 0; }),
              50);
}

// ---------------------------------------------------------------------------------------- unsubscribing

TEST_F(ClampControlAccessTest, UnsubscribesTheSubscribedElement) {
    const auto subscribed = createSubscribed();
    sut->UnsubscribeClampControl("c15");
    EXPECT_EQ(subscribed->unsubscribes, 1);
    EXPECT_THAT(logged(), ElementsAre(kInfo + std::string("Unsubscribed uuid = c15")));
}

TEST_F(ClampControlAccessTest, DoesNothingForAnotherUuid) {
    const auto subscribed = createSubscribed();
    sut->UnsubscribeClampControl("c1");
    EXPECT_EQ(subscribed->unsubscribes, 0);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ClampControlAccessTest, DoesNothingWithoutASubscription) {
    createConnected();
    sut->UnsubscribeClampControl("");
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ClampControlAccessTest, UnsubscribesAndLogsAgainWhenItIsToldToAgain) {
    const auto subscribed = createSubscribed();
    sut->UnsubscribeClampControl("c15");
    sut->UnsubscribeClampControl("c15");
    EXPECT_EQ(subscribed->unsubscribes, 2);
    EXPECT_THAT(logged(), ElementsAre(kInfo + std::string("Unsubscribed uuid = c15"),
                                      kInfo + std::string("Unsubscribed uuid = c15")));
}

TEST_F(ClampControlAccessTest, KeepsTheSubscriptionThatItUnsubscribed) {
    const auto subscribed = createSubscribed();
    sut->UnsubscribeClampControl("c15");
    EXPECT_FALSE(subscribed->released);
}

TEST_F(ClampControlAccessTest, TellsNothingMoreOnceItHasUnsubscribed) {
    const auto subscribed = createSubscribed();
    callback.inNotification = [this] {
        std::async(std::launch::async, [this] { sut->UnsubscribeClampControl("c15"); }).wait();
    };
    bus.notify(subscribed, clampJson("Clamp15", true));
    bus.settle();
    EXPECT_THAT(callback.take(), ElementsAre("notification"));
}

// ---------------------------------------------------------------------------------------- inside a callback

struct Hook {
    const char* name;
    std::function<void()> RecordingCallback::*member;
};

void PrintTo(const Hook& hook, std::ostream* stream) {
    *stream << hook.name;
}

class ClampControlAccessInsideACallback : public ClampControlAccessTest,
                                          public testing::WithParamInterface<Hook> {
 protected:
    /// Does `work` once, inside the callback of this test.
    void doInside(const std::function<void()>& work) {
        const auto subscribed = createSubscribed();
        callback.*GetParam().member = [work, isFirst = true]() mutable {
            if (std::exchange(isFirst, false)) {
                work();
            }
        };
        bus.notify(subscribed, clampJson("Clamp15", true));
        bus.disconnectService();
    }
};

INSTANTIATE_TEST_SUITE_P(AllCallbacks, ClampControlAccessInsideACallback,
                         testing::Values(Hook{"OnConnectionStateChanged", &RecordingCallback::inConnection},
                                         Hook{"OnClampNotification", &RecordingCallback::inNotification},
                                         Hook{"OnClampStateChanged", &RecordingCallback::inClamp}),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(ClampControlAccessInsideACallback, SubscribingIsRefused) {
    std::string uuid = "none";
    doInside([&] { uuid = sut->SubscribeClampControl(); });
    EXPECT_EQ(uuid, "");
    EXPECT_THAT(logged(), testing::Contains(
                              kError + std::string("SubscribeClampControl called from inside a callback")));
}

TEST_P(ClampControlAccessInsideACallback, UnsubscribingEndsTheNotifications) {
    doInside([&] {
        sut->UnsubscribeClampControl("c15");
        callback.take();
    });
    bus.notify(bus.subscriptions()[0], clampJson("Clamp15", true));
    bus.settle();
    EXPECT_THAT(callback.take(), testing::AnyOf(IsEmpty(), ElementsAre("connection false")));
}

TEST_P(ClampControlAccessInsideACallback, DestroyingTheClientEndsAllCalls) {
    doInside([&] {
        destroy();
        callback.take();
    });
    EXPECT_THAT(callback.take(), IsEmpty());
}

TEST_P(ClampControlAccessInsideACallback, ThrowingIsLoggedAndStopsNothing) {
    doInside([] { throw std::runtime_error("of the application"); });
    EXPECT_THAT(loggedByPlatform(), ElementsAre(HasSubstr("of the application")));
    EXPECT_THAT(callback.take(), testing::Contains("connection false"));
}

TEST_F(ClampControlAccessTest, AnExceptionOutOfANotificationLeavesOutTheStateOfThatNotificationAlone) {
    const auto subscribed = createSubscribed();
    callback.inNotification = [isFirst = true]() mutable {
        if (std::exchange(isFirst, false)) {
            throw std::runtime_error("of the application");
        }
    };
    bus.notify(subscribed, clampJson("Clamp15", false));
    bus.notify(subscribed, clampJson("Clamp15", true));
    bus.settle();
    EXPECT_THAT(callback.take(), ElementsAre("notification", "notification", "clamp15 true"));
}

TEST_F(ClampControlAccessTest, SubscribesOnAThreadThatWasStartedInsideACallback) {
    const auto subscribed = createSubscribed();
    std::future<std::string> uuid;
    callback.inClamp = [this, &uuid, isFirst = true]() mutable {
        if (std::exchange(isFirst, false)) {
            uuid = std::async(std::launch::async, [this] { return sut->SubscribeClampControl(); });
        }
    };
    bus.notify(subscribed, clampJson("Clamp15", true));
    bus.settle();
    EXPECT_EQ(uuid.get(), "c15");
}

// ---------------------------------------------------------------------------------------- the end

TEST_F(ClampControlAccessTest, IsNotCalledAnyMoreOnceItWasDestroyed) {
    const auto subscribed = createSubscribed();
    destroy();
    bus.notify(subscribed, clampJson("Clamp15", true));
    bus.tellError(std::runtime_error("unheard"));
    bus.disconnectService();
    bus.connectService();
    EXPECT_THAT(callback.take(), IsEmpty());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ClampControlAccessTest, ReleasesItsSubscriptionWhenItIsDestroyed) {
    const auto subscribed = createSubscribed();
    destroy();
    EXPECT_TRUE(subscribed->released);
}

TEST_F(ClampControlAccessTest, IsDestroyedOnlyAfterARunningCallback) {
    const auto subscribed = createSubscribed();
    std::promise<void> begun;
    callback.inNotification = [&] {
        begun.set_value();
        std::this_thread::yield();
        callback.note("callback ended");
    };
    bus.notify(subscribed, clampJson("ClampS", true));
    begun.get_future().wait();
    destroy();
    callback.note("destroyed");
    bus.settle();
    EXPECT_THAT(callback.take(), ElementsAre("notification", "callback ended", "destroyed"));
}

TEST_F(ClampControlAccessTest, MayBeDestroyedWhileItSubscribes) {
    createConnected(kShortFirstNotification);
    bus.onSubscribe = [this](const auto&) { destroy(); };
    std::weak_ptr<ClampControlAccess> observed = sut;
    auto* const subscriber = sut.get();
    EXPECT_EQ(subscriber->SubscribeClampControl(), "");
    EXPECT_TRUE(observed.expired());
}

}  // namespace
