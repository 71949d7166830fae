// A trust store whose file system does not answer. Numbers are those of the promises in
// docs/platform-contract.md.

#include <HangingFiles.h>
#include <PlatformFixture.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

using namespace std::chrono_literals;
using test_support::HangingFiles;
using test_support::Lamp;
using test_support::LampDescriptor;

/// For a call that must not wait for anything; leaves room for a machine that is busy.
constexpr std::chrono::milliseconds kAtOnce = 1s;

class HangingTrustStore : public test_support::PlatformFixture {
 protected:
    HangingTrustStore() {
        HangingFiles::hang(store);
        ::setenv("SSL_CERT_FILE", store.c_str(), 1);
        secureUri = "https://127.0.0.1:" + std::to_string(bus.port());
    }

    void TearDown() override {
        PlatformFixture::TearDown();
        ::unsetenv("SSL_CERT_FILE");
    }

    void expectStopAtOnce() {
        const auto begin = std::chrono::steady_clock::now();
        stop();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, kAtOnce);
    }

    void connectSecurely() {
        configuration->known.serverBaseUri = secureUri;
        createRegistry();
        listen();
    }

    // Nobody else ever looks at a file of this name, so each test has a hanging thread of its own.
    const std::string store =
        std::string("/hangs/") + testing::UnitTest::GetInstance()->current_test_info()->name();
    std::string secureUri;
};

// P50
TEST_F(HangingTrustStore, DoesNotDelayStopWhileAServiceIsConnected) {
    connectSecurely();
    HangingFiles::waitForLook(store);
    expectStopAtOnce();
}

// P50
TEST_F(HangingTrustStore, DoesNotDelayStopWhileARequestIsMade) {
    const auto access = zeb::HttpAccessFactory(std::make_shared<zebutil::PocoHttpSessionFactory>())
                            .createAccess({"Lighting", secureUri, "/", ""});
    zeb::ZebAccessor accessor(access, httpExecutor, zebExecutor, loggers->createLogger("accessor"));
    accessor.findFirst<Lamp>(
        LampDescriptor(), [](const std::shared_ptr<const Lamp>&, const auto&) {},
        [](const std::shared_ptr<const zeb::ZebResponse>&) {});
    HangingFiles::waitForLook(store);
    expectStopAtOnce();
}

// P50
TEST_F(HangingTrustStore, EndsAnAttemptAtItsTimeLimit) {
    connectSecurely();
    EXPECT_TRUE(log->waitFor("no connection within 5 s: TLS: its files could not be read in time"));
}

TEST_F(HangingTrustStore, DoesNotHoldUpOtherServices) {
    createRegistry();
    zeb::WebsocketSettings settings;
    settings.uri = "wss://127.0.0.1:" + std::to_string(bus.port()) + "/Heating";
    const auto manager = websockets->createWebsocketManager("Heating", settings, zebExecutor,
                                                            loggers->createLogger("websocket"), {});
    HangingFiles::waitForLook(store);
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
}

}  // namespace
