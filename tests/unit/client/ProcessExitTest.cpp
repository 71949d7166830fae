// A process may end with a client alive anywhere, and with notifications coming in. Each test is such a
// process, with the library as it ships, the real log, and a bus on loopback.

#include <ChildProcess.h>
#include <TemporaryDirectory.h>
#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>
#include <gtest/gtest.h>
#include <kelo-client/ClientServiceUtils.h>
#include <unistd.h>
#include <zeb-bus-sim/BusSimulator.h>

#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>

namespace {

using clampcontrolclient::ClampControlClient;
using test_support::runInChild;
using test_support::TemporaryDirectory;

/// Ends the process in the callback of the test's choice, once it is told to.
class Callback : public clampcontrolclient::ClampControlCallbackIf {
 public:
    enum class Exit { Nowhere, InConnection, InNotification, InClamp };

    explicit Callback(Exit exit = Exit::Nowhere) : exit_(exit) {}

    void OnConnectionStateChanged(bool connected) override {
        exitIf(Exit::InConnection);
        if (connected) {
            connected_->set_value();
        }
    }
    void OnClampNotification() override { exitIf(Exit::InNotification); }
    void OnClampStateChanged(bool /*switchedOn*/) override { exitIf(Exit::InClamp); }

    void waitUntilConnected() {
        const auto connected = connected_;
        connected->get_future().wait();
    }

 private:
    void exitIf(Exit where) const {
        if (exit_ == where) {
            std::exit(0);
        }
    }

    const Exit exit_;
    /// Not broken by an exit: that would send a thread that waits on to use what the exit destroys.
    std::shared_ptr<std::promise<void>> connected_{std::make_shared<std::promise<void>>()};
};

/// A bus whose terminal 15 changes without end. Like a real bus it does not end with the process's statics.
void startBus(const TemporaryDirectory& directory) {
    static auto& bus = *new zebbussim::BusSimulator();
    bus.loadText(
        R"({"services":{"ClampControl":{"clamps":[{"id":"c15","type":"Clamp15","isSwitchedOn":true}]}}})");
    bus.start();
    std::thread([] {
        for (bool isSwitchedOn = false;; isSwitchedOn = !isSwitchedOn) {
            bus.set("/ClampControl/clamps/c15",
                    isSwitchedOn ? R"({"isSwitchedOn":true})" : R"({"isSwitchedOn":false})");
            std::this_thread::yield();
        }
    }).detach();
    // The first base of the process decides where its clients look.
    kelo_client::ClientServiceUtils::CreateClientServiceBase(directory.write(
        "config.json",
        R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{"serverBaseUri":")" +
            bus.baseUri() + R"("}}})"));
}

void subscribe(ClampControlClient& client, Callback& callback) {
    client.AssignCallback(&callback);
    client.Start();
    callback.waitUntilConnected();
    client.SubscribeClampControl();
}

[[noreturn]] void waitForTheEnd() {
    while (true) {
        ::pause();
    }
}

/// Runs `work` with a bus in a process of its own and expects a clean exit.
void expectCleanExit(const std::function<void()>& work) {
    const TemporaryDirectory directory;
    const auto result = runInChild([&] {
        csc_logging::CSCLogging::InitLogging("ExitTest");
        startBus(directory);
        work();
    });
    EXPECT_EQ(result.signal, 0) << result.errors;
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

TEST(ProcessExit, IsCleanAfterStop) {
    expectCleanExit([] {
        Callback callback;
        ClampControlClient client;
        subscribe(client, callback);
        client.Stop();
    });
}

TEST(ProcessExit, IsCleanWithoutStop) {
    expectCleanExit([] {
        Callback callback;
        ClampControlClient client;
        subscribe(client, callback);
    });
}

TEST(ProcessExit, IsCleanWithAClientInAStatic) {
    expectCleanExit([] {
        static Callback callback;
        static ClampControlClient client;
        subscribe(client, callback);
    });
}

TEST(ProcessExit, IsCleanWithAClientThatIsNeverDestroyed) {
    expectCleanExit([] {
        static auto& callback = *new Callback();
        static auto& client = *new ClampControlClient();
        subscribe(client, callback);
    });
}

TEST(ProcessExit, IsCleanWithAClientInARunningThread) {
    expectCleanExit([] {
        static auto& subscribed = *new std::promise<void>();
        std::thread([] {
            Callback callback;
            ClampControlClient client;
            subscribe(client, callback);
            subscribed.set_value();
            while (true) {
                client.UnsubscribeClampControl(client.SubscribeClampControl());
            }
        }).detach();
        subscribed.get_future().wait();
    });
}

TEST(ProcessExit, IsCleanWhenAnotherThreadExits) {
    expectCleanExit([] {
        Callback callback;
        ClampControlClient client;
        subscribe(client, callback);
        std::thread([] { std::exit(0); }).detach();
        waitForTheEnd();
    });
}

TEST(ProcessExit, IsCleanWhileAClientIsBeingStopped) {
    expectCleanExit([] {
        static auto& callback = *new Callback();
        static auto& client = *new ClampControlClient();
        subscribe(client, callback);
        std::thread([] {
            client.Stop();
            waitForTheEnd();
        }).detach();
    });
}

class ProcessExitInsideACallback : public testing::TestWithParam<Callback::Exit> {};

INSTANTIATE_TEST_SUITE_P(AllCallbacks, ProcessExitInsideACallback,
                         testing::Values(Callback::Exit::InConnection, Callback::Exit::InNotification,
                                         Callback::Exit::InClamp));

TEST_P(ProcessExitInsideACallback, IsClean) {
    expectCleanExit([] {
        Callback callback(GetParam());
        ClampControlClient client;
        subscribe(client, callback);
        waitForTheEnd();
    });
}

TEST_P(ProcessExitInsideACallback, IsCleanWithAClientInAStatic) {
    expectCleanExit([] {
        static Callback callback(GetParam());
        static ClampControlClient client;
        subscribe(client, callback);
        waitForTheEnd();
    });
}

}  // namespace
