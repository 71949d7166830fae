#pragma once

#include <gtest/gtest.h>
#include <zeb-bus-sim/BusSimulator.h>
#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zeb/ElementRegistry.h>
#include <zeb/HttpAccessFactory.h>
#include <zeb/IConfigManager.h>
#include <zeb/Service.h>
#include <zeb/ServiceListener.h>
#include <zeb/XObject.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebServiceRegistry.h>
#include <zebutil/JsonObject.h>
#include <zebutil/PocoHttpSessionFactory.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "RecordingLogger.h"

namespace test_support {

/// Long enough for everything that is expected to happen, and short enough to fail in reasonable time.
constexpr std::chrono::seconds kLimit{20};

/// Values passed from the platform's threads to the test, in order.
template <typename T>
class Received {
 public:
    void push(T value) {
        // Notifies under the lock, since the receiver of the value may destroy this object.
        const std::lock_guard lock(mutex_);
        values_.push_back(std::move(value));
        changed_.notify_all();
    }

    /// The next value, or none if there is none within the limit.
    std::optional<T> next(std::chrono::milliseconds limit = kLimit) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, limit, [this] { return !values_.empty(); })) {
            return std::nullopt;
        }
        T value = std::move(values_.front());
        values_.pop_front();
        return value;
    }

    std::size_t size() const {
        const std::lock_guard lock(mutex_);
        return values_.size();
    }

 private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<T> values_;
};

class LampDescriptor : public zeb::XObjectDescriptor {
 public:
    LampDescriptor() : XObjectDescriptor("Lighting", "lamps") {}
};

inline LampDescriptor lampOf(const std::string& id) {
    LampDescriptor descriptor;
    descriptor.setId(id);
    return descriptor;
}

/// An element of a resource that only the tests know, so that they do not depend on generated data objects.
class Lamp : public zeb::XObject<LampDescriptor> {
 public:
    explicit Lamp(std::shared_ptr<zebutil::JsonObject> json) : XObject(std::move(json)) {}
    std::int64_t level() const { return json()->getInt64("level"); }
};

class LightingService : public zeb::Service {
 public:
    using zeb::Service::Service;
    static std::string getServiceName() { return "Lighting"; }
};

/// A configuration that the tests fill in.
class TestConfiguration : public zeb::IConfigManager {
 public:
    std::string getServerBaseUri(const std::string&) const override { return known.serverBaseUri; }
    std::string getServerBasePath(const std::string&) const override { return known.serverBasePath; }
    std::string getSeparatorAfterResource(const std::string&) const override {
        return known.separatorAfterResource;
    }
    bool isServiceConfigurationKnown(const std::string& service) const override {
        if (isUnreadable) {
            throw std::runtime_error("the configuration cannot be read");
        }
        return isKnown && service == "Lighting";
    }
    std::chrono::milliseconds getWatchdogPingInterval(const std::string&) const override {
        return known.watchdogPingInterval;
    }
    std::chrono::milliseconds getWatchdogPongTimeout(const std::string&) const override {
        return known.watchdogPongTimeout;
    }
    zeb::ZebServiceConfigurations::ServiceConfiguration getServiceConfiguration(
        const std::string&) const override {
        const std::lock_guard lock(mutex_);
        return known;
    }

    /// Changes the server's address while the platform already uses it.
    void moveTo(const std::string& serverBaseUri) {
        const std::lock_guard lock(mutex_);
        known.serverBaseUri = serverBaseUri;
    }

    bool isKnown = true;
    bool isUnreadable = false;
    zeb::ZebServiceConfigurations::ServiceConfiguration known;

 private:
    mutable std::mutex mutex_;
};

/// Its destructor waits until the process has no more threads of the given name. The platform's I/O thread
/// ends by itself, a moment after the last connection has closed. If the process ended in that moment, the
/// leak checker would report what the thread had not freed yet.
class ThreadHasEnded {
 public:
    explicit ThreadHasEnded(std::string name) : name_(std::move(name)) {}
    ~ThreadHasEnded() {
        const auto limit = std::chrono::steady_clock::now() + kLimit;
        while (isThere() && std::chrono::steady_clock::now() < limit) {
            std::this_thread::yield();  // there is no event to wait for, so this polls the kernel
        }
    }
    ThreadHasEnded(const ThreadHasEnded&) = delete;
    ThreadHasEnded& operator=(const ThreadHasEnded&) = delete;

 private:
    bool isThere() const {
        std::error_code ended;  // the thread may end after it was listed
        for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task", ended)) {
            std::string name;
            std::getline(std::ifstream(thread.path() / "comm"), name);
            if (name == name_) {
                return true;
            }
        }
        return false;
    }

    const std::string name_;
};

/// A platform, assembled as the client framework assembles it, and a bus for it to connect to.
class PlatformFixture : public testing::Test {
 protected:
    using Mode = zeb::ZebServiceRegistry::Mode;

    PlatformFixture() {
        bus.loadText(R"({"services":{
            "Lighting":{"lamps":[{"id":"1","name":"left","level":10},{"id":"2","name":"right","level":20}]},
            "Heating":{"zones":[{"id":"1"}]}}})");
        bus.start();
        zebExecutor = createExecutor("zebExecutor");
        httpExecutor = createExecutor("httpExecutor");
        configuration->known.serverBaseUri = bus.baseUri();
        configuration->known.serverBasePath = bus.basePath();
    }

    void TearDown() override { stop(); }

    void createRegistry(Mode mode = Mode::StaticOnly) {
        zeb::ZebServiceRegistry::Settings settings;
        settings.mode = mode;
        settings.httpUri = bus.baseUri();
        registry = std::make_shared<zeb::ZebServiceRegistry>(
            websockets, configuration, loggers,
            std::make_shared<zeb::HttpAccessFactory>(std::make_shared<zebutil::PocoHttpSessionFactory>()),
            zebExecutor, httpExecutor, settings, serviceSettings);
        elements = std::make_shared<zeb::ElementRegistry>(registry, loggers->createLogger("ElementRegistry"));
    }

    // Stops everything in the order that the client framework uses.
    void stop() {
        if (elements) {
            elements->unsubscribeFromAll();
        }
        zebExecutor->stop();
        httpExecutor->stop();
        if (registry) {
            registry->stop();
        }
        websockets->stopAndClearAll();
    }

    template <typename S = LightingService>
    void listen() {
        zeb::ServiceListener<S> listener;
        listener.connected = [this](std::shared_ptr<S> service) {
            const std::lock_guard lock(serviceMutex_);
            service_ = service;
            states.push("connected");
        };
        listener.disconnected = [this] { states.push("disconnected"); };
        listener.error = [this](const std::exception&) { states.push("error"); };
        registry->registerServiceListener(listener);
    }

    // Waits until the listener reports the service as connected, and returns the service.
    std::shared_ptr<zeb::Service> connect() {
        if (!registry) {
            createRegistry();
        }
        listen();
        EXPECT_EQ(states.next(), "connected");
        return service();
    }

    std::shared_ptr<zeb::Service> service() {
        const std::lock_guard lock(serviceMutex_);
        return service_;
    }

    std::shared_ptr<zeb::Subscription> subscribe(const std::shared_ptr<zeb::Service>& to,
                                                 const std::string& id = "1") {
        LampDescriptor descriptor;
        descriptor.setId(id);
        return to->subscribeElement<Lamp>(
            descriptor, [this](std::shared_ptr<const Lamp> lamp) { levels.push(lamp ? lamp->level() : -1); });
    }

    // Returns when the zebExecutor has run everything queued before this call.
    void drainExecutor() {
        Received<bool> reached;
        zebExecutor->add([&reached] { reached.push(true); }, "drain");
        EXPECT_TRUE(reached.next());
    }

    void setLevel(int level) { bus.set("/Lighting/lamps/1", "{\"level\":" + std::to_string(level) + "}"); }

    std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> createExecutor(const char* name) {
        auto executor =
            std::make_shared<zebutil::SingleThreadAsyncTaskExecutor>(name, loggers->createLogger(name));
        executor->start();
        return executor;
    }

    const ThreadHasEnded afterAllElse{"zebIo"};
    zebbussim::BusSimulator bus;
    const std::shared_ptr<RecordedLog> log = std::make_shared<RecordedLog>();
    const std::shared_ptr<zebutil::LoggerFactory> loggers = std::make_shared<RecordingLoggerFactory>(log);
    const std::shared_ptr<TestConfiguration> configuration = std::make_shared<TestConfiguration>();
    const std::shared_ptr<zeb::ZebServiceConfigurations::ServiceSettings> serviceSettings =
        std::make_shared<zeb::ZebServiceConfigurations::ServiceSettings>();
    const std::shared_ptr<zeb::DefaultWebsocketManagerFactory> websockets =
        std::make_shared<zeb::DefaultWebsocketManagerFactory>();
    std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> zebExecutor;
    std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> httpExecutor;
    std::shared_ptr<zeb::IServiceRegistry> registry;
    std::shared_ptr<zeb::ElementRegistry> elements;

    Received<std::string> states;
    Received<std::int64_t> levels;

 private:
    std::mutex serviceMutex_;
    std::shared_ptr<zeb::Service> service_;
};

}  // namespace test_support
