#include "Arguments.h"

#include <internal/SimilarWord.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>
#include <system_error>

#include "bus/OptionCheck.h"

namespace zebbussim {

namespace {

constexpr std::uint16_t kDemoPort = 8015;
constexpr int kLargestPort = 65535;
constexpr double kHighestSpeed = 1000;
constexpr double kLowestSpeed = 0.01;

std::uint16_t portOf(const std::string& text) {
    const bool isNumber =
        !text.empty() && text.size() <= 5 && text.find_first_not_of("0123456789") == std::string::npos;
    const int value = isNumber ? std::stoi(text) : -1;
    if (value < 0 || value > kLargestPort) {
        throw std::invalid_argument("--port must be a number from 0 to 65535, not \"" + text + "\"");
    }
    return static_cast<std::uint16_t>(value);
}

double speedOf(const std::string& text) {
    char* end = nullptr;
    const double speed = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(speed) || speed < kLowestSpeed ||
        speed > kHighestSpeed) {
        throw std::invalid_argument("--speed must be a number from 0.01 to 1000, not \"" + text + "\"");
    }
    return speed;
}

std::string notEmpty(const std::string& name, const std::string& value) {
    if (value.empty()) {
        throw std::invalid_argument(name + " needs a value");
    }
    return value;
}

class Reader {
 public:
    Arguments read(const std::vector<std::string>& words) {
        for (std::size_t index = 0; index < words.size(); ++index) {
            const std::string& word = words[index];
            const std::size_t equals = word.find('=');
            const std::string name = word.substr(0, equals);
            if (const auto flag = flags_.find(word); flag != flags_.end()) {
                flag->second();
            } else if (const auto option = options_.find(name); option != options_.end()) {
                if (equals == std::string::npos && index + 1 == words.size()) {
                    throw std::invalid_argument(name + " needs a value");
                }
                option->second(equals == std::string::npos ? words[++index] : word.substr(equals + 1));
            } else if (word.size() > 1 && word.front() == '-') {
                refuse(name, equals != std::string::npos);
            } else if (!arguments_.busFile.empty()) {
                throw std::invalid_argument("only one bus file is allowed, but \"" + word +
                                            "\" is a second one");
            } else {
                arguments_.busFile = word;
            }
        }
        check();
        return arguments_;
    }

 private:
    [[noreturn]] void refuse(const std::string& name, bool hasValue) const {
        if (hasValue && flags_.count(name) > 0) {
            throw std::invalid_argument(name + " takes no value");
        }
        internal::Words names;
        for (const auto& [known, action] : flags_) {
            names.push_back(known);
        }
        for (const auto& [known, action] : options_) {
            names.push_back(known);
        }
        const std::string_view similar = internal::similarWord(name, names);
        throw std::invalid_argument("unknown option " + name +
                                    (similar.empty() ? "" : "; did you mean " + std::string(similar) + "?"));
    }

    void check() {
        Arguments& all = arguments_;
        if (all.wantsHelp || all.wantsVersion) {
            return;
        }
        if (all.isDemo && !all.busFile.empty()) {
            throw std::invalid_argument("--demo has a vehicle of its own; leave \"" + all.busFile +
                                        "\" or --demo out");
        }
        if (!all.isDemo && all.busFile.empty()) {
            throw std::invalid_argument("the bus file is missing; --demo needs none");
        }
        if (all.isDemo && !hasPort_) {
            all.options.port = kDemoPort;
        }
        if (all.options.tlsCertificateFile.empty() != all.options.tlsKeyFile.empty()) {
            throw std::invalid_argument(all.options.tlsKeyFile.empty() ? "--tls-cert needs --tls-key"
                                                                       : "--tls-key needs --tls-cert");
        }
        if (all.exitAfterScenario && all.scenarioFile.empty()) {
            throw std::invalid_argument("--exit-after-scenario needs --scenario");
        }
        if (hasSpeed_ && all.scenarioFile.empty()) {
            throw std::invalid_argument("--speed needs --scenario");
        }
        for (const std::string& input : {all.scenarioFile, all.busFile}) {
            std::error_code ignored;
            if (!all.recordFile.empty() && std::filesystem::equivalent(all.recordFile, input, ignored)) {
                throw std::invalid_argument("--record would overwrite " + input + ", which is read");
            }
        }
        checkOptions(all.options);
    }

    using Value = const std::string&;

    Arguments arguments_;
    bool hasPort_ = false;
    bool hasSpeed_ = false;
    const std::map<std::string, std::function<void()>> flags_{
        {"--help", [this] { arguments_.wantsHelp = true; }},
        {"-h", [this] { arguments_.wantsHelp = true; }},
        {"--version", [this] { arguments_.wantsVersion = true; }},
        {"--demo", [this] { arguments_.isDemo = true; }},
        {"--quiet", [this] { arguments_.isQuiet = true; }},
        {"--lenient", [this] { arguments_.options.lenient = true; }},
        {"--exit-after-scenario", [this] { arguments_.exitAfterScenario = true; }}};
    const std::map<std::string, std::function<void(Value)>> options_{
        {"--port",
         [this](Value value) {
             arguments_.options.port = portOf(value);
             hasPort_ = true;
         }},
        {"--address", [this](Value value) { arguments_.options.address = notEmpty("--address", value); }},
        {"--base-path", [this](Value value) { arguments_.options.basePath = value; }},
        {"--tls-cert",
         [this](Value value) { arguments_.options.tlsCertificateFile = notEmpty("--tls-cert", value); }},
        {"--tls-key", [this](Value value) { arguments_.options.tlsKeyFile = notEmpty("--tls-key", value); }},
        {"--host-name", [this](Value value) { arguments_.options.hostNames.push_back(value); }},
        {"--scenario", [this](Value value) { arguments_.scenarioFile = notEmpty("--scenario", value); }},
        {"--record", [this](Value value) { arguments_.recordFile = notEmpty("--record", value); }},
        {"--speed", [this](Value value) {
             arguments_.speed = speedOf(value);
             hasSpeed_ = true;
         }}};
};

}  // namespace

Arguments parseArguments(const std::vector<std::string>& words) {
    return Reader().read(words);
}

const char* const kHelp =
    R"(Usage: zeb-bus-sim [OPTION...] BUS.json
       zeb-bus-sim [OPTION...] --demo

Simulates the service bus of a vehicle on this machine: services over HTTP and
WebSocket, their registry, and a control panel, all on one port. Prints where:

    zeb-bus-sim: listening on http://127.0.0.1:PORT/

This address opens the control panel in a browser. Ends on SIGTERM or SIGINT.

  --demo               a vehicle with all services; no file is needed. Terminal
                       15 is /ClampControl/clamps/1
  --port PORT          listen on PORT (default 8015 with --demo, otherwise 0:
                       the system chooses one)
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
  --scenario FILE      play the steps in FILE, then continue to serve
  --speed FACTOR       play the scenario FACTOR times as fast
  --exit-after-scenario
                       exit when all steps are done
  --record FILE        write what changes on the bus to FILE, as a scenario with
                       times
  --lenient            accept fields and literals that no model has
  --quiet              do not print what clients do
  --version            print the version
  --help               print this text

BUS.json contains services, their resources, and the elements of each resource:

    {"services": {"ClampControl": {"clamps": [
        {"id": "1", "type": "Clamp15", "isSwitchedOn": false}]}}}

An HTTP POST, the panel or a scenario changes elements and makes faults:

    curl -d '{"isSwitchedOn": true}' \
        http://127.0.0.1:PORT/ClampControl/clamps/1
    curl -d '{"path": "/ClampControl", "ms": 500}' \
        http://127.0.0.1:PORT/_sim/delay

A scenario is a JSON list of steps, waits and expectations:

    [{"wait": {"subscribers": {"path": "/ClampControl/clamps/1", "count": 1}}},
     {"set": {"path": "/ClampControl/clamps/1",
              "data": {"isSwitchedOn": true}}},
     {"drop": {"service": "ClampControl"}},
     {"expect": {"subscribed": {"path": "/ClampControl/clamps/1", "count": 1},
                 "within": 5000}}]

The steps: set, add, remove, service; delay, ignore, status, bytes, contentType,
pad, cut; refuse, withhold, release, skip, twice, fragment, sameId, send; drop,
close, freeze, stall, slow, refuseConnections, restart; clear; print, wait,
expect. docs/simulator.md describes each.

Exit codes:
  0  ended by a signal or after the scenario
  1  a failure: a file, the certificate or the port cannot be used, a step of
     the scenario failed, the recording is not complete
  2  wrong usage
)";

}  // namespace zebbussim
