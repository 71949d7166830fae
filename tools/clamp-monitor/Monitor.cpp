#include "Monitor.h"

#include <clampcontrolclient/ClampFollower.h>
#include <csc_logging/CSCLogging.h>
#include <kelo-client/ConfigurationCheck.h>
#include <kelo-client/Diagnostics.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iostream>
#include <optional>
#include <string>

#include "Complaint.h"
#include "ExitCode.h"

namespace {

using clampcontrolclient::ClampFollower;
using clampcontrolclient::ClampState;
using clampcontrolclient::ClampStatus;
using Clock = std::chrono::steady_clock;

// Standard error says so when the state has been unknown for this long. It has to within 2 s of the start,
// which takes part of that on a busy machine.
constexpr std::chrono::milliseconds kPatience{1000};
constexpr std::chrono::milliseconds kLongestPause{60000};

void printWarnings() {
    const auto report = kelo_client::checkConfiguration(kConfigurationPath);
    std::cerr << report.findingsText(kelo_client::ConfigurationFinding::Severity::Warning);
}

void printStats() {
    std::cerr << to_string(kelo_client::takeDiagnostics());
}

/// What is under way, and where. The reason says only what has failed.
void complainAbout(const zeb::ServiceStatus& service) {
    using State = zeb::ServiceStatus::State;
    const std::string name = "service \"" + service.service + "\": ";
    if (service.state == State::Connected) {
        complain(name + "connected at " + service.address);
    } else if (service.state == State::Connecting) {
        complain(name + "connecting to " + service.address);
    }
}

void complainAbout(const ClampStatus& status) {
    complain("the state of terminal 15 is not known: " + status.reason);
    const auto diagnostics = kelo_client::takeDiagnostics();
    for (const auto& service : diagnostics.services) {
        complainAbout(service);
    }
    const bool isSaid = status.reason.find(diagnostics.configurationFile) != std::string::npos;
    if (!diagnostics.configurationFailure.empty() && !isSaid) {
        complain("the defaults apply, because the configuration file \"" + diagnostics.configurationFile +
                 "\" cannot be used: " + diagnostics.configurationFailure);
    }
    complain("clamp-monitor --check tries each step and says which one fails");
}

/// Says on standard error why the state is not known, and says a new reason after a pause, which grows.
class Patience {
 public:
    void see(const ClampStatus& status) {
        if (status.state != ClampState::Unknown) {
            *this = Patience();
        } else if (!until_ && status.reason != said_) {
            until_ = std::max(status.since, lastTime_) + pause_;
        }
    }

    std::optional<Clock::time_point> until() const { return until_; }

    void endWith(const ClampStatus& status) {
        until_.reset();
        if (status.reason == said_) {
            return;
        }
        complainAbout(status);
        if (said_) {
            pause_ = std::min(2 * pause_, kLongestPause);
        }
        said_ = status.reason;
        lastTime_ = Clock::now();
    }

 private:
    std::optional<Clock::time_point> until_;
    std::optional<std::string> said_;
    Clock::time_point lastTime_;
    std::chrono::milliseconds pause_ = kPatience;
};

void waitForTheEnd(const ClampFollower& follower, const std::atomic<bool>& isOutputLost,
                   const Signals& signals) {
    Patience patience;
    while (!isOutputLost) {
        patience.see(follower.status());
        const auto event = signals.wait(patience.until());
        if (event == Signals::Event::End) {
            return;
        }
        if (event == Signals::Event::Stats) {
            printStats();
        } else if (!event) {
            patience.endWith(follower.status());
        }
    }
}

}  // namespace

int monitor(EventPrinter::Format format, bool printsStats, const Signals& signals) {
    printWarnings();
    std::atomic<bool> isOutputLost = false;
    EventPrinter printer(std::cout, format, std::chrono::system_clock::now, [&isOutputLost] {
        isOutputLost = true;
        Signals::wake();
    });
    csc_logging::CSCLogging::InitLogging("MON");

    ClampFollower::Events events;
    events.connection = [&printer](bool isConnected) { printer.connection(isConnected); };
    events.subscribed = [&printer](const std::string& uuid) { printer.subscribed(uuid); };
    events.notification = [&printer] { printer.notification(); };
    events.clamp15 = [&printer](bool isOn) { printer.clamp15(isOn); };
    const auto onChange = [&printer](const ClampStatus& status) {
        if (status.state == ClampState::Unknown) {
            printer.unknown(status.reason);
        }
        Signals::wake();
    };
    {
        const ClampFollower follower(onChange, events);
        waitForTheEnd(follower, isOutputLost, signals);
        signals.heedASecondOne();
        if (printsStats) {
            printStats();
        }
    }
    printer.stopped();
    if (isOutputLost) {
        complain("the output could not be written");
        return kFailure;
    }
    return kSuccess;
}
