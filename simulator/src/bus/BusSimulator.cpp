#include "zeb-bus-sim/BusSimulator.h"

#include <future>
#include <memory>
#include <stdexcept>
#include <utility>

#include "Simulation.h"
#include "json/Json.h"
#include "scenario/Scenario.h"
#include "steps/Step.h"

namespace zebbussim {

namespace {

using Numbers = Observations::Numbers;

std::string readObject(const std::string& json, const std::string& what) {
    return withLibraryErrors([&] { return readJsonObject(json, what); });
}

BusPath parsedElementPath(const std::string& path) {
    return withLibraryErrors([&] { return parseElementPath(path); });
}

std::string subscribablePath(const std::string& path) {
    return withLibraryErrors([&] { return parseBusPath(path).text(); });
}

std::string inQuotes(const std::string& text) {
    return quoted(text);
}

}  // namespace

BusSimulator::BusSimulator() : BusSimulator(Options()) {}
BusSimulator::BusSimulator(const Options& options) : simulation_(std::make_unique<Simulation>(options)) {}
BusSimulator::~BusSimulator() = default;

std::vector<std::string> BusSimulator::loadFile(const std::string& fileName) {
    return simulation_->loadFile(fileName);
}

std::vector<std::string> BusSimulator::loadText(const std::string& json) {
    return simulation_->loadText(json);
}

void BusSimulator::start() {
    simulation_->start();
}

void BusSimulator::stop() {
    simulation_->stop();
}

std::uint16_t BusSimulator::port() const {
    return simulation_->port();
}

std::string BusSimulator::baseUri() const {
    return simulation_->baseUri();
}

std::string BusSimulator::basePath() const {
    return simulation_->basePath();
}

// ------------------------------------------------------------------------------------- what is on the bus

void BusSimulator::set(const std::string& path, const std::string& json, DataCheck check) {
    const std::string changes = readObject(json, "The state of " + path);
    simulation_->invoke([&, elementPath = parsedElementPath(path)](Bus& bus) {
        bus.set(elementPath, changes, check == DataCheck::ByOptions);
    });
}

void BusSimulator::addElement(const std::string& path, const std::string& json, DataCheck check) {
    const std::string members = readObject(json, "The element " + path);
    simulation_->invoke([&, elementPath = parsedElementPath(path)](Bus& bus) {
        bus.add(elementPath, members, check == DataCheck::ByOptions);
    });
}

void BusSimulator::removeElement(const std::string& path) {
    simulation_->invoke([elementPath = parsedElementPath(path)](Bus& bus) { bus.remove(elementPath); });
}

std::string BusSimulator::element(const std::string& path) {
    return simulation_->invoke([elementPath = parsedElementPath(path)](Bus& bus) {
        return *bus.model().element(elementPath).text();
    });
}

void BusSimulator::addService(const std::string& name, const std::string& json) {
    simulation_->addService(name, json);
}

void BusSimulator::addService(const std::string& name) {
    simulation_->invoke([&](Bus& bus) { bus.setServicePresent(name, true); });
}

void BusSimulator::removeService(const std::string& name) {
    simulation_->invoke([&](Bus& bus) { bus.setServicePresent(name, false); });
}

void BusSimulator::setServiceAvailable(const std::string& name, bool available) {
    simulation_->invoke([&](Bus& bus) { bus.setServiceAvailable(name, available); });
}

// ---------------------------------------------------------------------------------------- what clients do

std::size_t BusSimulator::subscriberCount(const std::string& path) const {
    return simulation_->observations().count(&Numbers::subscribers, subscribablePath(path));
}

bool BusSimulator::waitForSubscribers(const std::string& path, std::size_t count,
                                      std::chrono::milliseconds timeout) {
    return simulation_->observations().waitForCount(&Numbers::subscribers, subscribablePath(path), count,
                                                    timeout);
}

std::size_t BusSimulator::webSocketCount(const std::string& service) const {
    return simulation_->observations().count(&Numbers::webSockets, service);
}

bool BusSimulator::waitForWebSockets(const std::string& service, std::size_t count,
                                     std::chrono::milliseconds timeout) {
    return simulation_->observations().waitForCount(&Numbers::webSockets, service, count, timeout);
}

std::size_t BusSimulator::handshakeCount(const std::string& service) const {
    return simulation_->observations().count(&Numbers::handshakes, service);
}

std::size_t BusSimulator::requestCount(const std::string& path) const {
    return simulation_->observations().count(&Numbers::requests, path);
}

bool BusSimulator::waitForRequests(const std::string& path, std::size_t count,
                                   std::chrono::milliseconds timeout) {
    return simulation_->observations().waitForCount(&Numbers::requests, path, count, timeout);
}

bool BusSimulator::waitUntilSent(std::chrono::milliseconds timeout) {
    return simulation_->observations().waitUntilSent(timeout);
}

void BusSimulator::flood(const std::string& path, const std::vector<std::string>& states,
                         std::size_t changes) {
    simulation_->flood(path, states, changes);
}

// --------------------------------------------------------------------------------------------- steps

void BusSimulator::perform(const std::string& step) {
    const std::string text = readObject(step, "The step");
    simulation_->invoke([&](Bus& bus) { bus.perform(Step::fromText(text), "application"); });
}

void BusSimulator::play(const std::string& scenario) {
    playFrom(Scenario::fromText(scenario, "The scenario"));
}

void BusSimulator::playFile(const std::string& fileName) {
    playFrom(Scenario::fromFile(fileName));
}

void BusSimulator::playFrom(Scenario scenario) {
    const auto outcome = std::make_shared<std::promise<std::string>>();
    simulation_->play(
        std::move(scenario), 1, [](std::size_t, const std::string&) {}, [](const std::string&) {},
        [outcome](const std::string& failure) { outcome->set_value(failure); });
    if (const std::string failure = outcome->get_future().get(); !failure.empty()) {
        throw std::runtime_error(failure);
    }
}

// -------------------------------------------------------------------------------------------- faults

void BusSimulator::delayFirstNotification(std::chrono::milliseconds delay) {
    perform("{\"withhold\":{\"ms\":" + std::to_string(delay.count()) + "}}");
}

void BusSimulator::withholdFirstNotifications() {
    perform("{\"withhold\":{}}");
}

void BusSimulator::releaseFirstNotifications() {
    perform("{\"release\":{}}");
}

void BusSimulator::answerHttp(const std::string& path, int status, const std::string& body) {
    simulation_->invoke([&](Bus& bus) {
        bus.beginHttpFault("status", path, HttpFault::answer(status, body),
                           "answers " + path + " with status " + std::to_string(status));
    });
}

void BusSimulator::answerHttpWithBytes(const std::string& path, const std::string& bytes) {
    simulation_->invoke([&](Bus& bus) {
        bus.beginHttpFault("bytes", path, HttpFault::rawBytes(bytes),
                           "answers " + path + " with bytes that are no answer");
    });
}

void BusSimulator::ignoreHttp(const std::string& path) {
    perform("{\"ignore\":{\"path\":" + inQuotes(path) + "}}");
}

void BusSimulator::delayHttp(const std::string& path, std::chrono::milliseconds delay) {
    perform("{\"delay\":{\"path\":" + inQuotes(path) + ",\"ms\":" + std::to_string(delay.count()) + "}}");
}

void BusSimulator::clearHttpFaults() {
    simulation_->invoke([](Bus& bus) { bus.clearHttpFaults(); });
}

void BusSimulator::sendText(const std::string& path, const std::string& text) {
    simulation_->invoke([&](Bus& bus) { bus.sendText(parseBusPath(path).text(), text); });
}

void BusSimulator::sendBytes(const std::string& path, const std::string& bytes) {
    simulation_->invoke([&](Bus& bus) { bus.sendBytes(parseBusPath(path).text(), bytes); });
}

void BusSimulator::dropConnections(const std::string& service) {
    simulation_->invoke(
        [&](Bus& bus) { bus.forEachPeer(service, [](WebSocketPeer& peer) { peer.drop(); }); });
}

void BusSimulator::closeConnections(const std::string& service, std::uint16_t code) {
    simulation_->invoke(
        [&](Bus& bus) { bus.forEachPeer(service, [code](WebSocketPeer& peer) { peer.close(code); }); });
}

void BusSimulator::freezeConnections(const std::string& service) {
    simulation_->invoke(
        [&](Bus& bus) { bus.forEachPeer(service, [](WebSocketPeer& peer) { peer.freeze(); }); });
}

}  // namespace zebbussim
