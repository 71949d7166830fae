#include <internal/EscapedText.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ConfigurationManager.h>
#include <kelo-client/Diagnostics.h>
#include <zeb/IServiceRegistry.h>

#include <chrono>
#include <cstdint>

namespace kelo_client {

namespace {

using zeb::ServiceStatus;

const char* nameOf(ServiceStatus::State state) {
    switch (state) {
        case ServiceStatus::State::Connecting:
            return "connecting";
        case ServiceStatus::State::Connected:
            return "connected";
        default:
            return "waiting";
    }
}

std::string ago(ServiceStatus::Clock::time_point time) {
    using std::chrono::milliseconds;
    const auto elapsed = std::chrono::duration_cast<milliseconds>(ServiceStatus::Clock::now() - time);
    return std::to_string(elapsed.count() / 1000) + "." + std::to_string(elapsed.count() / 100 % 10) + " s";
}

void append(std::string& lines, const std::string& name, const std::string& value) {
    lines += "  " + name + ": " + internal::escapedText(value, 1000) + "\n";
}

void append(std::string& lines, const std::string& name, std::uint64_t count) {
    lines += "  " + name + ": " + std::to_string(count) + "\n";
}

void append(std::string& lines, const ServiceStatus& service) {
    lines += "service " + internal::escapedText(service.service, 100) + "\n";
    append(lines, "state", std::string(nameOf(service.state)) + " for " + ago(service.since));
    if (!service.address.empty()) {
        append(lines, "address", service.address);
    }
    if (!service.reason.empty()) {
        append(lines, "because", service.reason);
    }
    if (!service.lastFailure.empty()) {
        append(lines, "last failure", ago(service.lastFailureAt) + " ago: " + service.lastFailure);
    }
    append(lines, "attempts to connect", service.attempts);
    append(lines, "connections", service.connections);
    const ServiceStatus::Counts& counts = service.counts;
    append(lines, "subscriptions asked for", counts.subscriptionsAsked);
    append(lines, "subscriptions made", counts.subscriptionsMade);
    append(lines, "subscriptions refused", counts.subscriptionsRefused);
    append(lines, "subscriptions ended by the server", counts.subscriptionsEnded);
    append(lines, "notifications received", counts.received);
    append(lines, "notifications delivered", counts.delivered);
    append(lines, "discarded, no such subscription", counts.ofNoSubscription);
    append(lines, "discarded, repeated by the server", counts.repeated);
    append(lines, "discarded, subscription ended meanwhile", counts.tooLate);
    append(lines, "failed in their handler", counts.failed);
    append(lines, "left out by the server", counts.missing);
    append(lines, "longest queue", counts.longestQueue);
    append(lines, "time not read, in ms",
           static_cast<std::uint64_t>(
               std::chrono::duration_cast<std::chrono::milliseconds>(counts.paused).count()));
}

}  // namespace

Diagnostics takeDiagnostics() {
    Diagnostics diagnostics;
    const auto base = ClientServiceBase::getInstance();
    if (!base || base->isOfParentProcess()) {
        return diagnostics;
    }
    diagnostics.isStopped = base->isStopped();
    diagnostics.configurationFile = base->getConfigurationFile();
    diagnostics.constructionFailure = base->getConstructionFailure();
    if (!base->isInitialised()) {
        return diagnostics;
    }
    diagnostics.configurationFailure = base->getConfigurationManager()->getLoadFailure();
    diagnostics.services = base->getServiceRegistry()->getServiceStatuses();
    return diagnostics;
}

std::string to_string(const Diagnostics& diagnostics) {
    std::string lines = "client library\n";
    append(lines, "configuration",
           diagnostics.configurationFile.empty() ? "none read yet" : diagnostics.configurationFile);
    if (!diagnostics.configurationFailure.empty()) {
        append(lines, "not used, so the defaults apply", diagnostics.configurationFailure);
    }
    if (!diagnostics.constructionFailure.empty()) {
        append(lines, "a client could not be made", diagnostics.constructionFailure);
    }
    if (diagnostics.isStopped) {
        append(lines, "state", "stopped");
    }
    for (const ServiceStatus& service : diagnostics.services) {
        append(lines, service);
    }
    return lines;
}

}  // namespace kelo_client
