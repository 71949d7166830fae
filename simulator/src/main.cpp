#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Scenario.h"
#include "zeb-bus-sim/BusSimulator.h"

namespace {

constexpr int kUsage = 1;
constexpr int kCannotStart = 2;
constexpr int kScenarioFailed = 3;

constexpr const char* kHelp =
    R"(Usage: zeb-bus-sim [OPTION...] BUS.json

Serves the service bus of a vehicle on this machine, over HTTP and WebSocket on one port, with the registry of
services. Prints one line when it is ready:

    zeb-bus-sim: listening on http://127.0.0.1:PORT/

and ends on SIGTERM or SIGINT.

  --port PORT          listen on PORT; 0, the default, lets the system pick one
  --address ADDRESS    listen on ADDRESS (default 127.0.0.1; ::1 for IPv6)
  --base-path PATH     serve everything below PATH (default /)
  --tls-cert FILE      serve over TLS (https and wss) with the certificate in FILE, PEM, with the chain below its
                       authority; needs --tls-key
  --tls-key FILE       the private key of the certificate, PEM without a password; needs --tls-cert
  --scenario FILE      do the steps of FILE, then go on serving
  --exit-after-scenario
                       end when all steps are done
  --help               print this text

BUS.json holds services, their resources, and the elements of those:

    {"services": {"ClampControl": {"clamps": [{"id": "1", "type": "Clamp15", "isSwitchedOn": false}]}}}

Elements are changed with HTTP POST, or by a scenario:

    curl -d '{"isSwitchedOn": true}' http://127.0.0.1:PORT/ClampControl/clamps/1

A scenario is a list of steps:

    {"set": {"path": "/ClampControl/clamps/1", "data": {"isSwitchedOn": true}}}
    {"add": {"path": "/ClampControl/clamps/9", "data": {"type": "ClampS"}}}
    {"remove": {"path": "/ClampControl/clamps/9"}}
    {"service": {"name": "ClampControl", "available": false}}   listed, but answers 503
    {"service": {"name": "ClampControl", "present": false}}     leaves the bus and the registry
    {"drop": {"service": "ClampControl"}}                       resets its WebSocket connections
    {"wait": {"ms": 200}}
    {"wait": {"subscribers": {"path": "/ClampControl/clamps/1", "count": 1}, "timeout": 5000}}
                                                                at least so many, or none for 0; "timeout" in
                                                                milliseconds, without it as long as it takes
    {"print": "text"}

Exit codes: 0 ended by a signal or after the scenario; 1 wrong usage; 2 the bus file, the scenario or the TLS files
cannot be used, or the port cannot be had; 3 a step of the scenario failed.
)";

struct Arguments {
    zebbussim::BusSimulator::Options options;
    std::string busFile;
    std::string scenarioFile;
    bool exitAfterScenario = false;
    bool help = false;
};

std::uint16_t parsePort(const std::string& text) {
    const bool isNumber =
        !text.empty() && text.size() <= 5 && text.find_first_not_of("0123456789") == std::string::npos;
    const int value = isNumber ? std::stoi(text) : -1;
    if (value < 0 || value > 65535) {
        throw std::invalid_argument("--port needs a number from 0 to 65535, not \"" + text + "\"");
    }
    return static_cast<std::uint16_t>(value);
}

/// Takes "--name value" and "--name=value".
Arguments parseArguments(const std::vector<std::string>& words) {
    Arguments arguments;
    for (std::size_t index = 0; index < words.size(); ++index) {
        const std::string& word = words[index];
        const std::size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const auto value = [&]() -> std::string {
            if (equals != std::string::npos) {
                return word.substr(equals + 1);
            }
            if (index + 1 == words.size()) {
                throw std::invalid_argument(name + " needs a value");
            }
            return words[++index];
        };
        if (word == "--help" || word == "-h") {
            arguments.help = true;
        } else if (name == "--port") {
            arguments.options.port = parsePort(value());
        } else if (name == "--address") {
            arguments.options.address = value();
        } else if (name == "--base-path") {
            arguments.options.basePath = value();
        } else if (name == "--tls-cert") {
            arguments.options.tlsCertificateFile = value();
        } else if (name == "--tls-key") {
            arguments.options.tlsKeyFile = value();
        } else if (name == "--scenario") {
            arguments.scenarioFile = value();
        } else if (word == "--exit-after-scenario") {
            arguments.exitAfterScenario = true;
        } else if (word.size() > 1 && word.front() == '-') {
            throw std::invalid_argument("unknown option " + word);
        } else if (!arguments.busFile.empty()) {
            throw std::invalid_argument("one bus file is enough, and \"" + word + "\" is a second");
        } else {
            arguments.busFile = word;
        }
    }
    if (!arguments.help && arguments.busFile.empty()) {
        throw std::invalid_argument("the bus file is missing");
    }
    if (arguments.options.tlsCertificateFile.empty() != arguments.options.tlsKeyFile.empty()) {
        throw std::invalid_argument(arguments.options.tlsKeyFile.empty() ? "--tls-cert needs --tls-key"
                                                                         : "--tls-key needs --tls-cert");
    }
    if (arguments.exitAfterScenario && arguments.scenarioFile.empty()) {
        throw std::invalid_argument("--exit-after-scenario needs --scenario");
    }
    return arguments;
}

void printLine(const std::string& text) {
    std::printf("zeb-bus-sim: %s\n", text.c_str());
    std::fflush(stdout);
}

void complain(const char* text) {
    std::fprintf(stderr, "zeb-bus-sim: %s\n", text);
}

/// Runs the scenario on a thread of its own, and ends the wait of the main thread where that is wanted.
class ScenarioThread {
 public:
    ScenarioThread(zebbussim::Scenario& scenarioToRun, zebbussim::BusSimulator& bus, bool exitAfter)
        : scenario_(scenarioToRun), thread_([this, &bus, exitAfter] {
              try {
                  scenario_.run(bus, printLine);
              } catch (const std::exception& exception) {
                  complain(exception.what());
                  failed_ = true;
              }
              if (exitAfter || failed_) {
                  kill(getpid(), SIGTERM);
              }
          }) {}

    /// True when no step failed.
    bool finish() {
        scenario_.cancel();
        thread_.join();
        return !failed_;
    }

 private:
    zebbussim::Scenario& scenario_;
    bool failed_ = false;
    std::thread thread_;
};

int serve(const Arguments& arguments, const sigset_t& signals) {
    zebbussim::BusSimulator bus(arguments.options);
    bus.loadFile(arguments.busFile);
    std::optional<zebbussim::Scenario> scenario;
    if (!arguments.scenarioFile.empty()) {
        scenario.emplace(zebbussim::Scenario::fromFile(arguments.scenarioFile));
    }
    bus.start();
    printLine("listening on " + bus.baseUri() + bus.basePath());

    std::optional<ScenarioThread> scenarioThread;
    if (scenario) {
        scenarioThread.emplace(*scenario, bus, arguments.exitAfterScenario);
    }
    int received = 0;
    sigwait(&signals, &received);
    const bool succeeded = !scenarioThread || scenarioThread->finish();
    bus.stop();
    return succeeded ? 0 : kScenarioFailed;
}

}  // namespace

int main(int argumentCount, char** argumentValues) {
    Arguments arguments;
    try {
        arguments = parseArguments({argumentValues + 1, argumentValues + argumentCount});
    } catch (const std::exception& exception) {
        complain(exception.what());
        complain("try zeb-bus-sim --help");
        return kUsage;
    }
    if (arguments.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    // Blocked before any thread starts, so that every thread inherits it and the signals wait for sigwait.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    try {
        return serve(arguments, signals);
    } catch (const std::exception& exception) {
        complain(exception.what());
        return kCannotStart;
    }
}
