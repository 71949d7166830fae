#include "Check.h"

#include <arpa/inet.h>
#include <clampcontrolclient/ClampFollower.h>
#include <csc_logging/CSCLogging.h>
#include <internal/EscapedText.h>
#include <kelo-client/ConfigurationCheck.h>
#include <kelo-client/Diagnostics.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <future>
#include <iostream>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>

#include "Complaint.h"
#include "ExitCode.h"

namespace {

using clampcontrolclient::ClampFollower;
using clampcontrolclient::ClampState;
using clampcontrolclient::ClampStatus;
using zeb::ConnectStep;
using zeb::ServiceStatus;

// Longer than all the time limits of one attempt together.
constexpr std::chrono::seconds kLimit{20};

struct StepName {
    ConnectStep step;
    const char* name;
    bool isOfTls;
    // If this step fails:
    const char* advice;
    const char* registryAdvice;
};

constexpr const char* kTlsAdvice =
    "find out whether the server expects http or https, and check the certificates: docs/tls.md";

constexpr const char* kHttpAdvice =
    "find out what serves at this address: another program, or one that expects https";

// The address of the service registry is that of "httpUri".
constexpr std::array<StepName, 7> kSteps{
    {{ConnectStep::Address, "address", false, "correct the address of the service in the configuration",
      "correct \"serviceRegistrySettings.httpUri\" in the configuration"},
     {ConnectStep::Certificates, "certificates", true, kTlsAdvice, kTlsAdvice},
     {ConnectStep::Resolve, "resolve", false,
      "correct the host in the address, or make its name known to this machine",
      "correct the host in \"serviceRegistrySettings.httpUri\", or make its name known to this machine"},
     {ConnectStep::Tcp, "TCP", false, "start the server, or correct the host and the port in the address",
      "start the service registry, or correct the host and the port in \"serviceRegistrySettings.httpUri\""},
     {ConnectStep::Tls, "TLS", true, kTlsAdvice, kTlsAdvice},
     {ConnectStep::Http, "HTTP", false, kHttpAdvice, kHttpAdvice},
     {ConnectStep::WebSocket, "WebSocket", false,
      "correct the base path (\"serverBasePathHTTP\") or the address; or ask who runs the server",
      "correct the path in \"serviceRegistrySettings.httpUri\"; or ask who runs the service registry"}}};

constexpr const char* kRegistry = "serviceregistry";
constexpr const char* kElementAdvice = "ask who runs the server for its element of type \"Clamp15\"";
constexpr const char* kUnlistedAdvice =
    "register the service with the service registry; or configure its address under "
    "\"services.ClampControl\", with the mode \"staticBeforeDynamic\"";
constexpr const char* kLimitsAdvice =
    "raise what this process may have: open files (ulimit -n), threads (ulimit -u) or memory";
constexpr const char* kRefusedAdvice =
    "the server refuses this client: ask who runs it, or configure a client certificate: docs/tls.md";

/// What to do when a service cannot be connected because of this step.
const char* adviceFor(const StepName& step, const ServiceStatus& service) {
    const auto says = [&service](const std::string& text) {
        return service.reason.find(text) != std::string::npos;
    };
    if (says(std::generic_category().message(EMFILE)) || says(std::generic_category().message(ENFILE))) {
        return kLimitsAdvice;
    }
    if (step.step == ConnectStep::WebSocket && (says("HTTP status 401") || says("HTTP status 403"))) {
        return kRefusedAdvice;
    }
    return service.service == kRegistry ? step.registryAdvice : step.advice;
}

void printStep(const std::string& name, const std::string& result) {
    constexpr std::size_t kWidth = 14;
    std::cout << "  " << name << std::string(kWidth - std::min(kWidth, name.size()), ' ') << result << "\n";
}

/// Whether the host of an address such as "http://127.0.0.1:80/" is a number, so that nothing is looked up.
bool isNumeric(const std::string& address) {
    const std::size_t schemeEnd = address.find("://");
    if (schemeEnd == std::string::npos) {
        return false;
    }
    const std::string host =
        address.substr(schemeEnd + 3, address.find_first_of(":/", schemeEnd + 3) - schemeEnd - 3);
    in_addr parsed{};
    return address[schemeEnd + 3] == '[' || inet_pton(AF_INET, host.c_str(), &parsed) == 1;
}

/// Prints the steps to a connection. Returns what to do about the one that failed; empty if none has.
/// @param reason if given, printed in place of the reason of the service
std::string printConnecting(const ServiceStatus& service, const std::string& reason = {}) {
    std::cout << "service \"" << service.service << "\"";
    if (!service.address.empty()) {
        std::cout << " at " << service.address;
    }
    std::cout << "\n";
    const bool isConnected = service.state == ServiceStatus::State::Connected;
    const bool isWaiting = service.state == ServiceStatus::State::Waiting;
    const ConnectStep failed =
        isWaiting ? ConnectStep::Address : service.lastFailedStep.value_or(ConnectStep::WebSocket);
    const bool isSecure = service.address.rfind("https:", 0) == 0;
    bool isReached = true;
    std::string advice;
    for (const StepName& step : kSteps) {
        if (step.isOfTls && !isSecure) {
            continue;
        }
        if (isConnected || (isReached && step.step != failed)) {
            const bool isSkipped = step.step == ConnectStep::Resolve && isNumeric(service.address);
            printStep(step.name, isSkipped ? "not needed, the address is numeric" : "ok");
        } else if (isReached) {
            printStep(step.name, "FAILED: " + (reason.empty() ? service.reason : reason));
            isReached = false;
            advice = adviceFor(step, service);
        } else {
            printStep(step.name, "not tried");
        }
    }
    return advice;
}

/// What a follower has reported up to its first result.
struct Result {
    ClampStatus status;
    bool isConnected = false;
    bool isSubscribed = false;
};

Result follow() {
    std::mutex mutex;
    Result result;
    bool isOver = false;
    std::promise<void> over;
    const auto end = [&] {
        if (!std::exchange(isOver, true)) {
            over.set_value();
        }
    };
    ClampFollower::Events events;
    events.connection = [&](bool isConnected) {
        const std::lock_guard lock(mutex);
        result.isConnected = result.isConnected || isConnected;
    };
    events.subscribed = [&](const std::string&) {
        const std::lock_guard lock(mutex);
        result.isSubscribed = true;
    };
    const ClampFollower follower(
        [&](const ClampStatus& status) {
            const std::lock_guard lock(mutex);
            result.status = status;
            end();
        },
        events);
    over.get_future().wait_for(kLimit);
    const std::lock_guard lock(mutex);
    if (!isOver) {
        result.status = follower.status();
    }
    return result;
}

const ServiceStatus* find(const kelo_client::Diagnostics& diagnostics, const std::string& service) {
    const auto found = std::find_if(diagnostics.services.begin(), diagnostics.services.end(),
                                    [&service](const auto& status) { return status.service == service; });
    return found == diagnostics.services.end() ? nullptr : &*found;
}

void printFollowing(const Result& result, const kelo_client::Diagnostics& diagnostics) {
    const ServiceStatus* const service = find(diagnostics, "ClampControl");
    const bool isFound =
        result.isSubscribed || (service != nullptr && service->counts.subscriptionsAsked > 0);
    const std::string failed = "FAILED: " + result.status.reason;
    if (!result.isConnected) {
        printStep("find", "not tried");
        printStep("subscribe", "not tried");
        return;
    }
    printStep("find", isFound ? "ok" : failed);
    if (!isFound) {
        printStep("subscribe", "not tried");
        return;
    }
    printStep("subscribe", result.isSubscribed ? "ok" : failed);
    if (result.isSubscribed) {
        printStep("state",
                  result.status.state == ClampState::Unknown ? failed : to_string(result.status.state));
    }
}

/// What the user can do next. The configuration first, because a fault in it explains what comes after.
std::string nextStep(const kelo_client::ConfigurationReport& report, const std::string& advice) {
    using Severity = kelo_client::ConfigurationFinding::Severity;
    if (advice == kLimitsAdvice) {
        return advice;  // the file may not have been read for the same reason
    }
    const std::string file = internal::escapedText(report.file);
    if (report.has(Severity::Error)) {
        return "correct or create the configuration file " + file + ", as the first lines say";
    }
    if (advice.empty()) {
        return kElementAdvice;
    }
    if (report.has(Severity::Warning)) {
        return "read the warnings about " + file +
               " in the first lines. If they are not the cause: " + advice;
    }
    return advice;
}

/// Prints each step. Returns what to do about the one that failed to connect; empty if none has.
std::string printSteps(const Result& result) {
    const auto diagnostics = kelo_client::takeDiagnostics();
    if (!diagnostics.constructionFailure.empty()) {
        std::cout << "the client cannot be made: " << diagnostics.constructionFailure << "\n";
        return kLimitsAdvice;  // only the lack of something makes it fail
    }
    std::string advice;
    std::string reason;
    bool hasRegistry = false;
    if (const ServiceStatus* const registry = find(diagnostics, kRegistry)) {
        advice = printConnecting(*registry);
        hasRegistry = true;
        reason = advice.empty() ? "" : "the service registry, which knows it, cannot be asked";
    }
    if (const ServiceStatus* const service = find(diagnostics, "ClampControl")) {
        const bool isWaiting = service->state == ServiceStatus::State::Waiting;
        std::string own = printConnecting(*service, isWaiting ? reason : "");
        if (isWaiting && hasRegistry) {
            own = advice.empty() ? kUnlistedAdvice : advice;
        }
        advice = std::move(own);
    }
    printFollowing(result, diagnostics);
    return advice;
}

}  // namespace

int check() {
    const auto report = kelo_client::checkConfiguration(kConfigurationPath);
    std::cout << report.findingsText() << report.settingsText() << std::flush;
    csc_logging::CSCLogging::InitLogging("MON");
    const Result result = follow();
    const std::string advice = printSteps(result);
    const bool isFound = result.status.state != ClampState::Unknown;
    if (!isFound) {
        std::cout << "Next: " << nextStep(report, advice) << ".\n";
    }
    if (!(std::cout << std::flush)) {
        complain("the output could not be written");
        return kFailure;
    }
    return isFound ? kSuccess : kFailure;
}
