// A process may end while clients exist anywhere in it and notifications arrive. Each test runs such a
// process, with the shipped library, the real log and a bus on loopback.

#include <BusProgram.h>
#include <Certificates.h>
#include <ChildProcess.h>
#include <Emulator.h>
#include <TemporaryDirectory.h>
#include <TrustedAuthority.h>
#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <tuple>

#include "ChangingBus.h"

namespace {

using clampcontrolclient::ClampControlClient;
using test_support::runInChild;
using test_support::TemporaryDirectory;

/// Whether a callback ends the process.
std::atomic<bool> isExiting = false;

/// Ends the process in the first call of the callback that the test has chosen.
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

    /// Set once connected. An exit does not break the promise: that would wake a waiting thread, which would
    /// then use what the exit destroys.
    std::shared_ptr<std::promise<void>> connected() const { return connected_; }

 private:
    void exitIf(Exit where) const {
        if (exit_ == where) {
            isExiting = true;
            std::exit(0);
        }
    }

    const Exit exit_;
    std::shared_ptr<std::promise<void>> connected_{std::make_shared<std::promise<void>>()};
};

void PrintTo(Callback::Exit exit, std::ostream* stream) {
    switch (exit) {
        case Callback::Exit::Nowhere:
            *stream << "Nowhere";
            break;
        case Callback::Exit::InConnection:
            *stream << "OnConnectionStateChanged";
            break;
        case Callback::Exit::InNotification:
            *stream << "OnClampNotification";
            break;
        case Callback::Exit::InClamp:
            *stream << "OnClampStateChanged";
            break;
    }
}

/// A bus over TLS, whose terminal 15 changes for longer than a test takes. It runs in a child process, and
/// another child process issues its certificate: the process under test must be the first to use OpenSSL.
class TlsBus {
 public:
    TlsBus() {
        runInChild([this] {
            const test_support::CertificationAuthority authority(directory_.path(), "authority");
            const auto certificate = authority.issue("bus");
            std::filesystem::copy_file(authority.certificateFile(), trusted());
            std::filesystem::copy_file(certificate.certificateFile, file("certificate"));
            std::filesystem::copy_file(certificate.keyFile, file("key"));
        });
        directory_.write("bus.json", e2e::kChangingBus);
        directory_.write("changes.json", changes());
        program_ = std::make_unique<test_support::BusProgram>(
            test_support::commandOf(ZEB_BUS_SIM, {"--tls-cert", file("certificate"), "--tls-key", file("key"),
                                                  "--scenario", file("changes.json"), file("bus.json")}));
    }

    const std::string& baseUri() const { return program_->baseUri(); }
    /// For SSL_CERT_FILE.
    std::string trusted() const { return file("trusted"); }

 private:
    std::string file(const std::string& name) const { return (directory_.path() / name).string(); }

    static std::string changes() {
        std::string steps = R"({"wait":{"subscribers":{"path":"/ClampControl/clamps/c15","count":1}}})";
        for (int i = 0; i < 3'000; ++i) {
            steps.append(R"(,{"set":{"path":"/ClampControl/clamps/c15","data":{"isSwitchedOn":)")
                .append(i % 2 == 0 ? "false" : "true")
                .append(R"(}}},{"wait":{"ms":1}})");
        }
        return "[" + steps + "]";
    }

    TemporaryDirectory directory_;
    std::unique_ptr<test_support::BusProgram> program_;
};

void subscribe(ClampControlClient& client, Callback& callback) {
    const auto connected = callback.connected();  // taken before an exit inside the callback can destroy it
    client.AssignCallback(&callback);
    client.Start();
    connected->get_future().wait();
    if (client.SubscribeClampControl().empty() && !isExiting) {
        std::_Exit(4);  // without a subscription the callbacks would never run
    }
}

[[noreturn]] void waitForTheEnd() {
    while (true) {
        ::pause();
    }
}

enum class Transport { Plain, Tls };

void PrintTo(Transport transport, std::ostream* stream) {
    *stream << (transport == Transport::Plain ? "Plain" : "Tls");
}

std::string nameOf(const testing::TestParamInfo<Transport>& instance) {
    return testing::PrintToString(instance.param);
}

/// Runs `work` with a bus in a child process and expects a clean exit.
void expectCleanExit(Transport transport, const std::function<void()>& work) {
    const TemporaryDirectory directory;
    const auto tlsBus = transport == Transport::Tls ? std::make_unique<TlsBus>() : nullptr;
    const test_support::NoAuthorities noAuthorities;
    const auto result = runInChild([&] {
        csc_logging::CSCLogging::InitLogging("ExitTest");
        if (tlsBus) {
            ::setenv("SSL_CERT_FILE", tlsBus->trusted().c_str(), 1);
        }
        e2e::configureClients(directory, tlsBus ? tlsBus->baseUri() : e2e::startChangingBus());
        work();
    });
    EXPECT_EQ(result.signal, 0) << result.errors;
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

class ProcessExit : public testing::TestWithParam<Transport> {
 protected:
    static void expectCleanExit(const std::function<void()>& work) { ::expectCleanExit(GetParam(), work); }
};

INSTANTIATE_TEST_SUITE_P(Plain, ProcessExit, testing::Values(Transport::Plain), nameOf);
INSTANTIATE_TEST_SUITE_P(Tls, ProcessExit, testing::Values(Transport::Tls), nameOf);

TEST_P(ProcessExit, IsCleanAfterStop) {
    expectCleanExit([] {
        Callback callback;
        ClampControlClient client;
        subscribe(client, callback);
        client.Stop();
    });
}

TEST_P(ProcessExit, IsCleanWithoutStop) {
    expectCleanExit([] {
        Callback callback;
        ClampControlClient client;
        subscribe(client, callback);
    });
}

TEST_P(ProcessExit, IsCleanWithAClientInAStatic) {
    expectCleanExit([] {
        static Callback callback;
        static ClampControlClient client;
        subscribe(client, callback);
    });
}

TEST_P(ProcessExit, IsCleanWithAClientThatIsNeverDestroyed) {
    expectCleanExit([] {
        static auto& callback = *new Callback();
        static auto& client = *new ClampControlClient();
        subscribe(client, callback);
    });
}

TEST_P(ProcessExit, IsCleanWithAClientInARunningThread) {
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

TEST_P(ProcessExit, IsCleanWhenAnotherThreadExits) {
    expectCleanExit([] {
        Callback callback;
        ClampControlClient client;
        subscribe(client, callback);
        std::thread([] { std::exit(0); }).detach();
        waitForTheEnd();
    });
}

TEST_P(ProcessExit, IsCleanWhileAClientIsBeingStopped) {
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

/// Constructed before everything in the library, so destroyed after it.
std::unique_ptr<ClampControlClient> heldByAGlobal;

TEST_P(ProcessExit, IsCleanWithAClientThatAGlobalHolds) {
    expectCleanExit([] {
        static auto& callback = *new Callback();
        heldByAGlobal = std::make_unique<ClampControlClient>();
        subscribe(*heldByAGlobal, callback);
    });
}

class ProcessExitOverTls : public ProcessExit {};

INSTANTIATE_TEST_SUITE_P(Tls, ProcessExitOverTls, testing::Values(Transport::Tls), nameOf);

TEST_P(ProcessExitOverTls, LeavesOpenSslToTheThreadsThatStillUseIt) {
    expectCleanExit([] {
        // Runs after the exit handlers of everything first used from here on, and before the end of the base.
        std::atexit([] {
            if (OPENSSL_init_ssl(0, nullptr) != 1) {
                std::_Exit(3);
            }
        });
        static auto& callback = *new Callback();
        static auto& client = *new ClampControlClient();
        subscribe(client, callback);
    });
}

std::string nameOfExit(const testing::TestParamInfo<std::tuple<Transport, Callback::Exit>>& instance) {
    return testing::PrintToString(std::get<Callback::Exit>(instance.param));
}

class ProcessExitInsideACallback : public testing::TestWithParam<std::tuple<Transport, Callback::Exit>> {
 protected:
    static void expectCleanExit(const std::function<void()>& work) {
        ::expectCleanExit(std::get<Transport>(GetParam()), work);
    }
    static Callback::Exit exit() { return std::get<Callback::Exit>(GetParam()); }
};

constexpr auto kCallbacks = {Callback::Exit::InConnection, Callback::Exit::InNotification,
                             Callback::Exit::InClamp};
INSTANTIATE_TEST_SUITE_P(Plain, ProcessExitInsideACallback,
                         testing::Combine(testing::Values(Transport::Plain), testing::ValuesIn(kCallbacks)),
                         nameOfExit);
INSTANTIATE_TEST_SUITE_P(Tls, ProcessExitInsideACallback,
                         testing::Combine(testing::Values(Transport::Tls), testing::ValuesIn(kCallbacks)),
                         nameOfExit);

TEST_P(ProcessExitInsideACallback, IsClean) {
    expectCleanExit([] {
        Callback callback(exit());
        ClampControlClient client;
        subscribe(client, callback);
        waitForTheEnd();
    });
}

TEST_P(ProcessExitInsideACallback, IsCleanWithAClientInAStatic) {
    expectCleanExit([] {
        static Callback callback(exit());
        static ClampControlClient client;
        subscribe(client, callback);
        waitForTheEnd();
    });
}

}  // namespace
