// Connections that are opened and closed leave nothing behind. Tested with the platform, where a new round
// can begin at once; a client pauses between its attempts.
//   CONNECTION_ROUNDS   number of rounds (default 300)

#include <PlatformFixture.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "ResidentMemory.h"

namespace {

using namespace std::chrono_literals;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kKeepsItsMemory = false;  // sanitizers keep released memory
#else
constexpr bool kKeepsItsMemory = true;
#endif

std::size_t entriesOf(const char* directory) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator()));
}

struct Held {
    std::size_t descriptors;
    std::size_t threads;
    std::size_t memory;
};

class ConnectionRounds : public test_support::PlatformFixture {
 protected:
    void makeOne(int round) {
        zeb::ZebServiceRegistry::Settings settings;
        settings.mode = Mode::StaticOnly;
        registry = std::make_shared<zeb::ZebServiceRegistry>(
            websockets, configuration, silent_,
            std::make_shared<zeb::HttpAccessFactory>(std::make_shared<zebutil::PocoHttpSessionFactory>()),
            zebExecutor, httpExecutor, settings, serviceSettings);
        listen();
        ASSERT_EQ(states.next(), "connected");
        const auto connected = service();
        const auto subscription = subscribe(connected);
        ASSERT_TRUE(levels.next());
        test_support::Received<bool> isFound;
        connected->getAccessor()->findFirst<test_support::Lamp>(
            test_support::LampDescriptor(), [&](const auto&, const auto&) { isFound.push(true); },
            [&](const auto&) { isFound.push(false); });
        ASSERT_EQ(isFound.next(), true);
        switch (round % 3) {
            case 0:
                bus.dropConnections("Lighting");
                ASSERT_EQ(states.next(), "disconnected");
                break;
            case 1:
                bus.closeConnections("Lighting", 1001);
                ASSERT_EQ(states.next(), "disconnected");
                break;
            default:
                break;
        }
        registry->stop();
        websockets->stopAndClearAll();
        registry.reset();
        drainExecutor();
        while (states.next(0ms)) {
        }
        // The connection ends after its Stop, on the I/O thread and at the server.
        ASSERT_TRUE(bus.waitForWebSockets("Lighting", 0, test_support::kLimit));
    }

    // The minimum of several measurements, because some things end a moment later. The longest is the closing
    // of a connection whose peer does not answer: it is given up after one second.
    Held held() {
        Held least{1'000'000, 1'000'000, e2e::residentMemory()};
        for (int look = 0; look < 60; ++look) {
            std::this_thread::sleep_for(20ms);
            least.descriptors = std::min(least.descriptors, entriesOf("/proc/self/fd"));
            least.threads = std::min(least.threads, entriesOf("/proc/self/task"));
            least.memory = std::min(least.memory, e2e::residentMemory());
        }
        return least;
    }

 private:
    // Keeps nothing, since the test measures memory.
    const std::shared_ptr<zebutil::LoggerFactory> silent_ =
        std::make_shared<test_support::RecordingLoggerFactory>(
            std::make_shared<test_support::RecordedLog>(test_support::RecordedLog::Keep::Nothing));
};

TEST_F(ConnectionRounds, LeaveNothingBehind) {
    const char* const variable = std::getenv("CONNECTION_ROUNDS");
    const int rounds = variable == nullptr ? 300 : std::atoi(variable);
    Held after100{};
    for (int round = 1; round <= rounds; ++round) {
        makeOne(round);
        ASSERT_FALSE(HasFailure()) << "in round " << round;
        if (round == 100) {
            after100 = held();
        }
    }
    const Held atTheEnd = held();
    std::cout << "after 100 rounds: " << after100.descriptors << " descriptors, " << after100.threads
              << " threads, " << after100.memory / 1024 << " KiB; after " << rounds << ": "
              << atTheEnd.descriptors << ", " << atTheEnd.threads << ", " << atTheEnd.memory / 1024 << " KiB"
              << std::endl;
    EXPECT_EQ(atTheEnd.descriptors, after100.descriptors);
    EXPECT_EQ(atTheEnd.threads, after100.threads);
    if (kKeepsItsMemory) {
        EXPECT_LT(atTheEnd.memory, after100.memory + std::size_t{1024} * 1024);
    }
}

}  // namespace
