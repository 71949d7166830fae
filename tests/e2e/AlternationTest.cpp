// Random faults of all kinds, and what the client reports to the application. The seed is printed. These
// variables repeat a run or make it longer:
//   FAULT_SEED     seed of the random numbers (default: a new one each time)
//   FAULT_SECONDS  duration (default 10)

#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <random>
#include <thread>

#include "ClientFixture.h"
#include "FaultProxy.h"
#include "SubscriptionBeside.h"

namespace {

using namespace std::chrono_literals;
using e2e::webSocketFrame;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

unsigned long variableOr(const char* name, unsigned long otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoul(text, nullptr, 10);
}

/// Checks each callback at once. Called on one thread, queried by others.
class Judge : public clampcontrolclient::ClampControlCallbackIf {
 public:
    void OnConnectionStateChanged(bool connected) override {
        check(connected != isConnected, connected ? "connected twice" : "disconnected twice");
        check(!isStopped, "a connection state after Stop");
        isConnected = connected;
        ++connections;
    }
    void OnClampNotification() override {
        check(isConnected, "a notification outside a connection");
        check(!isUnsubscribed, "a notification after unsubscribe");
        check(!isStopped, "a notification after Stop");
        ++notifications;
    }
    void OnClampStateChanged(bool) override {
        check(isConnected, "a state outside a connection");
        check(!isUnsubscribed, "a state after unsubscribe");
        check(!isStopped, "a state after Stop");
    }

    void check(bool isRight, const std::string& what) {
        if (!isRight) {
            ADD_FAILURE() << what;
            isGuilty = true;
        }
    }

    std::atomic<bool> isConnected = false;
    std::atomic<bool> isUnsubscribed = true;
    std::atomic<bool> isStopped = false;
    std::atomic<bool> isGuilty = false;
    std::atomic<int> connections = 0;
    std::atomic<int> notifications = 0;
};

class RandomFaults : public e2e::ClientFixture {
 protected:
    // The clamp's name counts its changes. Within one connection each value must follow the one before.
    void followValues() {
        e2e::SubscriptionBeside::Events events;
        events.connected = [this] { lastValue_ = -1; };
        events.disconnected = [this] { lastValue_ = -1; };
        events.told = [this](const e2e::SubscriptionBeside::Clamp& clamp) {
            const long value = std::strtol(clamp.getName().getValue().c_str(), nullptr, 10);
            if (lastValue_ >= 0) {
                judge_.check(value == lastValue_ + 1, "value " + std::to_string(value) + " after " +
                                                          std::to_string(lastValue_) + " in one connection");
            }
            lastValue_ = value;
            ++values_;
        };
        beside_ = std::make_unique<e2e::SubscriptionBeside>(events);
    }

    void changeForEver() {
        for (long value = 1; !isOver_; ++value) {
            bus.set(kClamp15, R"({"name":")" + std::to_string(value) + R"(","isSwitchedOn":)" +
                                  (value % 2 == 0 ? "true}" : "false}"));
            std::this_thread::sleep_for(200us);
        }
    }

    // What an application may do in any order: it subscribes and unsubscribes while it is connected.
    void subscribeForEver(std::mt19937 random) {
        while (!isOver_) {
            try {
                judge_.isUnsubscribed = false;
                const std::string id = client->SubscribeClampControl();
                std::this_thread::sleep_for(milliseconds(random() % 100));
                if (!id.empty() && random() % 2 == 0) {
                    client->UnsubscribeClampControl(id);
                    // A call that had already begun may still run on the executor.
                    if (!awaitExecutor()) {
                        continue;
                    }
                    judge_.isUnsubscribed = true;
                    std::this_thread::sleep_for(milliseconds(random() % 50));
                    judge_.isUnsubscribed = false;
                }
            } catch (const std::runtime_error&) {
                std::this_thread::sleep_for(5ms);  // not connected
            }
        }
    }

    // False when it does not end in time, or was stopped.
    static bool awaitExecutor() {
        const auto isReached = std::make_shared<std::promise<void>>();
        kelo_client::ClientServiceBase::getInstance()->getZebExecutor()->add(
            [isReached] { isReached->set_value(); }, "reached");
        return isReached->get_future().wait_for(1s) == std::future_status::ready;
    }

    void doSomething(std::mt19937& random) {
        const auto pause = [&random](int atMost) {
            std::this_thread::sleep_for(milliseconds(random() % static_cast<unsigned>(atMost)));
        };
        switch (random() % 16) {
            case 0:
                proxy_.reset();
                break;
            case 1:
                proxy_.end();
                break;
            case 2:
                proxy_.resetWithinNextFrame();
                break;
            case 3:
                proxy_.refuse();
                pause(300);
                break;
            case 4:
                proxy_.stall();
                pause(700);
                break;
            case 5:
                proxy_.abandon();
                pause(500);
                break;
            case 6:
                proxy_.hold();
                pause(500);
                break;
            case 7:
                proxy_.slowDown();
                pause(300);
                break;
            case 8:
                proxy_.inject("\xff\xff\xff\xff\xff");
                break;
            case 9:
                proxy_.inject(webSocketFrame("{\"action\":\"\xff\"}"));
                break;
            case 10:
                proxy_.rewrite([](const std::string& frame) {
                    return std::vector<std::string>{frame, frame};
                });
                pause(300);
                break;
            case 11:
                bus.closeConnections("ClampControl", static_cast<std::uint16_t>(1000 + random() % 4));
                break;
            case 12:
                bus.setServiceAvailable("ClampControl", false);
                pause(300);
                bus.setServiceAvailable("ClampControl", true);
                break;
            case 13:
                bus.answerHttp("/ClampControl", 503, "");
                pause(300);
                bus.clearHttpFaults();
                break;
            case 14:
                bus.dropConnections("ClampControl");
                break;
            default:
                bus.freezeConnections("ClampControl");
                break;
        }
        proxy_.clear();
        // Sometimes long enough to connect, sometimes not.
        pause(random() % 3 == 0 ? 20 : 600);
    }

    e2e::FaultProxy proxy_{bus.port()};
    Judge judge_;
    std::unique_ptr<e2e::SubscriptionBeside> beside_;
    std::atomic<bool> isOver_ = false;
    std::atomic<long> values_ = 0;
    long lastValue_ = -1;  ///< used on the library's thread only
};

TEST_F(RandomFaults, LeaveEveryPromiseKept) {
    const unsigned long seed = variableOr("FAULT_SEED", std::random_device{}());
    const unsigned long seconds = variableOr("FAULT_SECONDS", 10);
    std::printf("FAULT_SEED=%lu FAULT_SECONDS=%lu\n", seed, seconds);
    std::fflush(stdout);
    std::mt19937 random(static_cast<std::mt19937::result_type>(seed));

    writeConfiguration(
        R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{"serverBaseUri":")" +
        proxy_.baseUri() + R"(","serverBasePathHTTP":"/","watchdogTimeout":50}}})");
    client = std::make_unique<clampcontrolclient::ClampControlClient>();
    client->AssignCallback(&judge_);
    client->Start();
    followValues();
    std::thread changes([this] { changeForEver(); });
    std::thread subscribes([this, first = random()] { subscribeForEver(std::mt19937(first)); });

    const auto end = Clock::now() + std::chrono::seconds(seconds);
    while (Clock::now() < end && !judge_.isGuilty) {
        doSomething(random);
    }
    // After all faults the connection returns.
    const auto limit = Clock::now() + e2e::kLimit;
    const long valuesBefore = values_;
    while (values_ < valuesBefore + 100 && Clock::now() < limit && !judge_.isGuilty) {
        std::this_thread::sleep_for(5ms);
    }
    EXPECT_GE(values_, valuesBefore + 100) << "no more values are reported";

    client->Stop();
    judge_.isStopped = true;
    const long valuesAtStop = values_;
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(values_, valuesAtStop) << "a value after Stop";
    isOver_ = true;
    changes.join();
    subscribes.join();
    std::printf("%d connections and losses, %d notifications, %ld values beside\n", judge_.connections.load(),
                judge_.notifications.load(), values_.load());
    EXPECT_GT(judge_.connections, 1);
}

}  // namespace
