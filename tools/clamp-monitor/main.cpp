#include <internal/StandardStreams.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include "Check.h"
#include "Complaint.h"
#include "ExitCode.h"
#include "Monitor.h"
#include "Signals.h"

namespace {

constexpr const char* kHelp =
    R"(Usage: clamp-monitor [--json] [--stats]
       clamp-monitor --check

Follows ignition terminal 15 of the vehicle and prints every event until SIGINT
(Ctrl-C) or SIGTERM.

  --json   print one JSON object per line:
           {"ts":"...","event":"...","value":...}
  --stats  at the end, print on standard error what the library knows of itself:
           states, addresses, failures, counts. SIGUSR1 prints it at any time
  --check  print what the library makes of the configuration file, then try each
           step to the state of terminal 15, and say which one fails
  --help   print this text
  --version
           print the version

event         value (in JSON)
connection    connected (true) or disconnected (false): the clamp-control
              service is present or not
subscribed    the id of the clamp (a string)
notification  no value (null): the vehicle has sent the state of the clamp
clamp15       on (true) or off (false): the state of terminal 15
unknown       the state of terminal 15 is not known, or not any more; JSON has
              a "reason" in place of the value
stopped       no value (null): the client has stopped; the last event

Times are local in text, and UTC in JSON. Output to a terminal is coloured
unless NO_COLOR is set in the environment. Errors and warnings go to standard
error, also what is wrong with the configuration file, and why nothing works.
The application's log context is MON.

A failed subscription is repeated after 500 ms, then after twice the pause each
time, up to 10 s. A second signal, at least half a second after the first, ends
the program at once.

The file /var/run/csc/config/kelo-client/ClientConfig.json contains the address
of the service.

Exit codes:
  0  stopped by a signal; with --check: the state of terminal 15 was found
  1  a failure: the output could not be written, a step of --check has failed,
     or an internal error
  2  wrong usage
)";

bool wantsColour() {
    const char* const noColour = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    const bool isDumb = terminal != nullptr && std::strcmp(terminal, "dumb") == 0;
    return isatty(STDOUT_FILENO) == 1 && (noColour == nullptr || *noColour == '\0') && !isDumb;
}

/// Returns the exit code.
int print(const char* text) {
    if (!(std::cout << text << std::flush)) {
        complain("the output could not be written");
        return kFailure;
    }
    return kSuccess;
}

}  // namespace

int main(int argumentCount, char** argumentValues) {
    internal::openClosedStandardStreams();
    EventPrinter::Format format =
        wantsColour() ? EventPrinter::Format::ColouredText : EventPrinter::Format::Text;
    bool printsStats = false;
    bool isCheck = false;
    for (int index = 1; index < argumentCount; ++index) {
        const std::string word = argumentValues[index];
        if (word == "--json") {
            format = EventPrinter::Format::Json;
        } else if (word == "--stats") {
            printsStats = true;
        } else if (word == "--check") {
            isCheck = true;
        } else if (word == "--help" || word == "-h") {
            return print(kHelp);
        } else if (word == "--version") {
            return print("clamp-monitor " CLAMP_MONITOR_VERSION "\n");
        } else {
            complain("unknown argument \"" + word + "\"; try clamp-monitor --help");
            return kUsage;
        }
    }
    if (isCheck && argumentCount > 2) {
        complain("--check takes no other argument");
        return kUsage;
    }
    try {
        if (isCheck) {
            return check();
        }
        const Signals signals;
        return monitor(format, printsStats, signals);
    } catch (const std::exception& exception) {
        complain(exception.what());
        return kFailure;
    }
}
