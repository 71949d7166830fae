// P39, P40: what the platform's threads use lives until they have ended, also when the process ends. Each
// process here owns the platform as the client library does: in a static that is made before the first
// platform object.

#include <ChildProcess.h>
#include <gtest/gtest.h>
#include <zeb/IWebsocketManager.h>
#include <zeb/IWebsocketManagerFactory.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "PlatformFixture.h"

namespace {

using test_support::LightingService;
using test_support::TestConfiguration;
using zebutil::SingleThreadAsyncTaskExecutor;

/// Connections that open and close at once, without a pause.
class HastyWebsockets : public zeb::IWebsocketManagerFactory {
 public:
    std::shared_ptr<zeb::IWebsocketManager> createWebsocketManager(
        const std::string& /*clientName*/, const zeb::WebsocketSettings& /*settings*/,
        std::shared_ptr<zebutil::ITaskExecutor> executor, std::shared_ptr<zebutil::ILogger> /*logger*/,
        zeb::WebsocketObserver observer) override {
        executor->add(std::move(observer.opened), "opened");
        executor->add([closed = std::move(observer.closed)] { closed({"hasty"}); }, "closed");
        return std::make_shared<NoConnection>();
    }

 private:
    class NoConnection : public zeb::IWebsocketManager {
     public:
        std::shared_ptr<zeb::Subscription> subscribe(const std::string&, const std::string&, DataHandler,
                                                     EndedHandler) override {
            return nullptr;
        }
        void unsubscribeFromAll() override {}
        void close(const std::string&) override {}
        void stop() override {}
    };
};

/// The platform of a process, ended in the order of the client library. Its threads go on until then.
class Platform {
 public:
    Platform() = default;
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    ~Platform() {
        zebExecutor_->stop();
        httpExecutor_->stop();
        registry_->stop();
    }

    void start(std::function<void()> onConnected) {
        const auto loggers = std::make_shared<test_support::RecordingLoggerFactory>(
            std::make_shared<test_support::RecordedLog>());
        zebExecutor_ = startedExecutor("zebExecutor", *loggers);
        httpExecutor_ = startedExecutor("httpExecutor", *loggers);
        const auto configuration = std::make_shared<TestConfiguration>();
        configuration->known.serverBaseUri = "http://127.0.0.1:9";
        configuration->known.serverBasePath = "/";
        zeb::ZebServiceRegistry::Settings settings;
        settings.mode = zeb::ZebServiceRegistry::Mode::StaticOnly;
        registry_ = std::make_shared<zeb::ZebServiceRegistry>(
            std::make_shared<HastyWebsockets>(), configuration, loggers,
            std::make_shared<zeb::HttpAccessFactory>(std::make_shared<zebutil::PocoHttpSessionFactory>()),
            zebExecutor_, httpExecutor_, settings,
            std::make_shared<zeb::ZebServiceConfigurations::ServiceSettings>());
        zeb::ServiceListener<LightingService> listener;
        listener.connected = [onConnected = std::move(onConnected)](const std::shared_ptr<LightingService>&) {
            onConnected();
        };
        registry_->registerServiceListener(listener);
    }

 private:
    static std::shared_ptr<SingleThreadAsyncTaskExecutor> startedExecutor(const char* name,
                                                                          zebutil::LoggerFactory& loggers) {
        auto executor = std::make_shared<SingleThreadAsyncTaskExecutor>(name, loggers.createLogger(name));
        executor->start();
        return executor;
    }

    std::shared_ptr<SingleThreadAsyncTaskExecutor> zebExecutor_;
    std::shared_ptr<SingleThreadAsyncTaskExecutor> httpExecutor_;
    std::shared_ptr<zeb::ZebServiceRegistry> registry_;
};

// P39, P40
TEST(ExitContract, IsCleanWhileTheRegistryReconnectsWithoutAPause) {
    constexpr int processes = 100;
    for (int process = 0; process < processes; ++process) {
        const auto result = test_support::runInChild([process] {
            static Platform platform;
            static std::atomic<int> connections = 0;
            platform.start([] { ++connections; });
            // Each process exits after another number of connections, with the next one being made.
            while (connections < process) {
                std::this_thread::yield();
            }
        });
        ASSERT_EQ(result.signal, 0) << "process " << process << ": " << result.errors;
        ASSERT_EQ(result.exitCode, 0) << "process " << process << ": " << result.errors;
    }
}

}  // namespace
