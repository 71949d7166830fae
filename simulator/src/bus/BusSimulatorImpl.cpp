#include "BusSimulatorImpl.h"

#include <boost/beast/websocket/rfc6455.hpp>
#include <future>
#include <stdexcept>
#include <utility>

#include "json/Json.h"
#include "scenario/InputFile.h"
#include "server/TlsServerContext.h"

namespace zebbussim {

namespace asio = boost::asio;

namespace {

void requireHostName(const std::string& name) {
    constexpr const char* kCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
    if (name.empty() || name.find_first_not_of(kCharacters) != std::string::npos) {
        throw std::invalid_argument("The host name " + excerpt(name) +
                                    " must have letters, digits, \"-\", \"_\" and \".\" only, and no port");
    }
}

bool hasTls(const BusSimulator::Options& options) {
    return !options.tlsCertificateFile.empty();
}

std::optional<asio::ssl::context> tlsContext(const BusSimulator::Options& options) {
    return hasTls(options)
               ? std::make_optional(createTlsServerContext(options.tlsCertificateFile, options.tlsKeyFile))
               : std::nullopt;
}

std::string readObject(const std::string& json, const std::string& what) {
    return withLibraryErrors([&] { return readJsonObject(json, what); });
}

BusPath parsedElementPath(const std::string& path) {
    return withLibraryErrors([&] { return parseElementPath(path); });
}

std::string subscribablePath(const std::string& path) {
    return withLibraryErrors([&] { return parseBusPath(path).text(); });
}

}  // namespace

using Numbers = Observations::Numbers;

BusSimulator::Impl::Running::Running(BusModel& model, BusContext& context, const Options& options)
    : server(thread.ioContext(), context, options.address, options.port, tlsContext(options),
             BusServer::Events{[this] { flood.queueShrank(); }, [this] { thread.requestEnd(); }}),
      flood(model, server, thread) {}

BusSimulator::Impl::Impl(const Options& options)
    : options_(options),
      subscriptions_(model_, observations_,
                     [this](std::chrono::milliseconds delay, std::function<void()> function) {
                         running_->thread.runLater(delay, std::move(function));
                     }),
      registry_(model_),
      context_{model_,
               subscriptions_,
               observations_,
               faults_,
               withLibraryErrors([&] { return checkedBasePath(options.basePath); }),
               {hasTls(options), options.hostNames},
               options.patience,
               {},
               {}} {
    if (options_.tlsCertificateFile.empty() != options_.tlsKeyFile.empty()) {
        throw std::invalid_argument(options_.tlsKeyFile.empty()
                                        ? "A TLS certificate without the file of its key"
                                        : "A TLS key without the file of its certificate");
    }
    for (const std::string& name : options_.hostNames) {
        requireHostName(name);
    }
    model_.setListener(this);
}

BusSimulator::Impl::~Impl() {
    stop();
}

void BusSimulator::Impl::start() {
    if (running_) {
        throw std::runtime_error("The simulator runs already");
    }
    context_.queuedBytes = 0;
    context_.answerBytes = 0;
    const std::uint16_t wantedPort = options_.port;
    try {
        running_ = std::make_unique<Running>(model_, context_, options_);
        options_.port = running_->server.port();
        registry_.setAddress(baseUri(), context_.basePath);
        running_->thread.start([this](const char* problem) { running_->server.repair(problem); });
    } catch (...) {
        running_.reset();
        options_.port = wantedPort;
        throw;
    }
    observations_.update([](Numbers& numbers) { numbers.stopped = false; });
}

void BusSimulator::Impl::stop() {
    if (!running_) {
        return;
    }
    observations_.update([](Numbers& numbers) { numbers.stopped = true; });
    running_->thread.post([this] {
        running_->flood.stop();
        running_->server.close();
    });
    running_->thread.join();
    running_.reset();
}

std::string BusSimulator::Impl::baseUri() const {
    const bool isVersion6 = options_.address.find(':') != std::string::npos;
    const std::string host = isVersion6 ? "[" + options_.address + "]" : options_.address;
    return (hasTls(options_) ? "https://" : "http://") + host + ":" + std::to_string(options_.port);
}

void BusSimulator::Impl::loadFile(const std::string& fileName) {
    const std::string text = readInputFile("bus file", fileName);
    const std::string what = "The bus file " + fileName;
    load(withLibraryErrors([&] { return readJsonFile(text, what); }), what);
}

void BusSimulator::Impl::loadText(const std::string& json) {
    load(readObject(json, "The bus"), "The bus");
}

void BusSimulator::Impl::load(const std::string& json, const std::string& what) {
    const JsonMembers root(json);
    const std::optional<std::string_view> services = root.find("services");
    if (!services || !isObject(*services)) {
        throw std::invalid_argument(what + " has no \"services\" that is an object");
    }
    invoke([&] {
        for (const auto& [key, resources] : membersOf(*services)) {
            const std::string name = stringOf(key).value();
            Registry::refuseOwnName(name);
            if (!isObject(resources)) {
                throw BusError::badRequest("The service " + excerpt(name) + " is not an object of resources");
            }
            model_.addService(name, resources);
        }
    });
}

void BusSimulator::Impl::set(const std::string& path, const std::string& json) {
    const auto changes = readObject(json, "The state of " + path);
    invoke([&, elementPath = parsedElementPath(path)] { model_.set(elementPath, changes); });
}

void BusSimulator::Impl::addElement(const std::string& path, const std::string& json) {
    const auto members = readObject(json, "The element " + path);
    invoke([&, elementPath = parsedElementPath(path)] { model_.addElement(elementPath, members); });
}

void BusSimulator::Impl::removeElement(const std::string& path) {
    invoke([&, elementPath = parsedElementPath(path)] { model_.removeElement(elementPath); });
}

std::string BusSimulator::Impl::element(const std::string& path) {
    return invoke([&, elementPath = parsedElementPath(path)] { return *model_.element(elementPath).text(); });
}

void BusSimulator::Impl::addService(const std::string& name, const std::string& json) {
    const auto resources = readObject(json, "The service " + name);
    invoke([&] {
        Registry::refuseOwnName(name);
        model_.addService(name, resources);
    });
}

void BusSimulator::Impl::bringBackService(const std::string& name) {
    invoke([&] { model_.setServicePresent(name, true); });
}

void BusSimulator::Impl::removeService(const std::string& name) {
    invoke([&] {
        Registry::refuseOwnName(name);
        model_.setServicePresent(name, false);
    });
}

void BusSimulator::Impl::setServiceAvailable(const std::string& name, bool available) {
    invoke([&] { model_.setServiceAvailable(name, available); });
}

void BusSimulator::Impl::flood(const std::string& path, const std::vector<std::string>& states,
                               std::size_t changes) {
    std::vector<std::string> parsedStates;
    for (const std::string& state : states) {
        parsedStates.push_back(readObject(state, "A state of " + path));
    }
    const BusPath elementPath = parsedElementPath(path);
    if (parsedStates.empty() || changes == 0) {
        return;
    }
    if (!running_) {
        throw std::runtime_error("The simulator does not run");
    }
    invoke([&] { return running_->flood.begin(elementPath, parsedStates, changes); }).get();
}

std::size_t BusSimulator::Impl::subscriberCount(const std::string& path) const {
    return observations_.count(&Numbers::subscribers, subscribablePath(path));
}

bool BusSimulator::Impl::waitForSubscribers(const std::string& path, std::size_t count,
                                            std::chrono::milliseconds timeout) const {
    return observations_.waitForCount(&Numbers::subscribers, subscribablePath(path), count, timeout);
}

std::size_t BusSimulator::Impl::webSocketCount(const std::string& service) const {
    return observations_.count(&Numbers::webSockets, service);
}

bool BusSimulator::Impl::waitForWebSockets(const std::string& service, std::size_t count,
                                           std::chrono::milliseconds timeout) const {
    return observations_.waitForCount(&Numbers::webSockets, service, count, timeout);
}

std::size_t BusSimulator::Impl::handshakeCount(const std::string& service) const {
    return observations_.count(&Numbers::handshakes, service);
}

std::size_t BusSimulator::Impl::requestCount(const std::string& path) const {
    return observations_.count(&Numbers::requests, path);
}

bool BusSimulator::Impl::waitForRequests(const std::string& path, std::size_t count,
                                         std::chrono::milliseconds timeout) const {
    return observations_.waitForCount(&Numbers::requests, path, count, timeout);
}

bool BusSimulator::Impl::waitUntilSent(std::chrono::milliseconds timeout) const {
    return observations_.waitUntilSent(timeout);
}

void BusSimulator::Impl::holdFirstNotifications(const Subscriptions::Hold& hold) {
    invoke([&] { subscriptions_.holdFirstNotifications(hold); });
}

void BusSimulator::Impl::releaseFirstNotifications() {
    invoke([&] { subscriptions_.releaseFirstNotifications(); });
}

void BusSimulator::Impl::setHttpFault(const std::string& path, const HttpFault& fault) {
    invoke([&] { faults_.set(path, fault); });
}

void BusSimulator::Impl::clearHttpFaults() {
    invoke([&] { faults_.clear(); });
}

void BusSimulator::Impl::sendText(const std::string& path, const std::string& text) {
    forEachSubscriber(path, [&](Subscriber& subscriber) { subscriber.send(text, nullptr, nullptr); });
}

void BusSimulator::Impl::sendBytes(const std::string& path, const std::string& bytes) {
    forEachSubscriber(path, [&](Subscriber& subscriber) { subscriber.sendBytes(bytes); });
}

void BusSimulator::Impl::forEachSubscriber(const std::string& path,
                                           const std::function<void(Subscriber&)>& act) {
    invoke([&] {
        for (Subscriber* const subscriber : subscriptions_.subscribersOf(parseBusPath(path).text())) {
            act(*subscriber);
        }
    });
}

void BusSimulator::Impl::dropConnections(const std::string& service) {
    invoke([&] { forEachPeer(service, [](WebSocketPeer& peer) { peer.drop(); }); });
}

void BusSimulator::Impl::closeConnections(const std::string& service, std::uint16_t code) {
    invoke([&] { forEachPeer(service, [code](WebSocketPeer& peer) { peer.close(code); }); });
}

void BusSimulator::Impl::freezeConnections(const std::string& service) {
    invoke([&] { forEachPeer(service, [](WebSocketPeer& peer) { peer.freeze(); }); });
}

void BusSimulator::Impl::forEachPeer(const std::string& service,
                                     const std::function<void(WebSocketPeer&)>& act) {
    if (running_) {
        for (const auto& peer : running_->server.peersOf(service)) {
            act(*peer);
        }
    }
}

void BusSimulator::Impl::elementChanged(const BusPath& path, const Element& element) {
    subscriptions_.notifyElement(path, element);
}

void BusSimulator::Impl::elementAdded(const BusPath& path) {
    subscriptions_.notifyCollection(path);
}

void BusSimulator::Impl::elementRemoved(const BusPath& path) {
    subscriptions_.endElement(path);
    subscriptions_.notifyCollection(path);
}

void BusSimulator::Impl::servicesChanged() {
    registry_.update();
}

void BusSimulator::Impl::serviceClosed(const std::string& service) {
    forEachPeer(service,
                [](WebSocketPeer& peer) { peer.close(boost::beast::websocket::close_code::going_away); });
}

}  // namespace zebbussim
