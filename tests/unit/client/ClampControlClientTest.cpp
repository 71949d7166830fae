// The clients of one process share one client-service base, so every test runs in a child process. The
// platform's objects are fakes that print what is done with them.

#include <ChildProcess.h>
#include <FakePlatform.h>
#include <RecordingAraLog.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelo-client/ClientServiceBase.h>
#include <unistd.h>
#include <zeb/IWebsocketManager.h>
#include <zeb/Service.h>
#include <zeb/Subscription.h>
#include <zeb/ZebAccessor.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

#include "RecordingCallback.h"

namespace {

using clampcontrolclient::ClampControlClient;
using test_support::RecordingAraLog;
using test_support::RecordingCallback;
using test_support::runInChild;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

void say(const std::string& text) {
    std::puts(text.c_str());
}

void sayLog() {
    for (const auto& record : RecordingAraLog::records()) {
        say("log: " + std::to_string(static_cast<int>(record.level)) + " " + record.text);
    }
}

/// What `work` prints after the line "---" in a child process, without the output of the exit.
std::string saidBy(const std::function<void()>& work) {
    const auto result = runInChild([&work] {
        csc_logging::CSCLogging::CreateLogger("test");
        work();
        say("===");
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    const auto begin = result.output.find("---\n");
    const auto end = result.output.find("===\n");
    return begin == std::string::npos ? "no mark" : result.output.substr(begin + 4, end - begin - 4);
}

void mark() {
    RecordingAraLog::reset();
    say("---");
}

void failConstruction() {
    fake_platform::whenRegistryIsMade([] { throw std::runtime_error("no registry"); });
}

constexpr auto kClamp = R"({"id":"c15","type":"Clamp15","isSwitchedOn":true})";

class SayingSubscription : public zeb::Subscription {
 public:
    ~SayingSubscription() override { say("subscription: released"); }
    std::string getUuidOfElement() const override { return "c15"; }
    void unsubscribe() override { say("subscription: unsubscribe"); }
};

/// Notifies each subscription once, on another thread.
class SayingWebsocket : public zeb::IWebsocketManager {
 public:
    std::shared_ptr<zeb::Subscription> subscribe(const std::string& /*path*/, const std::string& /*uuid*/,
                                                 DataHandler handler, EndedHandler /*ended*/) override {
        notification_ = std::async(std::launch::async, [handler = std::move(handler)] { handler(kClamp); });
        return std::make_shared<SayingSubscription>();
    }
    void unsubscribeFromAll() override {}
    void close(const std::string& /*reason*/) override {}
    void stop() override {}

    void awaitEndOfNotification() { notification_.get(); }

 private:
    std::future<void> notification_;
};

void connectService(std::shared_ptr<SayingWebsocket> websocket = std::make_shared<SayingWebsocket>()) {
    auto& listener = fake_platform::lastListener();
    listener.connected(listener.createService(
        std::make_shared<zeb::ZebAccessor>(nullptr, nullptr, nullptr, nullptr), std::move(websocket)));
}

/// A client that has reported its first notification to `callback`.
std::unique_ptr<ClampControlClient> subscribedClient(RecordingCallback& callback) {
    fake_platform::whenFindFirst([](const auto& request) { request.success(kClamp); });
    auto client = std::make_unique<ClampControlClient>();
    client->AssignCallback(&callback);
    client->Start();
    const auto websocket = std::make_shared<SayingWebsocket>();
    connectService(websocket);
    say("subscribed " + client->SubscribeClampControl());
    websocket->awaitEndOfNotification();
    return client;
}

// ---------------------------------------------------------------------------------------- construction

TEST(ClampControlClient, DoesNotFollowTheServiceBeforeItIsStarted) {
    EXPECT_THAT(saidBy([] {
                    mark();
                    const ClampControlClient sut;
                }),
                Not(HasSubstr("follow")));
}

TEST(ClampControlClient, LogsTheExceptionThatItsConstructionFailedWith) {
    EXPECT_THAT(saidBy([] {
                    failConstruction();
                    mark();
                    const ClampControlClient sut;
                    sayLog();
                }),
                EndsWith("log: 2  Exception: no registry\n"));
}

TEST(ClampControlClient, LogsAnUnknownExceptionThatItsConstructionFailedWith) {
    EXPECT_THAT(saidBy([] {
                    fake_platform::whenRegistryIsMade([] { throw 1; });
                    mark();
                    const ClampControlClient sut;
                    sayLog();
                }),
                EndsWith("log: 2 Unknown exception \n"));
}

TEST(ClampControlClient, DoesNothingWhenItIsStartedAfterItsConstructionFailed) {
    EXPECT_EQ(saidBy([] {
                  failConstruction();
                  ClampControlClient sut;
                  mark();
                  sut.Start();
                  sayLog();
              }),
              "");
}

TEST(ClampControlClient, DoesNothingWhenItIsStoppedAfterItsConstructionFailed) {
    EXPECT_EQ(saidBy([] {
                  failConstruction();
                  ClampControlClient sut;
                  mark();
                  sut.Stop();
                  sayLog();
              }),
              "");
}

TEST(ClampControlClient, SharesItsBaseWithALaterClient) {
    EXPECT_EQ(saidBy([] {
                  const ClampControlClient first;
                  mark();
                  const ClampControlClient sut;
                  sayLog();
              }),
              "client services: made for \"ClampControl client\"\n");
}

TEST(ClampControlClient, DescribesItselfToThePlatform) {
    EXPECT_THAT(saidBy([] {
                    mark();
                    const ClampControlClient sut;
                }),
                EndsWith("element registry: made\n"
                         "client services: made for \"ClampControl client\"\n"));
}

TEST(ClampControlClient, IsNotReadyAfterItsConstructionFailed) {
    EXPECT_EQ(saidBy([] {
                  failConstruction();
                  ClampControlClient sut;
                  mark();
                  try {
                      sut.SubscribeClampControl();
                  } catch (const std::runtime_error& exception) {
                      say(std::string("threw ") + exception.what());
                  }
                  sayLog();
              }),
              "threw ClampControl client not ready\n"
              "log: 2 Clamp Control Client: Not ready\n");
}

TEST(ClampControlClient, IsNotReadyForACallbackWhenItsConstructionFailed) {
    EXPECT_EQ(saidBy([] {
                  failConstruction();
                  ClampControlClient sut;
                  mark();
                  sut.AssignCallback(nullptr);
                  sayLog();
              }),
              "log: 2 Clamp Control Client: Not ready\n");
}

TEST(ClampControlClient, IsNotReadyToUnsubscribeWhenItsConstructionFailed) {
    EXPECT_EQ(saidBy([] {
                  failConstruction();
                  ClampControlClient sut;
                  mark();
                  sut.UnsubscribeClampControl("c15");
                  sayLog();
              }),
              "log: 2 Clamp Control Client: Not ready\n");
}

TEST(ClampControlClient, SaysAtOnceThatTheClientsOfTheProcessWereStopped) {
    EXPECT_THAT(
        saidBy([] {
            ClampControlClient().Stop();
            mark();
            const ClampControlClient sut;
            sayLog();
        }),
        HasSubstr("log: 2 Clamp Control Client: this process has stopped its clients, so a new one does "
                  "nothing; start the process again\n"));
}

// ---------------------------------------------------------------------------------------- forked processes

/// How a process ends, and what it prints, that was forked after a client had subscribed, and then does
/// `work` and exits.
std::string saidInForkedChildBy(const std::function<void(std::unique_ptr<ClampControlClient>&)>& work) {
    return saidBy([&work] {
        RecordingCallback callback;
        auto sut = subscribedClient(callback);
        const auto result = runInChild([&work, &sut] {
            RecordingAraLog::reset();
            ::alarm(20);  // ends a child that hangs
            work(sut);
        });
        sut.reset();
        mark();
        say("signal " + std::to_string(result.signal));
        say(result.output);
    });
}

TEST(ClampControlClientInAForkedChild, IsNotTornDownAtExit) {
    EXPECT_EQ(saidInForkedChildBy([](auto&) {}), "signal 0\n\n");
}

TEST(ClampControlClientInAForkedChild, StopsNothing) {
    EXPECT_EQ(saidInForkedChildBy([](auto& sut) { sut->Stop(); }), "signal 0\n\n");
}

TEST(ClampControlClientInAForkedChild, ReleasesNothingWhenItIsDestroyed) {
    EXPECT_EQ(saidInForkedChildBy([](auto& sut) { sut.reset(); }), "signal 0\n\n");
}

TEST(ClampControlClientInAForkedChild, IsNotReady) {
    EXPECT_EQ(saidInForkedChildBy([](auto& sut) {
                  try {
                      sut->SubscribeClampControl();
                  } catch (const std::runtime_error& exception) {
                      say(exception.what());
                  }
                  sut->UnsubscribeClampControl("c15");
                  sut->Start();
                  sayLog();
              }),
              "signal 0\n"
              "ClampControl client not ready\n"
              "log: 2 Clamp Control Client: Not ready\n\n");
}

TEST(ClampControlClientInAForkedChild, CannotBeMade) {
    EXPECT_EQ(saidInForkedChildBy([](auto&) {
                  const ClampControlClient another;
                  sayLog();
              }),
              "signal 0\n"
              "log: 2  Exception: the client service base was made before the process was forked, and its "
              "threads did not come along\n\n");
}

TEST(ClampControlClientInAForkedChild, CanBeMadeIfTheParentHasMadeNone) {
    EXPECT_THAT(saidBy([] {
                    kelo_client::ClientServiceBase::getInstance();
                    const auto result = runInChild([] {
                        ClampControlClient sut;
                        sut.Start();
                    });
                    mark();
                    say(result.output);
                }),
                HasSubstr("service registry: follow ClampControl\n"));
}

// ---------------------------------------------------------------------------------------- operations

TEST(ClampControlClient, FollowsTheServiceOnceItIsStarted) {
    EXPECT_EQ(saidBy([] {
                  ClampControlClient sut;
                  mark();
                  sut.Start();
              }),
              "service registry: follow ClampControl\n");
}

TEST(ClampControlClient, TellsItsCallbackThatTheServiceConnected) {
    EXPECT_EQ(saidBy([] {
                  RecordingCallback callback;
                  ClampControlClient sut;
                  sut.AssignCallback(&callback);
                  sut.Start();
                  mark();
                  connectService();
                  for (const auto& event : callback.take()) {
                      say(event);
                  }
              }),
              "connection true\n");
}

TEST(ClampControlClient, CannotSubscribeBeforeTheServiceHasConnected) {
    EXPECT_EQ(saidBy([] {
                  ClampControlClient sut;
                  sut.Start();
                  mark();
                  try {
                      sut.SubscribeClampControl();
                  } catch (const std::runtime_error& exception) {
                      say(std::string("threw ") + exception.what());
                  }
              }),
              "threw ClampControl client not ready\n");
}

TEST(ClampControlClient, SubscribesToTheElementThatIsFound) {
    EXPECT_THAT(saidBy([] {
                    RecordingCallback callback;
                    mark();
                    const auto sut = subscribedClient(callback);
                }),
                HasSubstr("subscribed c15\n"));
}

TEST(ClampControlClient, LogsNothingOfAnErrorWithoutResponse) {
    EXPECT_EQ(saidBy([] {
                  fake_platform::whenFindFirst([](const auto& request) { request.error(nullptr); });
                  ClampControlClient sut;
                  sut.Start();
                  connectService();
                  mark();
                  say("subscribed \"" + sut.SubscribeClampControl() + "\"");
                  sayLog();
              }),
              "subscribed \"\"\n");
}

TEST(ClampControlClient, DoesNothingWhenItIsToUnsubscribeWhatItNeverSubscribed) {
    EXPECT_EQ(saidBy([] {
                  ClampControlClient sut;
                  mark();
                  sut.UnsubscribeClampControl("c15");
                  sayLog();
              }),
              "");
}

// ---------------------------------------------------------------------------------------- the end

const std::string kStopped =
    "element registry: unsubscribeFromAll\n"
    "zebExecutor: stop\n"
    "httpExecutor: stop\n"
    "service registry: stop\n"
    "WebSocket manager factory: stopAndClearAll\n"
    "WebSocket manager factory: removeClient ClampControl\n";

TEST(ClampControlClient, TakesTheBaseDownInOrderWhenItIsStopped) {
    EXPECT_EQ(saidBy([] {
                  ClampControlClient sut;
                  sut.Start();
                  mark();
                  sut.Stop();
              }),
              kStopped);
}

/// A connected client, in an object.
std::unique_ptr<ClampControlClient> connectedClient() {
    auto client = std::make_unique<ClampControlClient>();
    client->Start();
    connectService();
    return client;
}

constexpr auto kEndedByStop =
    "subscribed \"\"\n"
    "log: 2 Clamp Control Client: GetClampControlUuid() ended early: the client was stopped\n";

TEST(ClampControlClient, EndsASubscribeWhenItIsStopped) {
    EXPECT_THAT(saidBy([] {
                    const auto sut = connectedClient();
                    fake_platform::whenFindFirst([&sut](const auto&) { sut->Stop(); });
                    mark();
                    say("subscribed \"" + sut->SubscribeClampControl() + "\"");
                    sayLog();
                }),
                EndsWith(kEndedByStop));
}

TEST(ClampControlClient, EndsASubscribeWhenAnotherClientIsStopped) {
    EXPECT_THAT(saidBy([] {
                    ClampControlClient other;
                    const auto sut = connectedClient();
                    fake_platform::whenFindFirst([&other](const auto&) { other.Stop(); });
                    mark();
                    say("subscribed \"" + sut->SubscribeClampControl() + "\"");
                    sayLog();
                }),
                EndsWith(kEndedByStop));
}

TEST(ClampControlClient, FailsToSubscribeAtOnceAfterItWasStopped) {
    EXPECT_EQ(saidBy([] {
                  const auto sut = connectedClient();
                  sut->Stop();
                  fake_platform::whenFindFirst([](const auto&) { say("asked"); });
                  mark();
                  say("subscribed \"" + sut->SubscribeClampControl() + "\"");
                  sayLog();
              }),
              kEndedByStop);
}

TEST(ClampControlClient, CanBeStoppedWithoutAStart) {
    EXPECT_EQ(saidBy([] {
                  ClampControlClient sut;
                  mark();
                  sut.Stop();
              }),
              kStopped);
}

TEST(ClampControlClient, CallsNobodyOnceItWasStoppedInsideACallback) {
    EXPECT_THAT(saidBy([] {
                    RecordingCallback callback;
                    ClampControlClient sut;
                    callback.inConnection = [&sut] { sut.Stop(); };
                    sut.AssignCallback(&callback);
                    sut.Start();
                    connectService();
                    callback.take();
                    mark();
                    fake_platform::lastListener().disconnected();
                    for (const auto& event : callback.take()) {
                        say(event);
                    }
                }),
                "");
}

TEST(ClampControlClient, KeepsItsSubscriptionWhenItIsStopped) {
    EXPECT_EQ(saidBy([] {
                  RecordingCallback callback;
                  auto sut = subscribedClient(callback);
                  mark();
                  sut->Stop();
                  say("returned");
                  sut.reset();
              }),
              kStopped + "returned\nsubscription: released\n");
}

TEST(ClampControlClient, KeepsNothingOfTheConnectionWhenItIsStopped) {
    EXPECT_THAT(saidBy([] {
                    ClampControlClient sut;
                    sut.Start();
                    auto websocket = std::make_shared<SayingWebsocket>();
                    const std::weak_ptr<SayingWebsocket> connection = websocket;
                    connectService(std::move(websocket));
                    mark();
                    sut.Stop();
                    say(connection.expired() ? "released" : "kept");
                }),
                EndsWith("removeClient ClampControl\nreleased\n"));
}

TEST(ClampControlClient, IsNotReadyWhenItIsStoppedAndTheServiceIsLost) {
    EXPECT_THAT(saidBy([] {
                    const auto sut = connectedClient();
                    sut->Stop();
                    fake_platform::lastListener().disconnected();
                    mark();
                    try {
                        sut->SubscribeClampControl();
                    } catch (const std::runtime_error& exception) {
                        say(exception.what());
                    }
                }),
                "ClampControl client not ready\n");
}

TEST(ClampControlClient, KeepsItsListenerWhenItIsStopped) {
    EXPECT_EQ(saidBy([] {
                  RecordingCallback callback;
                  const auto sut = subscribedClient(callback);
                  sut->Stop();
                  mark();
                  fake_platform::lastListener().disconnected();
                  sayLog();
              }),
              "subscription: released\n"
              "log: 4 Clamp Control Client: Service disconnected\n");
}

TEST(ClampControlClient, StopsNothingWhenItIsDestroyedWithoutStop) {
    EXPECT_EQ(saidBy([] {
                  std::optional<ClampControlClient> sut(std::in_place);
                  sut->Start();
                  mark();
                  sut.reset();
              }),
              "");
}

TEST(ClampControlClient, ReleasesTheBaseWhenItIsDestroyedWithoutStop) {
    EXPECT_EQ(saidBy([] {
                  std::optional<ClampControlClient> sut(std::in_place);
                  sut->Start();
                  const auto base = kelo_client::ClientServiceBase::getInstance();
                  mark();
                  say("held by " + std::to_string(base.use_count()));
                  sut.reset();
                  say("held by " + std::to_string(base.use_count()));
              }),
              "held by 3\nheld by 2\n");  // by the process and this test; before that also by the client
}

TEST(ClampControlClient, LeavesTheBaseToBeDestroyedAtExitWhenItIsDestroyedWithoutStop) {
    const auto result = runInChild([] {
        std::optional<ClampControlClient> sut(std::in_place);
        sut->Start();
        fake_platform::takeRegistryArguments();
        sut.reset();
        say("---");
    });
    EXPECT_THAT(result.output, EndsWith("---\n"
                                        "element registry: unsubscribeFromAll\n"
                                        "zebExecutor: stop\n"
                                        "httpExecutor: stop\n"
                                        "service registry: stop\n"
                                        "WebSocket manager factory: stopAndClearAll\n"
                                        "element registry: destroyed\n"
                                        "service registry: destroyed\n"
                                        "httpExecutor: destroyed\n"
                                        "zebExecutor: destroyed\n"
                                        "WebSocket manager factory: destroyed\n"));
}

TEST(ClampControlClient, IsNotCalledAnyMoreOnceItWasDestroyedWithoutStop) {
    EXPECT_EQ(saidBy([] {
                  RecordingCallback callback;
                  std::optional<ClampControlClient> sut(std::in_place);
                  sut->AssignCallback(&callback);
                  sut->Start();
                  sut.reset();
                  mark();
                  connectService();
                  fake_platform::lastListener().disconnected();
                  fake_platform::lastListener().error(std::exception());
                  for (const auto& event : callback.take()) {
                      say(event);
                  }
                  sayLog();
              }),
              "");
}

TEST(ClampControlClient, LeavesTheBaseToAnotherClientWhenItIsDestroyed) {
    EXPECT_EQ(saidBy([] {
                  std::optional<ClampControlClient> sut(std::in_place);
                  ClampControlClient other;
                  sut.reset();
                  mark();
                  other.Start();
              }),
              "service registry: follow ClampControl\n");
}

}  // namespace
