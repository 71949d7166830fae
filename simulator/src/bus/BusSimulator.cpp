#include "zeb-bus-sim/BusSimulator.h"

#include "BusSimulatorImpl.h"

namespace zebbussim {

BusSimulator::BusSimulator() : BusSimulator(Options()) {}
BusSimulator::BusSimulator(const Options& options) : impl_(std::make_unique<Impl>(options)) {}
BusSimulator::~BusSimulator() = default;

void BusSimulator::loadFile(const std::string& fileName) {
    impl_->loadFile(fileName);
}

void BusSimulator::loadText(const std::string& json) {
    impl_->loadText(json);
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
    return impl_->basePath();
}

void BusSimulator::set(const std::string& path, const std::string& json) {
    impl_->set(path, json);
}

void BusSimulator::addElement(const std::string& path, const std::string& json) {
    impl_->addElement(path, json);
}

void BusSimulator::removeElement(const std::string& path) {
    impl_->removeElement(path);
}

std::string BusSimulator::element(const std::string& path) {
    return impl_->element(path);
}

void BusSimulator::addService(const std::string& name, const std::string& json) {
    impl_->addService(name, json);
}

void BusSimulator::addService(const std::string& name) {
    impl_->bringBackService(name);
}

void BusSimulator::removeService(const std::string& name) {
    impl_->removeService(name);
}

void BusSimulator::setServiceAvailable(const std::string& name, bool available) {
    impl_->setServiceAvailable(name, available);
}

std::size_t BusSimulator::subscriberCount(const std::string& path) const {
    return impl_->subscriberCount(path);
}

bool BusSimulator::waitForSubscribers(const std::string& path, std::size_t count,
                                      std::chrono::milliseconds timeout) {
    return impl_->waitForSubscribers(path, count, timeout);
}

std::size_t BusSimulator::webSocketCount(const std::string& service) const {
    return impl_->webSocketCount(service);
}

bool BusSimulator::waitForWebSockets(const std::string& service, std::size_t count,
                                     std::chrono::milliseconds timeout) {
    return impl_->waitForWebSockets(service, count, timeout);
}

std::size_t BusSimulator::handshakeCount(const std::string& service) const {
    return impl_->handshakeCount(service);
}

std::size_t BusSimulator::requestCount(const std::string& path) const {
    return impl_->requestCount(path);
}

bool BusSimulator::waitForRequests(const std::string& path, std::size_t count,
                                   std::chrono::milliseconds timeout) {
    return impl_->waitForRequests(path, count, timeout);
}

bool BusSimulator::waitUntilSent(std::chrono::milliseconds timeout) {
    return impl_->waitUntilSent(timeout);
}

void BusSimulator::flood(const std::string& path, const std::vector<std::string>& states,
                         std::size_t changes) {
    impl_->flood(path, states, changes);
}

void BusSimulator::delayFirstNotification(std::chrono::milliseconds delay) {
    impl_->holdFirstNotifications(Subscriptions::Hold{delay});
}

void BusSimulator::withholdFirstNotifications() {
    impl_->holdFirstNotifications(Subscriptions::Hold{});
}

void BusSimulator::releaseFirstNotifications() {
    impl_->releaseFirstNotifications();
}

void BusSimulator::answerHttp(const std::string& path, int status, const std::string& body) {
    impl_->setHttpFault(path, HttpFault::answer(status, body));
}

void BusSimulator::answerHttpWithBytes(const std::string& path, const std::string& bytes) {
    impl_->setHttpFault(path, HttpFault::rawBytes(bytes));
}

void BusSimulator::ignoreHttp(const std::string& path) {
    impl_->setHttpFault(path, HttpFault::silence());
}

void BusSimulator::delayHttp(const std::string& path, std::chrono::milliseconds delay) {
    impl_->setHttpFault(path, HttpFault::late(delay));
}

void BusSimulator::clearHttpFaults() {
    impl_->clearHttpFaults();
}

void BusSimulator::sendText(const std::string& path, const std::string& text) {
    impl_->sendText(path, text);
}

void BusSimulator::sendBytes(const std::string& path, const std::string& bytes) {
    impl_->sendBytes(path, bytes);
}

void BusSimulator::dropConnections(const std::string& service) {
    impl_->dropConnections(service);
}

void BusSimulator::closeConnections(const std::string& service, std::uint16_t code) {
    impl_->closeConnections(service, code);
}

void BusSimulator::freezeConnections(const std::string& service) {
    impl_->freezeConnections(service);
}

}  // namespace zebbussim
