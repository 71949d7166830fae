// What a lack of memory does to a client that is connected and subscribed. Each case is a process of its own,
// with the shipped library, the real log and a bus on loopback.

#include <BusProgram.h>
#include <ChildProcess.h>
#include <Emulator.h>
#include <FailingMemory.h>
#include <TemporaryDirectory.h>
#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <clampcontrolclient/ClampFollower.h>
#include <csc_logging/CSCLogging.h>
#include <gtest/gtest.h>
#include <kelo-client/ClientServiceUtils.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

using clampcontrolclient::ClampControlClient;
using clampcontrolclient::ClampFollower;
using clampcontrolclient::ClampState;
using clampcontrolclient::ClampStatus;
using test_data_objects::allocationHasFailed;
using test_data_objects::allocationsLeft;
using test_support::ChildResult;
using test_support::TemporaryDirectory;

constexpr int kMemoryWasMissing = 7;
constexpr int kWrong = 1;
constexpr std::chrono::seconds kLimit{30};
// A follower that lacked memory tries again after half a second.
constexpr long kStepOfSlowTests = 11;

class Callback : public clampcontrolclient::ClampControlCallbackIf {
 public:
    void OnConnectionStateChanged(bool isConnected) override {
        if (isConnected && changes == 0) {
            connected.set_value();
        }
        ++changes;
    }
    void OnClampNotification() override {}
    void OnClampStateChanged(bool /*switchedOn*/) override {}

    std::promise<void> connected;  ///< for the first time
    std::atomic<int> changes = 0;
};

Callback callback;

/// Resets the connections of this process as if their servers had gone.
class Connections {
 public:
    Connections() {
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (std::filesystem::read_symlink(entry.path(), gone).string().rfind("socket:", 0) == 0) {
                sockets_.push_back(std::stoi(entry.path().filename()));
            }
        }
    }

    /// Takes no memory.
    void end() const {
        for (const int socket : sockets_) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }

 private:
    std::vector<int> sockets_;
};

class ClientWithoutMemory : public testing::Test {
 protected:
    /// Runs `work` in a process of its own, with a client that is subscribed. The work ends the process.
    ChildResult runSubscribed(const std::function<void(ClampControlClient&)>& work) {
        return test_support::runInChild([this, &work] {
            ::alarm(60);  // ends a process that hangs
            csc_logging::CSCLogging::InitLogging("OutOfMemoryTest");
            kelo_client::ClientServiceUtils::CreateClientServiceBase(configuration_);
            static ClampControlClient client;
            client.AssignCallback(&callback);
            client.Start();
            callback.connected.get_future().wait();
            if (client.SubscribeClampControl().empty()) {
                std::_Exit(kWrong);
            }
            work(client);
        });
    }

    /// Repeats that with more and more memory, until there was enough. Every process must end with 0 or, if
    /// memory was missing, with kMemoryWasMissing.
    /// @param step by how many allocations one process has more than the one before
    void runWithMoreAndMoreMemory(const std::function<void(ClampControlClient&, long)>& work, long step = 1) {
        ChildResult result;
        result.exitCode = kMemoryWasMissing;
        long tried = 0;
        for (long allocations = 0; result.exitCode == kMemoryWasMissing; allocations += step) {
            tried = allocations;
            result = runSubscribed(
                [&work, allocations](ClampControlClient& client) { work(client, allocations); });
            ASSERT_EQ(result.signal, 0) << allocations << " allocations: " << result.errors;
        }
        EXPECT_EQ(result.exitCode, 0) << tried << " allocations: " << result.errors;
    }

 private:
    const TemporaryDirectory directory_;
    const test_support::BusProgram bus_{test_support::commandOf(
        ZEB_BUS_SIM, {directory_.write("bus.json", R"({"services":{"ClampControl":{"clamps":[
            {"id":"c15","type":"Clamp15","isSwitchedOn":true}]}}})")})};
    const std::string configuration_ = directory_.write(
        "config.json",
        R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{"serverBaseUri":")" +
            bus_.baseUri() + R"("}}})");
};

int codeOfMemory() {
    allocationsLeft = -1;
    return allocationHasFailed ? kMemoryWasMissing : 0;
}

TEST_F(ClientWithoutMemory, StopsWithoutAnException) {
    runWithMoreAndMoreMemory([](ClampControlClient& sut, long allocations) {
        allocationsLeft = allocations;
        sut.Stop();
        std::_Exit(codeOfMemory());
    });
}

// How far an exit comes with some memory, nobody can say afterwards; so every number is tried that may
// matter.
TEST_F(ClientWithoutMemory, LetsTheProcessExit) {
    for (long allocations = 0; allocations < 40; ++allocations) {
        const auto result = runSubscribed([allocations](ClampControlClient&) {
            allocationsLeft = allocations;
            std::exit(0);
        });
        EXPECT_EQ(result.signal, 0) << allocations << " allocations: " << result.errors;
    }
}

TEST_F(ClientWithoutMemory, FindsTheServiceAgainAfterItsConnectionWasLost) {
    runWithMoreAndMoreMemory([](ClampControlClient&, long allocations) {
        const Connections connections;
        const int changes = callback.changes + 2;
        allocationsLeft = allocations;
        connections.end();
        while (!allocationHasFailed && callback.changes < changes) {
            std::this_thread::yield();
        }
        allocationsLeft = -1;
        while (callback.changes < changes) {
            std::this_thread::yield();
        }
        std::_Exit(codeOfMemory());
    });
}

TEST_F(ClientWithoutMemory, DoesNotKeepAFollowerFromFindingTheStateAgain) {
    runWithMoreAndMoreMemory(
        [](ClampControlClient&, long allocations) {
            static const ClampFollower follower;
            if (!follower.waitFor(ClampState::On, kLimit)) {
                std::_Exit(kWrong);
            }
            const Connections connections;
            allocationsLeft = allocations;
            connections.end();
            while (!allocationHasFailed &&
                   !(callback.changes >= 3 && follower.status().state == ClampState::On)) {
                std::this_thread::yield();
            }
            allocationsLeft = -1;
            if (!follower.waitFor(ClampState::On, kLimit)) {
                std::cerr << follower.status().reason << std::endl;
                std::_Exit(kWrong);
            }
            std::_Exit(codeOfMemory());
        },
        kStepOfSlowTests);
}

TEST_F(ClientWithoutMemory, DoesNotKeepAFollowerFromFollowing) {
    runWithMoreAndMoreMemory(
        [](ClampControlClient&, long allocations) {
            allocationsLeft = allocations;
            const ClampFollower follower;
            const ClampFollower withHandler([](const ClampStatus&) {});
            while (!allocationHasFailed && follower.status().state != ClampState::On) {
                std::this_thread::yield();
            }
            allocationsLeft = -1;
            const bool isMade = follower.status().reason.find("no memory") == std::string::npos;
            std::_Exit(!isMade || follower.waitFor(ClampState::On, kLimit) ? codeOfMemory() : kWrong);
        },
        kStepOfSlowTests);
}

// Without memory on the other threads, the call may have to wait for its time limit.
TEST_F(ClientWithoutMemory, FailsToSubscribeOnlyAsItsHeaderSays) {
    runWithMoreAndMoreMemory([](ClampControlClient& sut, long allocations) {
        test_data_objects::failOnThisThreadOnly();
        allocationsLeft = allocations;
        try {
            sut.SubscribeClampControl();
        } catch (const std::runtime_error&) {
            // It is not connected any more.
        }
        std::_Exit(codeOfMemory());
    });
}

}  // namespace
