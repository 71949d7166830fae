#include <internal/StandardStreams.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "scenario/Scenario.h"
#include "zeb-bus-sim/BusSimulator.h"

namespace {

constexpr int kUsage = 1;
constexpr int kCannotStart = 2;
constexpr int kScenarioFailed = 3;
/// To print one line, before the program ends without it.
constexpr std::chrono::seconds kPrintTime{1};

constexpr const char* kHelp =
    R"(Usage: zeb-bus-sim [OPTION...] BUS.json

Simulates the service bus of a vehicle on this machine. Serves the services and
their registry over HTTP and WebSocket on one port. Prints one line when it is
ready:

    zeb-bus-sim: listening on http://127.0.0.1:PORT/

Ends on SIGTERM or SIGINT.

  --port PORT          listen on PORT (default 0: the system chooses one)
  --address ADDRESS    listen on ADDRESS (default 127.0.0.1; ::1 for IPv6)
  --base-path PATH     serve everything below PATH (default /)
  --tls-cert FILE      serve over TLS (https and wss) with the certificate and
                       the intermediate certificates in FILE (PEM); needs
                       --tls-key
  --tls-key FILE       the private key of the certificate (PEM without a
                       password); needs --tls-cert
  --host-name NAME     accept requests for this host, too; may be repeated.
                       Without it, only those for an IP address or localhost
                       are accepted, and none from the web page of another
                       server
  --scenario FILE      run the steps in FILE, then continue to serve
  --exit-after-scenario
                       exit when all steps are done
  --help               print this text

BUS.json contains services, their resources, and the elements of each resource:

    {"services": {"ClampControl": {"clamps": [
        {"id": "1", "type": "Clamp15", "isSwitchedOn": false}]}}}

An HTTP POST or a scenario changes elements:

    curl -d '{"isSwitchedOn": true}' \
        http://127.0.0.1:PORT/ClampControl/clamps/1

A scenario is a JSON list of steps:

  change, add or remove an element:
    {"set": {"path": "/ClampControl/clamps/1", "data": {"isSwitchedOn": true}}}
    {"add": {"path": "/ClampControl/clamps/9", "data": {"type": "ClampS"}}}
    {"remove": {"path": "/ClampControl/clamps/9"}}
  make a service unavailable: it stays in the registry, but requests get 503
    {"service": {"name": "ClampControl", "available": false}}
  remove a service from the bus and the registry:
    {"service": {"name": "ClampControl", "present": false}}
  reset the WebSocket connections of a service:
    {"drop": {"service": "ClampControl"}}
  wait 200 ms:
    {"wait": {"ms": 200}}
  wait for at least "count" subscribers, or for none if "count" is 0; "timeout"
  is in milliseconds, and without it the wait has no limit:
    {"wait": {"subscribers": {"path": "/ClampControl/clamps/1", "count": 1},
              "timeout": 5000}}
  print a line:
    {"print": "text"}

Exit codes:
  0  ended by a signal or after the scenario
  1  wrong usage
  2  cannot use the bus file, the scenario or the TLS files, cannot listen on
     the port, or cannot print this text
  3  a step of the scenario failed
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
        throw std::invalid_argument("--port must be a number from 0 to 65535, not \"" + text + "\"");
    }
    return static_cast<std::uint16_t>(value);
}

/// Accepts "--name value" and "--name=value".
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
        } else if (name == "--host-name") {
            arguments.options.hostNames.push_back(value());
        } else if (name == "--scenario") {
            arguments.scenarioFile = value();
            if (arguments.scenarioFile.empty()) {
                throw std::invalid_argument("--scenario needs a value");
            }
        } else if (word == "--exit-after-scenario") {
            arguments.exitAfterScenario = true;
        } else if (word.size() > 1 && word.front() == '-') {
            throw std::invalid_argument("unknown option " + word);
        } else if (!arguments.busFile.empty()) {
            throw std::invalid_argument("only one bus file is allowed, but \"" + word + "\" is a second one");
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

/// Writes directly: a thread that waits here for a reader must not hold a lock of the standard output, which
/// the end of the program may flush.
void printLine(const std::string& text) {
    const std::string line = "zeb-bus-sim: " + text + "\n";
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, rest.data(), rest.size());
        if (written < 0 && errno != EINTR) {
            return;  // there is nobody to tell
        }
        rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

void complain(const char* text) {
    std::fprintf(stderr, "zeb-bus-sim: %s\n", text);
}

/// Says that the bus listens, and runs the scenario, if there is one, on a separate thread: nobody may read
/// what is printed. Ends the program with SIGTERM, for which the main thread waits, when a step fails, or
/// when the scenario is done if `exitAfter` is set.
class PrintingThread {
 public:
    PrintingThread(std::optional<zebbussim::Scenario>& scenarioToRun, zebbussim::BusSimulator& bus,
                   bool exitAfter)
        : scenario_(scenarioToRun), thread_([this, &bus, exitAfter] {
              run(bus);
              if (exitAfter || failed_) {
                  kill(getpid(), SIGTERM);
              }
              done_.set_value();
          }) {}

    /// Cancels the scenario and waits for it. If the thread cannot go on, because nobody reads what it
    /// prints, ends the bus and the program.
    /// @returns whether no step failed
    bool finish(zebbussim::BusSimulator& bus) {
        if (scenario_) {
            scenario_->cancel();
        }
        if (done_.get_future().wait_for(kPrintTime) != std::future_status::ready) {
            bus.stop();
            ::_exit(0);  // the thread cannot be joined
        }
        thread_.join();
        return !failed_;
    }

 private:
    void run(zebbussim::BusSimulator& bus) {
        try {
            printLine("listening on " + bus.baseUri() + bus.basePath());
            if (scenario_) {
                scenario_->run(bus, printLine);
            }
        } catch (const std::exception& exception) {
            complain(exception.what());
            failed_ = true;
        }
    }

    std::optional<zebbussim::Scenario>& scenario_;
    bool failed_ = false;
    std::promise<void> done_;
    std::thread thread_;
};

/// The signals that end the program, which every thread that is started from now on leaves to sigwait.
sigset_t blockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

int serve(const Arguments& arguments) {
    zebbussim::BusSimulator bus(arguments.options);
    bus.loadFile(arguments.busFile);
    std::optional<zebbussim::Scenario> scenario;
    if (!arguments.scenarioFile.empty()) {
        scenario.emplace(zebbussim::Scenario::fromFile(arguments.scenarioFile));
    }
    // The files are read: until now a signal has ended the program at once.
    const sigset_t signals = blockSignals();
    bus.start();
    PrintingThread printing(scenario, bus, arguments.exitAfterScenario);
    int received = 0;
    sigwait(&signals, &received);
    const bool succeeded = printing.finish(bus);
    bus.stop();
    return succeeded ? 0 : kScenarioFailed;
}

}  // namespace

int main(int argumentCount, char** argumentValues) {
    internal::openClosedStandardStreams();
    Arguments arguments;
    try {
        arguments = parseArguments({argumentValues + 1, argumentValues + argumentCount});
    } catch (const std::exception& exception) {
        complain(exception.what());
        complain("try zeb-bus-sim --help");
        return kUsage;
    }
    if (arguments.help) {
        if (std::fputs(kHelp, stdout) < 0 || std::fflush(stdout) != 0) {
            complain("the output could not be written");
            return kCannotStart;
        }
        return 0;
    }
    try {
        return serve(arguments);
    } catch (const std::exception& exception) {
        complain(exception.what());
        return kCannotStart;
    }
}
