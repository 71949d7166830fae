// An application that blocks, and a server that floods it.
//   FLOOD_SECONDS   how long the application blocks, in seconds (default 5)

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <future>
#include <iostream>
#include <thread>

#include "ClientFixture.h"
#include "ResidentMemory.h"
#include "SubscriptionBeside.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kKeepsItsMemory = false;  // sanitizers keep released memory
#else
constexpr bool kKeepsItsMemory = true;
#endif

constexpr std::size_t kMebibyte = std::size_t{1024} * 1024;

/// Blocks in its first notification until it is released, and counts.
class BlockedApplication : public clampcontrolclient::ClampControlCallbackIf {
 public:
    void OnConnectionStateChanged(bool connected) override {
        if (connected) {
            isConnected.set_value();
        } else {
            ++losses;
        }
    }
    void OnClampNotification() override { ++notifications; }
    void OnClampStateChanged(bool) override {
        if (blocks.exchange(false)) {
            isBlocked.set_value();
            letGo.get_future().wait();
        }
    }

    std::promise<void> isConnected;
    std::promise<void> isBlocked;
    std::promise<void> letGo;
    std::atomic<bool> blocks = false;
    std::atomic<int> losses = 0;
    std::atomic<long> notifications = 0;
};

class BackPressure : public e2e::ClientFixture {};

TEST_F(BackPressure, BoundsTheMemoryOfAnApplicationThatBlocksAndLosesNothing) {
    const char* const variable = std::getenv("FLOOD_SECONDS");
    const std::chrono::seconds duration(variable == nullptr ? 5 : std::atoi(variable));
    constexpr long kChanges = 100'000;
    constexpr long kStates = 1000;

    // The connection counts as lost after three times this, which the application exceeds.
    writeConfiguration(staticConfiguration(R"(,"watchdogTimeout":1000)"));
    BlockedApplication blocked;
    client = std::make_unique<clampcontrolclient::ClampControlClient>();
    client->AssignCallback(&blocked);
    client->Start();
    blocked.isConnected.get_future().wait();
    ASSERT_EQ(client->SubscribeClampControl(), "1");

    // The names of the states are consecutive numbers, so a lost, repeated or reordered state is detected.
    std::atomic<long> told = -1;  // the first is the current state, before the flood
    std::atomic<long> wrong = 0;
    e2e::SubscriptionBeside::Events events;
    events.told = [&](const e2e::SubscriptionBeside::Clamp& clamp) {
        if (told >= 0 && clamp.getName().getValue() != std::to_string(told % kStates)) {
            ++wrong;
        }
        ++told;
    };
    const e2e::SubscriptionBeside beside(events);
    const auto limit = Clock::now() + e2e::kLimit;
    while (told < 0 && Clock::now() < limit) {
        std::this_thread::sleep_for(1ms);
    }
    const long notificationsBefore = blocked.notifications;

    std::vector<std::string> states;
    for (long state = 0; state < kStates; ++state) {
        states.push_back(R"({"name":")" + std::to_string(state) + R"(","isSwitchedOn":)" +
                         (state % 2 == 0 ? "true}" : "false}"));
    }
    const std::size_t memoryBefore = e2e::residentMemory();
    blocked.blocks = true;
    std::thread server([&] { bus.flood(kClamp15, states, kChanges); });
    EXPECT_EQ(blocked.isBlocked.get_future().wait_for(e2e::kLimit), std::future_status::ready);
    std::size_t memory = memoryBefore;
    for (const auto end = Clock::now() + duration; Clock::now() < end;) {
        memory = std::max(memory, e2e::residentMemory());
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_LT(told, 2000) << "it was not blocked";
    blocked.letGo.set_value();
    const auto end = Clock::now() + 100s;
    while ((told < kChanges || blocked.notifications < notificationsBefore + kChanges) &&
           blocked.losses == 0 && Clock::now() < end) {
        memory = std::max(memory, e2e::residentMemory());
        std::this_thread::sleep_for(5ms);
    }
    server.join();
    std::cout << "resident memory: " << memoryBefore / 1024 << " KiB before, " << memory / 1024
              << " KiB at most" << std::endl;

    EXPECT_EQ(blocked.losses, 0) << "a blocked application was mistaken for a dead server";
    EXPECT_EQ(blocked.notifications, notificationsBefore + kChanges);
    EXPECT_EQ(told, kChanges);
    EXPECT_EQ(wrong, 0);
    if (kKeepsItsMemory) {
        EXPECT_LT(memory, memoryBefore + 16 * kMebibyte);
    }
    client->Stop();
}

}  // namespace
