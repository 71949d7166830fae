#include "zeb-bus-sim/BusSimulator.h"

#include <Poco/JSON/Object.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdio>
#include <exception>
#include <fstream>
#include <future>
#include <iterator>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <variant>

#include "BusContext.h"
#include "BusError.h"
#include "BusServer.h"
#include "Json.h"
#include "Registry.h"
#include "TlsServerContext.h"

namespace zebbussim {

namespace asio = boost::asio;

namespace {

constexpr std::size_t kFloodQueue = 1024 * 1024;
constexpr std::size_t kFloodBurst = 256;

std::string normalizedBasePath(const std::string& basePath) {
    std::string path = basePath;
    path.insert(0, path.empty() || path.front() != '/' ? "/" : "");
    return path.back() == '/' ? path : path + "/";
}

/// Turns the errors of the wire into those of the library.
[[noreturn]] void rethrow(const BusError& error) {
    if (error.number == 400) {
        throw std::invalid_argument(error.what());
    }
    throw std::runtime_error(error.what());
}

template <typename Function>
auto translated(Function function) {
    try {
        return function();
    } catch (const BusError& error) {
        rethrow(error);
    }
}

Poco::JSON::Object::Ptr parsed(const std::string& json, const std::string& what) {
    return translated([&] { return parseJsonObject(json, what); });
}

BusPath elementPath(const std::string& path) {
    return translated([&] { return parseElementPath(path); });
}

std::string subscribablePath(const std::string& path) {
    return translated([&] { return parseBusPath(path).text(); });
}

}  // namespace

class BusSimulator::Impl : private BusListener {
 public:
    explicit Impl(const Options& simulatorOptions)
        : options(simulatorOptions),
          subscriptions(model, observations,
                        [this](std::chrono::milliseconds delay, std::function<void()> function) {
                            runLater(delay, std::move(function));
                        }),
          registry(model),
          context{model, subscriptions, observations, faults, normalizedBasePath(options.basePath)} {
        if (options.tlsCertificateFile.empty() != options.tlsKeyFile.empty()) {
            throw std::invalid_argument(options.tlsKeyFile.empty()
                                            ? "A TLS certificate without the file of its key"
                                            : "A TLS key without the file of its certificate");
        }
        model.setListener(this);
    }

    ~Impl() override { stop(); }

    void start() {
        if (server) {
            throw std::runtime_error("The simulator runs already");
        }
        ioContext = std::make_unique<asio::io_context>(1);
        try {
            server = std::make_unique<BusServer>(
                *ioContext, context, options.address, options.port, tlsContext(),
                BusServer::Events{[this] { continueFlood(); }, [this] { ioContext->stop(); }});
        } catch (...) {
            ioContext.reset();
            throw;
        }
        options.port = server->port();
        registry.setAddress(baseUri(), context.basePath);
        observations.update([](Observations::Numbers& numbers) { numbers.stopped = false; });
        thread_ = std::thread([this] { run(); });
    }

    void stop() {
        if (!server) {
            return;
        }
        observations.update([](Observations::Numbers& numbers) { numbers.stopped = true; });
        asio::post(*ioContext, [this] {
            if (flood_) {
                finishFlood(std::make_exception_ptr(std::runtime_error("The simulator was stopped")));
            }
            server->close();
        });
        thread_.join();
        server.reset();
        ioContext.reset();
    }

    std::uint16_t port() const { return options.port; }

    std::string baseUri() const {
        const bool isVersion6 = options.address.find(':') != std::string::npos;
        const std::string host = isVersion6 ? "[" + options.address + "]" : options.address;
        return (hasTls() ? "https://" : "http://") + host + ":" + std::to_string(options.port);
    }

    /// What a function that runs on the bus's thread has come to.
    template <typename Result>
    struct Outcome {
        std::conditional_t<std::is_void_v<Result>, std::monostate, std::optional<Result>> value;
        std::exception_ptr error;
        std::promise<void> decided;
    };

    /// Runs a function on the bus's thread and gives its result; on the caller's while the bus does not run.
    template <typename Function>
    auto invoke(Function function) {
        using Result = decltype(function());
        if (!server) {
            const std::lock_guard lock(idleMutex_);
            return translated(function);
        }
        const auto outcome = std::make_shared<Outcome<Result>>();
        std::future<void> decided = outcome->decided.get_future();
        asio::post(*ioContext, [&, outcome] {
            try {
                if constexpr (std::is_void_v<Result>) {
                    translated(function);
                } else {
                    outcome->value = translated(function);
                }
            } catch (...) {
                outcome->error = std::current_exception();
            }
            outcome->decided.set_value();
        });
        decided.get();
        if (outcome->error) {
            // Taken out, so that the bus's thread does not release what the caller still reads.
            std::rethrow_exception(std::exchange(outcome->error, nullptr));
        }
        if constexpr (!std::is_void_v<Result>) {
            return std::move(*outcome->value);
        }
    }

    void load(const std::string& json, const std::string& what) {
        const Poco::JSON::Object::Ptr root = parsed(json, what);
        const Poco::JSON::Object::Ptr services =
            root->isObject("services") ? root->getObject("services") : nullptr;
        if (services.isNull()) {
            throw std::invalid_argument(what + " has no \"services\" that is an object");
        }
        invoke([&] {
            for (const std::string& name : services->getNames()) {
                requireOrdinary(name);
                if (!services->isObject(name)) {
                    throw BusError::badRequest("The service " + quoted(name) +
                                               " is not an object of resources");
                }
                model.addService(name, *services->getObject(name));
            }
        });
    }

    static void requireOrdinary(const std::string& service) {
        if (service == Registry::kService) {
            throw BusError::badRequest(std::string("The service ") + Registry::kService + " is built in");
        }
    }

    void runFlood(const BusPath& path, const std::vector<Poco::JSON::Object::Ptr>& states,
                  std::size_t changes) {
        if (states.empty() || changes == 0) {
            return;
        }
        if (!server) {
            throw std::runtime_error("The simulator does not run");
        }
        std::future<void> done = invoke([&] {
            if (flood_) {
                throw BusError::badRequest("One flood at a time");
            }
            Flood started{path, {}, changes, 0, false, {}};
            for (const Poco::JSON::Object::Ptr& state : states) {
                started.states.push_back(model.merged(path, *state));
            }
            std::future<void> future = started.done.get_future();
            flood_.emplace(std::move(started));
            asio::post(*ioContext, [this] { stepFlood(); });
            return future;
        });
        done.get();
    }

    Options options;
    BusModel model;
    Observations observations;
    HttpFaults faults;
    Subscriptions subscriptions;
    Registry registry;
    BusContext context;
    std::unique_ptr<asio::io_context> ioContext;
    std::unique_ptr<BusServer> server;

 private:
    struct Flood {
        BusPath path;
        std::vector<Element> states;
        std::size_t changesLeft;
        std::size_t nextState;
        bool paused;
        std::promise<void> done;
    };

    bool hasTls() const { return !options.tlsCertificateFile.empty(); }

    std::optional<asio::ssl::context> tlsContext() const {
        return hasTls() ? std::make_optional(
                              createTlsServerContext(options.tlsCertificateFile, options.tlsKeyFile))
                        : std::nullopt;
    }

    void run() {
        const auto work = asio::make_work_guard(*ioContext);
        for (;;) {
            try {
                ioContext->run();
                return;
            } catch (const std::exception& exception) {
                std::fprintf(stderr, "zeb-bus-sim: %s\n", exception.what());
            }
        }
    }

    void runLater(std::chrono::milliseconds delay, std::function<void()> function) {
        const auto timer = std::make_shared<asio::steady_timer>(*ioContext, delay);
        timer->async_wait([timer, function = std::move(function)](const boost::system::error_code& error) {
            if (!error) {
                function();
            }
        });
    }

    void elementChanged(const BusPath& path, const Element& element) override {
        subscriptions.notifyElement(path, element);
    }
    void elementAdded(const BusPath& path) override { subscriptions.notifyCollection(path); }
    void elementRemoved(const BusPath& path) override {
        subscriptions.endElement(path);
        subscriptions.notifyCollection(path);
    }
    void servicesChanged() override { registry.update(); }
    void serviceClosed(const std::string& service) override {
        if (server) {
            for (const auto& peer : server->peersOf(service)) {
                peer->close(1001);
            }
        }
    }

    void stepFlood() {
        if (!flood_) {
            return;
        }
        flood_->paused = false;
        try {
            for (std::size_t burst = 0; burst < kFloodBurst && flood_->changesLeft > 0; ++burst) {
                if (server && server->longestQueue() > kFloodQueue) {
                    flood_->paused = true;
                    return;
                }
                model.replace(flood_->path, flood_->states[flood_->nextState]);
                flood_->nextState = (flood_->nextState + 1) % flood_->states.size();
                --flood_->changesLeft;
            }
        } catch (...) {
            finishFlood(std::current_exception());
            return;
        }
        if (flood_->changesLeft == 0) {
            finishFlood(nullptr);
        } else {
            asio::post(*ioContext, [this] { stepFlood(); });
        }
    }

    void continueFlood() {
        if (flood_ && flood_->paused && server->longestQueue() <= kFloodQueue / 2) {
            stepFlood();
        }
    }

    void finishFlood(const std::exception_ptr& exception) {
        Flood finished = std::move(*flood_);
        flood_.reset();
        exception ? finished.done.set_exception(exception) : finished.done.set_value();
    }

    std::thread thread_;
    std::mutex idleMutex_;
    std::optional<Flood> flood_;
};

BusSimulator::BusSimulator() : BusSimulator(Options()) {}
BusSimulator::BusSimulator(const Options& options) : impl_(std::make_unique<Impl>(options)) {}
BusSimulator::~BusSimulator() = default;

void BusSimulator::loadFile(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) {
        throw std::runtime_error("Cannot read the bus file " + fileName);
    }
    impl_->load(text, "The bus file " + fileName);
}

void BusSimulator::loadText(const std::string& json) {
    impl_->load(json, "The bus");
}

void BusSimulator::start() {
    impl_->start();
}
void BusSimulator::stop() {
    impl_->stop();
}
std::uint16_t BusSimulator::port() const {
    return impl_->port();
}
std::string BusSimulator::baseUri() const {
    return impl_->baseUri();
}
std::string BusSimulator::basePath() const {
    return impl_->context.basePath;
}

void BusSimulator::set(const std::string& path, const std::string& json) {
    const auto changes = parsed(json, "The state of " + path);
    impl_->invoke([&, parsedPath = elementPath(path)] { impl_->model.set(parsedPath, *changes); });
}

void BusSimulator::addElement(const std::string& path, const std::string& json) {
    const auto members = parsed(json, "The element " + path);
    impl_->invoke([&, parsedPath = elementPath(path)] { impl_->model.addElement(parsedPath, *members); });
}

void BusSimulator::removeElement(const std::string& path) {
    impl_->invoke([&, parsedPath = elementPath(path)] { impl_->model.removeElement(parsedPath); });
}

std::string BusSimulator::element(const std::string& path) {
    return impl_->invoke(
        [&, parsedPath = elementPath(path)] { return *impl_->model.element(parsedPath).text; });
}

void BusSimulator::addService(const std::string& name, const std::string& json) {
    const auto resources = parsed(json, "The service " + name);
    impl_->invoke([&] {
        Impl::requireOrdinary(name);
        impl_->model.addService(name, *resources);
    });
}

void BusSimulator::addService(const std::string& name) {
    impl_->invoke([&] { impl_->model.setServicePresent(name, true); });
}

void BusSimulator::removeService(const std::string& name) {
    impl_->invoke([&] {
        Impl::requireOrdinary(name);
        impl_->model.setServicePresent(name, false);
    });
}

void BusSimulator::setServiceAvailable(const std::string& name, bool available) {
    impl_->invoke([&] { impl_->model.setServiceAvailable(name, available); });
}

std::size_t BusSimulator::subscriberCount(const std::string& path) const {
    return impl_->observations.read([&, key = subscribablePath(path)](const Observations::Numbers& numbers) {
        return Observations::Numbers::of(numbers.subscribers, key);
    });
}

bool BusSimulator::waitForSubscribers(const std::string& path, std::size_t count,
                                      std::chrono::milliseconds timeout) {
    return impl_->observations.wait(
        [&, key = subscribablePath(path)](const Observations::Numbers& numbers) {
            return reached(Observations::Numbers::of(numbers.subscribers, key), count);
        },
        timeout);
}

std::size_t BusSimulator::webSocketCount(const std::string& service) const {
    return impl_->observations.read([&](const Observations::Numbers& numbers) {
        return Observations::Numbers::of(numbers.webSockets, service);
    });
}

bool BusSimulator::waitForWebSockets(const std::string& service, std::size_t count,
                                     std::chrono::milliseconds timeout) {
    return impl_->observations.wait(
        [&](const Observations::Numbers& numbers) {
            return reached(Observations::Numbers::of(numbers.webSockets, service), count);
        },
        timeout);
}

std::size_t BusSimulator::handshakeCount(const std::string& service) const {
    return impl_->observations.read([&](const Observations::Numbers& numbers) {
        return Observations::Numbers::of(numbers.handshakes, service);
    });
}

std::size_t BusSimulator::requestCount(const std::string& path) const {
    return impl_->observations.read([&](const Observations::Numbers& numbers) {
        return Observations::Numbers::of(numbers.requests, path);
    });
}

bool BusSimulator::waitForRequests(const std::string& path, std::size_t count,
                                   std::chrono::milliseconds timeout) {
    return impl_->observations.wait(
        [&](const Observations::Numbers& numbers) {
            return reached(Observations::Numbers::of(numbers.requests, path), count);
        },
        timeout);
}

bool BusSimulator::waitUntilSent(std::chrono::milliseconds timeout) {
    return impl_->observations.wait(
        [&](const Observations::Numbers&) { return impl_->observations.unsentMessages() == 0; }, timeout);
}

void BusSimulator::flood(const std::string& path, const std::vector<std::string>& states,
                         std::size_t changes) {
    std::vector<Poco::JSON::Object::Ptr> parsedStates;
    for (const std::string& state : states) {
        parsedStates.push_back(parsed(state, "A state of " + path));
    }
    impl_->runFlood(elementPath(path), parsedStates, changes);
}

void BusSimulator::delayFirstNotification(std::chrono::milliseconds delay) {
    impl_->invoke([&] { impl_->subscriptions.holdFirstNotifications(Subscriptions::Hold{delay}); });
}

void BusSimulator::withholdFirstNotifications() {
    impl_->invoke([&] { impl_->subscriptions.holdFirstNotifications(Subscriptions::Hold{}); });
}

void BusSimulator::releaseFirstNotifications() {
    impl_->invoke([&] { impl_->subscriptions.releaseFirstNotifications(); });
}

void BusSimulator::answerHttp(const std::string& path, int status, const std::string& body) {
    HttpFault fault;
    fault.status = status;
    fault.body = body;
    impl_->invoke([&] { impl_->faults.set(path, fault); });
}

void BusSimulator::answerHttpWithBytes(const std::string& path, const std::string& bytes) {
    HttpFault fault;
    fault.bytes = bytes;
    impl_->invoke([&] { impl_->faults.set(path, fault); });
}

void BusSimulator::ignoreHttp(const std::string& path) {
    HttpFault fault;
    fault.silent = true;
    impl_->invoke([&] { impl_->faults.set(path, fault); });
}

void BusSimulator::delayHttp(const std::string& path, std::chrono::milliseconds delay) {
    HttpFault fault;
    fault.delay = delay;
    impl_->invoke([&] { impl_->faults.set(path, fault); });
}

void BusSimulator::clearHttpFaults() {
    impl_->invoke([&] { impl_->faults.clear(); });
}

void BusSimulator::sendText(const std::string& path, const std::string& text) {
    impl_->invoke([&, key = subscribablePath(path)] {
        for (Subscriber* subscriber : impl_->subscriptions.subscribersOf(key)) {
            subscriber->send(text, nullptr);
        }
    });
}

void BusSimulator::sendBytes(const std::string& path, const std::string& bytes) {
    impl_->invoke([&, key = subscribablePath(path)] {
        for (Subscriber* subscriber : impl_->subscriptions.subscribersOf(key)) {
            subscriber->sendBytes(bytes);
        }
    });
}

void BusSimulator::dropConnections(const std::string& service) {
    impl_->invoke([&] {
        if (impl_->server) {
            for (const auto& peer : impl_->server->peersOf(service)) {
                peer->drop();
            }
        }
    });
}

void BusSimulator::closeConnections(const std::string& service, std::uint16_t code) {
    impl_->invoke([&] {
        if (impl_->server) {
            for (const auto& peer : impl_->server->peersOf(service)) {
                peer->close(code);
            }
        }
    });
}

void BusSimulator::freezeConnections(const std::string& service) {
    impl_->invoke([&] {
        if (impl_->server) {
            for (const auto& peer : impl_->server->peersOf(service)) {
                peer->freeze();
            }
        }
    });
}

}  // namespace zebbussim
