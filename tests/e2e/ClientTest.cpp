#include <csc_logging/CSCLogging.h>
#include <kelo-client/ClientServiceBase.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "ClientFixture.h"
#include "DltDaemon.h"
#include "NoDescriptors.h"
#include "TestBuild.h"

namespace {

using e2e::kLimit;
using namespace std::chrono_literals;
using clampcontrolclient::ClampControlClient;

// For the test of a process that ends without destroying its client.
ClampControlClient* survivingClient = nullptr;
e2e::Application& survivingApplication = *new e2e::Application();

class Client : public e2e::ClientFixture {};

/// The client is made and started without the descriptor that its configuration needs.
class ClientWithoutDescriptors : public e2e::ClientFixture {
 protected:
    void SetUp() override {
        if (test_support::kSanitizerNeedsDescriptors) {
            GTEST_SKIP() << "the sanitizer needs descriptors";
        }
        csc_logging::CSCLogging::LogInfo("The log has its descriptors.");
        writeConfiguration(staticConfiguration());
        none_.emplace();
        client = std::make_unique<ClampControlClient>();
        client->AssignCallback(&application);
        client->Start();
    }

    void giveDescriptors() { none_.reset(); }

 private:
    std::optional<test_support::NoDescriptors> none_;
};

// There is no event for a thread that has gone to sleep, so this polls the kernel.
void waitUntilAsleep(pid_t thread) {
    std::string status;
    do {
        std::this_thread::yield();
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::getline(file, status);
    } while (status.find(") S ") == std::string::npos);
}

TEST_F(Client, TellsThatTheServiceIsConnected) {
    startClient();
    EXPECT_EQ(application.next(), "connected");
}

TEST_F(Client, AnswersASubscribeWithTheUuidOfClamp15) {
    connectClient();
    EXPECT_EQ(client->SubscribeClampControl(), "1");
}

TEST_F(Client, TellsTheStateThatTheClampHasWhenItSubscribes) {
    setClamp15(true);
    connectClient();
    client->SubscribeClampControl();
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "on");
}

TEST_F(Client, TellsEveryChangeOfTheClampInOrder) {
    subscribeClient();
    for (int round = 0; round < 200; ++round) {
        setClamp15(true);
        setClamp15(false);
    }
    for (int round = 0; round < 200; ++round) {
        for (const char* word : {"notification", "on", "notification", "off"}) {
            ASSERT_EQ(application.next(), word) << "round " << round;
        }
    }
}

TEST_F(Client, CallsTheApplicationOnTheThreadZebExecutor) {
    std::array<char, 16> name{};
    std::promise<void> isTold;
    application.react([&](const std::string&) {
        pthread_getname_np(pthread_self(), name.data(), name.size());
        isTold.set_value();
    });
    startClient();
    isTold.get_future().wait();
    EXPECT_STREQ(name.data(), "zebExecutor");
    client->Stop();
}

TEST_F(Client, ThrowsWhenItSubscribesBeforeTheServiceIsConnected) {
    bus.setServiceAvailable("ClampControl", false);
    startClient();
    try {
        client->SubscribeClampControl();
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "ClampControl client not ready");
    }
}

TEST_F(Client, TellsNothingUntilTheServiceIsThere) {
    bus.setServiceAvailable("ClampControl", false);
    startClient();
    EXPECT_FALSE(application.next(300ms));
    bus.setServiceAvailable("ClampControl", true);
    EXPECT_EQ(application.next(), "connected");
}

TEST_F(Client, TellsThatTheServiceIsGoneAndThatItIsBack) {
    subscribeClient();
    bus.setServiceAvailable("ClampControl", false);
    EXPECT_EQ(application.next(), "disconnected");
    bus.setServiceAvailable("ClampControl", true);
    EXPECT_EQ(application.next(), "connected");
}

TEST_F(ClientWithoutDescriptors, ConnectsByItselfOnceThereAreSome) {
    giveDescriptors();
    EXPECT_EQ(application.next(), "connected");
}

TEST_F(ClientWithoutDescriptors, DoesNotConnectOnceItIsStopped) {
    client->Stop();
    giveDescriptors();
    EXPECT_FALSE(application.next(300ms));
}

TEST_F(ClientWithoutDescriptors, DoesNotConnectOnceItIsDestroyed) {
    client.reset();
    giveDescriptors();
    EXPECT_FALSE(application.next(300ms));
}

TEST_F(ClientWithoutDescriptors, MayExistWhenTheProcessEnds) {
    client->AssignCallback(&survivingApplication);
    survivingClient = client.release();
    // The test is how this process ends.
}

/// The client is made and started with this many descriptors.
class ClientWithFewDescriptors : public e2e::ClientFixture, public testing::WithParamInterface<int> {
 protected:
    void SetUp() override {
        if (test_support::kSanitizerNeedsDescriptors) {
            GTEST_SKIP() << "the sanitizer needs descriptors";
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Descriptors, ClientWithFewDescriptors, testing::Range(0, 10));

TEST_P(ClientWithFewDescriptors, SubscribesOnceThereAreMore) {
    writeConfiguration(staticConfiguration());
    bool isConnected = false;
    {
        const test_support::FewDescriptors few(GetParam());
        startClient();
        isConnected = application.next(300ms).has_value();
    }
    if (!isConnected) {
        EXPECT_EQ(application.next(), "connected");
    }
    EXPECT_EQ(client->SubscribeClampControl(), "1");
}

TEST_F(Client, DoesNotSubscribeAgainByItself) {
    subscribeClient();
    bus.dropConnections("ClampControl");
    EXPECT_EQ(application.next(), "disconnected");
    EXPECT_EQ(application.next(), "connected");
    setClamp15(true);
    EXPECT_FALSE(application.next(200ms));
    EXPECT_EQ(bus.subscriberCount(kClamp15), 0U);
}

TEST_F(Client, CanSubscribeAgainAfterTheServiceIsBack) {
    subscribeClient();
    bus.dropConnections("ClampControl");
    EXPECT_EQ(application.next(), "disconnected");
    EXPECT_EQ(application.next(), "connected");
    EXPECT_EQ(client->SubscribeClampControl(), "1");
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "off");
}

TEST_F(Client, TellsNothingAfterItHasUnsubscribed) {
    subscribeClient();
    client->UnsubscribeClampControl(uuid);
    setClamp15(true);
    EXPECT_TRUE(bus.waitForSubscribers(kClamp15, 0, kLimit));
    EXPECT_FALSE(application.next(100ms));
}

TEST_F(Client, KeepsItsSubscriptionWhenAnotherUuidIsUnsubscribed) {
    subscribeClient();
    client->UnsubscribeClampControl("2");
    setClamp15(true);
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "on");
}

TEST_F(Client, HasOneSubscriptionAfterItHasSubscribedTwice) {
    subscribeClient();
    EXPECT_EQ(client->SubscribeClampControl(), "1");
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "off");
    setClamp15(true);
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "on");
    EXPECT_FALSE(application.next(100ms));
}

TEST_F(Client, TellsNothingAfterItWasStopped) {
    subscribeClient();
    client->Stop();
    setClamp15(true);
    bus.setServiceAvailable("ClampControl", false);
    EXPECT_FALSE(application.next(100ms));
}

TEST_F(Client, ClosesItsConnectionWhenItIsStopped) {
    subscribeClient();
    client->Stop();
    EXPECT_TRUE(bus.waitForWebSockets("ClampControl", 0, kLimit));
}

TEST_F(Client, CanBeStoppedTwice) {
    subscribeClient();
    client->Stop();
    client->Stop();
    EXPECT_TRUE(bus.waitForWebSockets("ClampControl", 0, kLimit));
}

TEST_F(Client, CanBeStoppedBeforeItHasConnected) {
    bus.ignoreHttp("/ClampControl");
    startClient();
    client->Stop();
    EXPECT_EQ(application.pending(), 0U);
}

TEST_F(Client, CanBeStoppedFromInsideACallback) {
    application.react([&](const std::string& word) {
        if (word == "connected") {
            client->Stop();
        }
    });
    connectClient();
    EXPECT_TRUE(bus.waitForWebSockets("ClampControl", 0, kLimit));
}

TEST_F(Client, IsNeverCalledAgainAfterItWasDestroyedWithoutStop) {
    subscribeClient();
    client.reset();
    setClamp15(true);
    bus.setServiceAvailable("ClampControl", false);
    EXPECT_FALSE(application.next(200ms));
}

TEST_F(Client, CanBeDestroyedFromInsideACallback) {
    subscribeClient();
    application.react([&](const std::string&) { client.reset(); });
    setClamp15(true);
    EXPECT_EQ(application.next(), "notification");
    setClamp15(false);
    EXPECT_TRUE(bus.waitForSubscribers(kClamp15, 0, kLimit));
}

TEST_F(Client, RefusesToSubscribeFromInsideACallback) {
    std::promise<std::string> answer;
    application.react([&](const std::string&) { answer.set_value(client->SubscribeClampControl()); });
    startClient();
    EXPECT_EQ(answer.get_future().get(), "");
    client->Stop();
}

TEST_F(Client, GoesOnAfterACallbackThatThrows) {
    subscribeClient();
    application.react([](const std::string& word) {
        if (word == "on") {
            throw std::runtime_error("the application's own");
        }
    });
    setClamp15(true);
    setClamp15(false);
    for (const char* word : {"notification", "on", "notification", "off"}) {
        EXPECT_EQ(application.next(), word);
    }
    client->Stop();
}

TEST_F(Client, AnswersASubscribeWithNothingWhenThereIsNoClamp15) {
    bus.removeElement(kClamp15);
    connectClient();
    EXPECT_EQ(client->SubscribeClampControl(), "");
}

TEST_F(Client, AnswersASubscribeWithNothingWhenTheServerRefusesTheRequest) {
    connectClient();
    bus.answerHttp("/ClampControl/clamps", 404, "");
    EXPECT_EQ(client->SubscribeClampControl(), "");
}

TEST_F(Client, AnswersASubscribeWithNothingWhenTheServerNeverAnswers) {
    connectClient();
    bus.ignoreHttp("/ClampControl/clamps");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(client->SubscribeClampControl(), "");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 6s);
}

TEST_F(Client, IgnoresAFirstNotificationThatComesAfterTheTimeLimit) {
    connectClient();
    bus.withholdFirstNotifications();
    EXPECT_EQ(client->SubscribeClampControl(), "");
    bus.releaseFirstNotifications();
    EXPECT_FALSE(application.next(200ms));
}

TEST_F(Client, CanSubscribeAfterASubscribeThatTimedOut) {
    connectClient();
    bus.withholdFirstNotifications();
    EXPECT_EQ(client->SubscribeClampControl(), "");
    bus.releaseFirstNotifications();
    EXPECT_EQ(client->SubscribeClampControl(), "1");
    EXPECT_EQ(application.next(), "notification");
}

TEST_F(Client, AnswersTwoThreadsThatSubscribeAtOnceWithTheSubscriptionThatStays) {
    connectClient();
    bus.withholdFirstNotifications();
    std::promise<pid_t> otherId;
    std::thread other([this, &otherId] {
        otherId.set_value(gettid());
        EXPECT_EQ(client->SubscribeClampControl(), "1");
    });
    EXPECT_TRUE(bus.waitForSubscribers(kClamp15, 1, kLimit));
    // The only wait that is left is the one for its first notification.
    waitUntilAsleep(otherId.get_future().get());
    bus.delayFirstNotification(0ms);
    EXPECT_EQ(client->SubscribeClampControl(), "1");
    other.join();
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "off");
    setClamp15(true);
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "on");
    client->Stop();
}

TEST_F(Client, TellsANotificationButNoStateWhenTheTypeIsAnotherClamp) {
    subscribeClient();
    bus.set(kClamp15, R"({"type":"ClampS","isSwitchedOn":true})");
    EXPECT_EQ(application.next(), "notification");
    EXPECT_FALSE(application.next(100ms));
}

TEST_F(Client, TellsNothingOfANotificationWhoseTypeIsUnknown) {
    subscribeClient();
    bus.set(kClamp15, R"({"type":"clamp15","isSwitchedOn":true})");
    bus.set(kClamp15, R"({"type":"Clamp15"})");
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "on");
}

TEST_F(Client, InventsNoStateWhenTheValueIsNoBoolean) {
    subscribeClient();
    for (const char* value : {"null", "1", "\"true\"", "{}", "[]"}) {
        bus.set(kClamp15, std::string("{\"isSwitchedOn\":") + value + "}");
        EXPECT_EQ(application.next(), "notification") << value;
    }
    setClamp15(true);
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(application.next(), "on");
}

TEST_F(Client, SharesOneBaseWithASecondClientOfTheProcess) {
    connectClient();
    e2e::Application secondApplication;
    ClampControlClient second;
    second.AssignCallback(&secondApplication);
    second.Start();
    EXPECT_EQ(secondApplication.next(), "connected");
    EXPECT_TRUE(bus.waitForWebSockets("ClampControl", 1, kLimit));
    EXPECT_EQ(bus.handshakeCount("ClampControl"), 1U);
}

TEST_F(Client, TellsTwoClientsTheSameState) {
    subscribeClient();
    e2e::Application secondApplication;
    ClampControlClient second;
    second.AssignCallback(&secondApplication);
    second.Start();
    EXPECT_EQ(secondApplication.next(), "connected");
    EXPECT_EQ(second.SubscribeClampControl(), "1");
    EXPECT_EQ(secondApplication.next(), "notification");
    EXPECT_EQ(secondApplication.next(), "off");
    setClamp15(true);
    EXPECT_EQ(application.next(), "notification");
    EXPECT_EQ(secondApplication.next(), "notification");
    client->Stop();
}

TEST_F(Client, FindsTheServiceThroughTheRegistryInDynamicMode) {
    writeConfiguration(R"({"serviceRegistrySettings":{"mode":"dynamicOnly","httpUri":")" + bus.baseUri() +
                       R"("}})");
    startClient();
    EXPECT_EQ(application.next(), "connected");
}

TEST_F(Client, TellsThatTheServiceIsGoneWhenItLeavesTheRegistry) {
    writeConfiguration(R"({"serviceRegistrySettings":{"mode":"staticBeforeDynamic","httpUri":")" +
                       bus.baseUri() + R"("}})");
    connectClient();
    bus.removeService("ClampControl");
    EXPECT_EQ(application.next(), "disconnected");
}

TEST_F(Client, NoticesADeadServiceByItsWatchdog) {
    writeConfiguration(staticConfiguration(R"(,"watchdogTimeout":100)"));
    connectClient();
    bus.freezeConnections("ClampControl");
    EXPECT_EQ(application.next(), "disconnected");
}

TEST_F(Client, TellsNothingWhenAnAddressInTheConfigurationIsNoText) {
    writeConfiguration(
        R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{"serverBaseUri":5}}})");
    startClient();
    EXPECT_FALSE(application.next(200ms));
    client->Stop();
}

TEST_F(Client, LeavesAProcessThatExitsWithItAliveToEndCleanly) {
    csc_logging::CSCLogging::InitLogging("LEAK");
    writeConfiguration(staticConfiguration());
    survivingClient = new ClampControlClient();
    survivingClient->AssignCallback(&survivingApplication);
    survivingClient->Start();
    EXPECT_EQ(survivingApplication.next(), "connected");
    EXPECT_EQ(survivingClient->SubscribeClampControl(), "1");
    // The test is how this process ends.
}

TEST_F(Client, SaysInTheLogWhatHappened) {
    test_support::DltDaemon daemon;
    setenv("DLT_PIPE_DIR", daemon.pipeDirectory().c_str(), 1);
    csc_logging::CSCLogging::InitLogging("E2E");
    subscribeClient();
    client->UnsubscribeClampControl(uuid);
    for (const char* text :
         {"Clamp Control Client: Service Connected", "Clamp Control Client: Subscription Callback",
          "Clamp Control Client: Unsubscribed uuid = 1"}) {
        EXPECT_TRUE(daemon.receives(text)) << text;
    }
    EXPECT_NE(daemon.received().find(" CSC"), std::string::npos) << daemon.received();
    client->Stop();
}

TEST_F(Client, SaysInTheLogAsAnErrorThatThereIsNoConfigurationFile) {
    test_support::DltDaemon daemon;
    setenv("DLT_PIPE_DIR", daemon.pipeDirectory().c_str(), 1);
    csc_logging::CSCLogging::InitLogging("E2E");
    client = std::make_unique<ClampControlClient>();
    EXPECT_TRUE(
        daemon.receives("log error V 1 [Config file does not exist: "
                        "/var/run/csc/config/kelo-client/ClientConfig.json]"))
        << daemon.received();
}

}  // namespace
