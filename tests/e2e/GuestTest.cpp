// The library is a guest in somebody else's process. Each test runs such a process, with the shipped library,
// the real log and a bus on loopback.

#include <BusProgram.h>
#include <ChildProcess.h>
#include <Emulator.h>
#include <FailingThreads.h>
#include <TemporaryDirectory.h>
#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <kelo-client/ClientServiceUtils.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

namespace {

using clampcontrolclient::ClampControlClient;
using test_support::runInChild;
using test_support::TemporaryDirectory;

class Callback : public clampcontrolclient::ClampControlCallbackIf {
 public:
    void OnConnectionStateChanged(bool isConnected) override {
        if (isConnected) {
            connected.set_value();
        }
    }
    void OnClampNotification() override {}
    void OnClampStateChanged(bool /*switchedOn*/) override {}

    std::promise<void> connected;
};

std::set<std::string> threads() {
    std::set<std::string> ids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        ids.insert(entry.path().filename());
    }
    return ids;
}

std::set<int> descriptors() {
    std::set<int> open;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        open.insert(std::stoi(entry.path().filename()));
    }
    return open;
}

/// The library in this process, with a client that has not been started.
class Guest {
    // The client calls it until it is destroyed.
    Callback callback_;
    std::future<void> connected_ = callback_.connected.get_future();

 public:
    explicit Guest(const test_support::BusProgram& bus) {
        csc_logging::CSCLogging::InitLogging("GuestTest");
        configure(bus.baseUri());
        client = std::make_unique<ClampControlClient>();
        client->AssignCallback(&callback_);
    }

    void connect() {
        client->Start();
        waitForConnection();
    }

    void waitForConnection() { connected_.wait(); }
    bool isConnectedWithin(std::chrono::milliseconds time) {
        return connected_.wait_for(time) == std::future_status::ready;
    }

    void subscribe() {
        connect();
        if (client->SubscribeClampControl().empty()) {
            std::_Exit(4);
        }
    }

    std::unique_ptr<ClampControlClient> client;

 private:
    /// The first client would otherwise read its configuration at the fixed path. A failure is the client's,
    /// too, and the client's to report.
    void configure(const std::string& bus) {
        try {
            kelo_client::ClientServiceUtils::CreateClientServiceBase(directory_.write(
                "config.json",
                R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{"serverBaseUri":")" +
                    bus + R"("}}})"));
        } catch (const std::exception&) {
            return;
        }
    }

    TemporaryDirectory directory_;
};

/// Runs `work` in a process of its own, with a bus. The process must end by itself.
test_support::ChildResult runGuest(const std::function<void(const test_support::BusProgram&)>& work) {
    const TemporaryDirectory directory;
    const test_support::BusProgram bus(test_support::commandOf(
        ZEB_BUS_SIM, {directory.write("bus.json", R"({"services":{"ClampControl":{"clamps":[
            {"id":"c15","type":"Clamp15","isSwitchedOn":true}]}}})")}));
    return runInChild([&] {
        ::alarm(60);  // ends a process that hangs
        work(bus);
    });
}

std::string nameOf(const std::string& thread) {
    std::string name;
    std::getline(std::ifstream("/proc/self/task/" + thread + "/comm") >> std::ws, name);
    return name;
}

std::uint64_t blockedSignalsOf(const std::string& thread) {
    std::ifstream status("/proc/self/task/" + thread + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("SigBlk:", 0) == 0) {
            return std::stoull(line.substr(7), nullptr, 16);
        }
    }
    return 0;
}

TEST(Guest, BlocksTheSignalsOfTheApplicationOnEveryThread) {
    const auto result = runGuest([](const test_support::BusProgram& bus) {
        const auto before = threads();
        Guest guest(bus);
        guest.subscribe();
        for (const auto& thread : threads()) {
            for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM, SIGCHLD, SIGPIPE}) {
                if (before.count(thread) == 0 &&
                    (blockedSignalsOf(thread) & (std::uint64_t{1} << (signal - 1))) == 0) {
                    std::cout << nameOf(thread) << " takes signal " << signal << std::endl;
                }
            }
        }
    });
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.signal, 0);
}

TEST(Guest, LeavesNoDescriptorToAProgramThatTheApplicationStarts) {
    const auto result = runGuest([](const test_support::BusProgram& bus) {
        const auto before = descriptors();
        Guest guest(bus);
        guest.subscribe();
        for (const int descriptor : descriptors()) {
            const int flags = ::fcntl(descriptor, F_GETFD);
            if (before.count(descriptor) == 0 && flags >= 0 && (flags & FD_CLOEXEC) == 0) {
                std::cout << descriptor << " is "
                          << std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor))
                          << std::endl;
            }
        }
    });
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.signal, 0);
}

/// Expects that a process which is forked while the client works, and then does `work`, ends by itself.
void expectForkedChildToEnd(const std::function<void(Guest&)>& work) {
    const auto result = runGuest([&work](const test_support::BusProgram& bus) {
        Guest guest(bus);
        guest.subscribe();
        const auto forked = runInChild([&] {
            ::alarm(20);
            work(guest);
        });
        std::cout << "signal " << forked.signal << ", exit code " << forked.exitCode << std::endl;
    });
    EXPECT_EQ(result.output, "signal 0, exit code 0\n") << result.errors;
}

TEST(GuestInAForkedChild, Exits) {
    expectForkedChildToEnd([](Guest&) {});
}

TEST(GuestInAForkedChild, IsStopped) {
    expectForkedChildToEnd([](Guest& guest) { guest.client->Stop(); });
}

TEST(GuestInAForkedChild, IsDestroyed) {
    expectForkedChildToEnd([](Guest& guest) { guest.client.reset(); });
}

TEST(GuestInAForkedChild, Logs) {
    expectForkedChildToEnd([](Guest&) { csc_logging::CSCLogging::LogInfo("in the child"); });
}

std::size_t sockets() {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        count += std::filesystem::read_symlink(entry.path(), gone).string().rfind("socket:", 0) == 0 ? 1 : 0;
    }
    return count;
}

TEST(Guest, IsStoppedAtOnceWhileASubscribeWaitsForAServerThatHasFallenSilent) {
    const auto result = runGuest([](const test_support::BusProgram& bus) {
        Guest guest(bus);
        guest.connect();
        bus.pause();
        const std::size_t before = sockets();
        auto uuid =
            std::async(std::launch::async, [&guest] { return guest.client->SubscribeClampControl(); });
        while (sockets() == before) {  // until the request has its connection
            std::this_thread::yield();
        }
        const auto begin = std::chrono::steady_clock::now();
        guest.client->Stop();
        const bool isRefused = uuid.get().empty();
        const auto lasted = std::chrono::steady_clock::now() - begin;
        bus.resume();
        // The time limits of the request and of the subscribe are longer.
        std::_Exit(isRefused && lasted < std::chrono::seconds(2) ? 0 : 1);
    });
    EXPECT_EQ(result.signal, 0) << result.errors;
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

TEST(GuestWithoutThreads, IsMadeStartedStoppedAndDestroyed) {
    const auto result = runGuest([](const test_support::BusProgram& bus) {
        test_support::ignoreLeaks();  // those of libdlt
        const test_support::FailingThreads noThreads;
        const Guest guest(bus);
        guest.client->Start();
        guest.client->Stop();
    });
    EXPECT_EQ(result.signal, 0) << result.errors;
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

TEST(GuestWithoutThreads, IsFollowedByOneThatSubscribesOnceThereAreThreads) {
    const auto result = runGuest([](const test_support::BusProgram& bus) {
        test_support::ignoreLeaks();  // those of libdlt
        {
            const test_support::FailingThreads noThreads;
            const Guest tooEarly(bus);
        }
        Guest guest(bus);
        guest.subscribe();
    });
    EXPECT_EQ(result.signal, 0) << result.errors;
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

TEST(GuestWithFewThreads, SubscribesOnceThereAreMore) {
    for (int count = 1; count < 5; ++count) {
        const auto result = runGuest([count](const test_support::BusProgram& bus) {
            test_support::ignoreLeaks();  // those of libdlt
            csc_logging::CSCLogging::InitLogging("GuestTest");
            std::unique_ptr<Guest> guest;
            {
                const test_support::FailingThreads fewThreads(count);
                guest = std::make_unique<Guest>(bus);
                guest->client->Start();
                guest->isConnectedWithin(std::chrono::milliseconds(300));
            }
            guest->waitForConnection();
            if (guest->client->SubscribeClampControl().empty()) {
                std::_Exit(1);
            }
        });
        EXPECT_EQ(result.signal, 0) << count << " threads: " << result.errors;
        EXPECT_EQ(result.exitCode, 0) << count << " threads: " << result.errors;
    }
}

TEST(GuestWithoutThreads, ConnectsOnceItIsUsedWithThreads) {
    const auto result = runGuest([](const test_support::BusProgram& bus) {
        test_support::ignoreLeaks();  // those of libdlt
        std::unique_ptr<Guest> guest;
        {
            const test_support::FailingThreads noThreads;
            guest = std::make_unique<Guest>(bus);
            guest->client->Start();
        }
        try {
            guest->client->SubscribeClampControl();
            std::_Exit(1);
        } catch (const std::runtime_error&) {
            guest->waitForConnection();
        }
    });
    EXPECT_EQ(result.signal, 0) << result.errors;
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

}  // namespace
