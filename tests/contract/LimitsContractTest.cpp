// What the machine refuses or delays: names, descriptors, threads. And what the platform leaves to the
// process that it runs in. Numbers are those of the promises in docs/platform-contract.md.

#include <ChildProcess.h>
#include <FailingThreads.h>
#include <NoDescriptors.h>
#include <PlatformFixture.h>
#include <RecordingLogger.h>
#include <ScriptedNames.h>
#include <TestBuild.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace {

using namespace std::chrono_literals;
using test_support::kLimit;
using test_support::ScriptedNames;

/// For a call that must not wait for anything; leaves room for a machine that is busy.
constexpr std::chrono::milliseconds kAtOnce = 1s;

std::set<int> openDescriptors() {
    std::set<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        descriptors.insert(std::stoi(entry.path().filename()));
    }
    return descriptors;
}

class LimitsContract : public test_support::PlatformFixture {
 protected:
    std::string uriOf(const std::string& host) const {
        return "http://" + host + ":" + std::to_string(bus.port());
    }

    void expectStopAtOnce() {
        const auto begin = std::chrono::steady_clock::now();
        stop();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, kAtOnce);
    }
};

// P9, P12
TEST_F(LimitsContract, TriesEveryAddressOfAName) {
    ScriptedNames::nameHas("localhost", {"127.0.0.2", "127.0.0.1"});
    configuration->known.serverBaseUri = uriOf("localhost");
    createRegistry();
    listen();
    EXPECT_EQ(states.next(), "connected");
}

// P14
TEST_F(LimitsContract, TellsTheFailureOfEveryAddress) {
    ScriptedNames::nameHas("none.test", {"127.0.0.2", "127.0.0.3"});
    configuration->known.serverBaseUri = uriOf("none.test");
    createRegistry();
    listen();
    EXPECT_TRUE(log->waitFor("127.0.0.2: Connection refused; 127.0.0.3: Connection refused"));
}

// P15
TEST_F(LimitsContract, StopsAtOnceWhileNameServersAreSilent) {
    ScriptedNames::nameIsSilent("silent.test");
    configuration->known.serverBaseUri = uriOf("silent.test");
    createRegistry();
    listen();
    drainExecutor();
    expectStopAtOnce();
}

// P40. Without a bus: the child makes threads, so the process that it comes from must have none.
TEST(LimitsContractOfAProcess, EndsAtOnceWhileNameServersAreSilent) {
    const auto result = test_support::runInChild([] {
        ScriptedNames::nameIsSilent("silent.test");
        const auto childLog = std::make_shared<test_support::RecordedLog>();
        test_support::RecordingLoggerFactory childLoggers(childLog);
        const auto executor = std::make_shared<zebutil::SingleThreadAsyncTaskExecutor>(
            "zebExecutor", childLoggers.createLogger("zebExecutor"));
        executor->start();
        zeb::WebsocketSettings settings;
        settings.uri = "ws://silent.test:80/x";
        zeb::DefaultWebsocketManagerFactory factory;
        const auto manager = factory.createWebsocketManager("x", settings, executor,
                                                            childLoggers.createLogger("websocket"), {});
        factory.stopAndClearAll();
        executor->stop();
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_LT(result.lifetime, 4s);
}

// P12
TEST_F(LimitsContract, LimitsTheTimeOfALookUp) {
    ScriptedNames::nameIsSilent("silent.test");
    configuration->known.serverBaseUri = uriOf("silent.test");
    createRegistry();
    listen();
    EXPECT_TRUE(
        log->waitFor("no connection within 5 s: no answer to the look-up of the host \"silent.test\""));
}

// P50
TEST_F(LimitsContract, LimitsTheTimeOfALookUpForARequest) {
    ScriptedNames::nameIsSilent("silent.test");
    zeb::HttpAccessFactory factory(std::make_shared<zebutil::PocoHttpSessionFactory>());
    const auto access = factory.createAccess({"Lighting", uriOf("silent.test"), "/", ""});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THROW(access->get("lamps", "", {}, begin + 50ms), std::exception);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kAtOnce);
}

// P15
TEST_F(LimitsContract, StopsAtOnceWhileTheServerDoesNotAnswerTheClose) {
    connect();
    bus.freezeConnections("Lighting");
    expectStopAtOnce();
}

// P9, P12
TEST_F(LimitsContract, ConnectsOnceThereAreDescriptors) {
    if (test_support::kSanitizerNeedsDescriptors) {
        GTEST_SKIP() << "the sanitizer needs descriptors";
    }
    createRegistry();
    {
        const test_support::NoDescriptors none;
        listen();
        EXPECT_TRUE(log->waitFor("Too many open files"));
    }
    EXPECT_EQ(states.next(), "connected");
}

// P12, P14
TEST_F(LimitsContract, ConnectsAgainOnceThereAreDescriptorsAndSaysThatThereAreNone) {
    if (test_support::kSanitizerNeedsDescriptors) {
        GTEST_SKIP() << "the sanitizer needs descriptors";
    }
    connect();
    {
        const test_support::NoDescriptors none;
        bus.dropConnections("Lighting");
        EXPECT_EQ(states.next(), "disconnected");
        EXPECT_TRUE(log->waitFor("connect: Too many open files"));
    }
    EXPECT_EQ(states.next(), "connected");
}

// P9, P12
TEST_F(LimitsContract, ConnectsOnceThereAreThreads) {
    createRegistry();
    {
        const test_support::FailingThreads none;
        listen();
        EXPECT_TRUE(log->waitFor("Resource temporarily unavailable"));
    }
    EXPECT_EQ(states.next(), "connected");
}

// P12, P14
TEST_F(LimitsContract, ConnectsAgainOnceThereAreThreadsForLookUpsAndSaysThatThereAreNone) {
    ScriptedNames::nameHas("localhost", {"127.0.0.1"});
    configuration->known.serverBaseUri = uriOf("localhost");
    connect();
    {
        const test_support::FailingThreads none;
        bus.dropConnections("Lighting");
        EXPECT_EQ(states.next(), "disconnected");
        EXPECT_TRUE(log->waitFor("no thread to look it up: Resource temporarily unavailable"));
    }
    EXPECT_EQ(states.next(), "connected");
}

// P45
TEST_F(LimitsContract, HoldsNoThreadWhileThereAreNoThreads) {
    createRegistry();
    const test_support::FailingThreads none;
    listen();
    EXPECT_TRUE(log->waitFor("Resource temporarily unavailable"));
    const auto begin = std::chrono::steady_clock::now();
    for (int task = 0; task < 100; ++task) {
        drainExecutor();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kAtOnce);
}

// P15
TEST_F(LimitsContract, StopsAtOnceWhileThereAreNoThreads) {
    createRegistry();
    const test_support::FailingThreads none;
    listen();
    EXPECT_TRUE(log->waitFor("Resource temporarily unavailable"));
    expectStopAtOnce();
}

// A program that the process starts must not inherit the platform's descriptors.
TEST_F(LimitsContract, ClosesItsDescriptorsOnExec) {
    const std::set<int> before = openDescriptors();
    connect();
    for (const int descriptor : openDescriptors()) {
        const int flags = ::fcntl(descriptor, F_GETFD);
        if (before.count(descriptor) == 0 && flags >= 0) {
            EXPECT_NE(flags & FD_CLOEXEC, 0)
                << descriptor << ": "
                << std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
        }
    }
}

// P40
TEST_F(LimitsContract, CanBeStoppedInAForkedChild) {
    const auto subscription = subscribe(connect());
    for (int child = 0; child < 20; ++child) {
        setLevel(child);  // the I/O thread is busy meanwhile
        const auto result = test_support::runInChild([&] {
            elements->unsubscribeFromAll();
            registry->stop();
            websockets->stopAndClearAll();
            registry.reset();
            websockets->removeClient("Lighting");
        });
        ASSERT_EQ(result.exitCode, 0) << result.errors;
        ASSERT_LT(result.lifetime, kLimit);
    }
    setLevel(1000);
    std::optional<std::int64_t> level;
    do {
        level = levels.next();
        ASSERT_TRUE(level) << "the children have stopped their parent";
    } while (level != 1000);
}

// P53
TEST_F(LimitsContract, CanBeStoppedInAChildThatWasForkedWhileTheRegistryWasBusy) {
    createRegistry();
    std::promise<void> hasBegun;
    std::promise<void> mayGoOn;
    std::static_pointer_cast<test_support::RecordingLoggerFactory>(loggers)->whenOneIsMade =
        [&, isFirst = true]() mutable {
            if (std::exchange(isFirst, false)) {  // of a connection, which is made under the registry's lock
                hasBegun.set_value();
                mayGoOn.get_future().wait();
            }
        };
    listen();
    hasBegun.get_future().wait();
    const auto result = test_support::runInChild([&] {
        ::alarm(20);  // ends a process that hangs
        elements->unsubscribeFromAll();
        registry->stop();
        websockets->stopAndClearAll();
        registry.reset();
    });
    mayGoOn.set_value();
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(states.next(), "connected");
}

}  // namespace
