// What a registry says: each line of the input is the "data" of one notification of the list of services. A
// line of only "!" ends the connections to the services.
#include <zeb/IConfigManager.h>
#include <zeb/ITpAccess.h>
#include <zeb/ITpAccessFactory.h>
#include <zeb/IWebsocketManager.h>
#include <zeb/IWebsocketManagerFactory.h>
#include <zeb/Service.h>
#include <zeb/ZebException.h>
#include <zeb/ZebServiceRegistry.h>
#include <zebutil/ITaskExecutor.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Require.h"
#include "SilentLog.h"

namespace {

using fuzz::require;

/// Runs the tasks when it is told to. Like the real one, it survives a task that throws.
class QueueExecutor : public zebutil::ITaskExecutor {
 public:
    void add(std::function<void()> function, const char*) override { tasks_.push_back(std::move(function)); }

    void drain() {
        for (; !tasks_.empty(); tasks_.pop_front()) {
            try {
                tasks_.front()();
            } catch (const std::exception&) {
                continue;  // it would be logged
            }
        }
    }

 private:
    std::deque<std::function<void()>> tasks_;
};

class NoConfiguration : public zeb::IConfigManager {
 public:
    std::string getServerBaseUri(const std::string&) const override { return {}; }
    std::string getServerBasePath(const std::string&) const override { return "/"; }
    std::string getSeparatorAfterResource(const std::string&) const override { return {}; }
    bool isServiceConfigurationKnown(const std::string&) const override { return false; }
    std::chrono::milliseconds getWatchdogPingInterval(const std::string&) const override { return {}; }
    std::chrono::milliseconds getWatchdogPongTimeout(const std::string&) const override { return {}; }
    zeb::ZebServiceConfigurations::ServiceConfiguration getServiceConfiguration(
        const std::string&) const override {
        return {};
    }
};

class NoAccess : public zeb::ITpAccess {
 public:
    zeb::ZebResponse get(const std::string&, const std::string&, const Query&, Deadline) override {
        throw std::runtime_error("nobody answers");
    }
    zeb::ZebResponse post(const std::string&, const std::string&, const std::string&, Deadline) override {
        throw std::runtime_error("nobody answers");
    }
};

bool isPrintable(const std::string& text) {
    return std::none_of(text.begin(), text.end(), [](char each) {
        const auto byte = static_cast<unsigned char>(each);
        return byte <= 0x20 || byte == 0x7F;
    });
}

void requireAddress(const std::string& uri, const char* scheme) {
    require(uri.rfind(scheme, 0) == 0, "an address has the scheme of an http server");
    require(isPrintable(uri), "an address has no control characters and no blanks");
    require(uri.find_first_of("?#@") == std::string::npos || uri.find("://") < uri.find('/', 8),
            "an address has a host");
}

class CheckingAccessFactory : public zeb::ITpAccessFactory {
 public:
    std::shared_ptr<zeb::ITpAccess> createAccess(const zeb::TpEndpoint& endpoint) override {
        requireAddress(endpoint.serverBaseUri, "http");
        require(isPrintable(endpoint.basePath), "a base path has no control characters and no blanks");
        return std::make_shared<NoAccess>();
    }
};

class Connection : public zeb::IWebsocketManager {
 public:
    explicit Connection(zeb::WebsocketObserver websocketObserver) : observer(std::move(websocketObserver)) {}

    std::shared_ptr<zeb::Subscription> subscribe(const std::string&, const std::string&,
                                                 DataHandler dataHandler, EndedHandler) override {
        handler = std::move(dataHandler);
        return nullptr;
    }
    void unsubscribeFromAll() override { handler = nullptr; }
    void close(const std::string&) override { isClosing = true; }
    void stop() override { isOpen = false; }

    const zeb::WebsocketObserver observer;
    DataHandler handler;
    bool isClosing = false;
    bool isOpen = true;
};

/// Keeps the latest connection of each service.
class CheckingConnectionFactory : public zeb::IWebsocketManagerFactory {
 public:
    std::shared_ptr<zeb::IWebsocketManager> createWebsocketManager(const std::string& service,
                                                                   const zeb::WebsocketSettings& settings,
                                                                   std::shared_ptr<zebutil::ITaskExecutor>,
                                                                   std::shared_ptr<zebutil::ILogger>,
                                                                   zeb::WebsocketObserver observer) override {
        requireAddress(settings.uri, "ws");
        require(settings.connectDelay.count() >= 0, "a pause is not negative");
        std::shared_ptr<Connection>& connection = connections[service];
        require(!connection || !connection->isOpen, "a service has one connection at a time");
        connection = std::make_shared<Connection>(std::move(observer));
        return connection;
    }

    std::map<std::string, std::shared_ptr<Connection>> connections;
};

zeb::UntypedServiceListener listenerFor(const std::string& service) {
    zeb::UntypedServiceListener listener;
    listener.serviceName = service;
    listener.createService = [](std::shared_ptr<zeb::ZebAccessor> accessor,
                                std::shared_ptr<zeb::IWebsocketManager> manager) {
        return std::make_shared<zeb::Service>(std::move(accessor), std::move(manager));
    };
    return listener;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto executor = std::make_shared<QueueExecutor>();
    const auto connections = std::make_shared<CheckingConnectionFactory>();
    zeb::ZebServiceRegistry sut(connections, std::make_shared<NoConfiguration>(),
                                std::make_shared<test_support::RecordingLoggerFactory>(fuzz::silentLog()),
                                std::make_shared<CheckingAccessFactory>(), executor, executor,
                                {zeb::ZebServiceRegistry::Mode::DynamicOnly, "http://127.0.0.1:1"},
                                std::make_shared<zeb::ZebServiceConfigurations::ServiceSettings>());
    sut.registerServiceListener(listenerFor("ClampControl"));
    sut.registerServiceListener(listenerFor("Immobilizer"));
    executor->drain();
    const std::shared_ptr<Connection> registry = connections->connections["serviceregistry"];
    require(registry != nullptr, "the registry is asked for");
    registry->observer.opened();
    executor->drain();
    require(static_cast<bool>(registry->handler), "the list of services is subscribed to");

    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        if (line != "!") {
            executor->add([&] { registry->handler(line); }, "a list");
            executor->drain();
        }
        for (const char* service : {"ClampControl", "Immobilizer"}) {
            const std::shared_ptr<Connection> connection = connections->connections[service];
            if (connection && connection->isOpen && (line == "!" || connection->isClosing)) {
                connection->isOpen = false;
                connection->observer.closed({"the input says so"});
                executor->drain();
            }
        }
    }
    sut.stop();
    executor->drain();
    require(std::none_of(connections->connections.begin(), connections->connections.end(),
                         [](const auto& each) { return each.second && each.second->isOpen; }),
            "no connection is left");
    return 0;
}
