#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>
#include <internal/StandardStreams.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>
#include <system_error>
#include <thread>

#include "EventPrinter.h"
#include "Follower.h"

namespace {

constexpr int kUsage = 1;
constexpr int kCannotRun = 2;
constexpr int kOutputLost = 3;

constexpr const char* kOutputLostText = "the output could not be written";

/// Wakes the main thread. Always blocked, so it never ends the program by itself.
constexpr int kOutputLostSignal = SIGUSR1;

constexpr const char* kHelp =
    R"(Usage: clamp-monitor [--json]

Follows ignition terminal 15 of the vehicle and prints every event until SIGINT
(Ctrl-C) or SIGTERM.

  --json   print one JSON object per line:
           {"ts":"...","event":"...","value":...}
  --help   print this text

event         value (in JSON)
connection    connected (true) or disconnected (false): the clamp-control
              service is present or not
subscribed    the id of the clamp (a string)
notification  no value (null): the vehicle has sent the state of the clamp
clamp15       on (true) or off (false): the state of terminal 15
stopped       no value (null): the client has stopped; the last event

Times are local in text, and UTC in JSON. Output to a terminal is coloured
unless NO_COLOR is set in the environment. Errors go to standard error. The log
contains their reasons; the application's log context is MON.

A failed subscription is repeated after 500 ms, then after twice the pause each
time, up to 10 s. A second signal, at least half a second after the first, ends
the program at once.

The file /var/run/csc/config/kelo-client/ClientConfig.json contains the address
of the service.

Exit codes:
  0  stopped by a signal
  1  wrong usage
  2  the client could not run
  3  the output could not be written
)";

bool wantsColour() {
    const char* const noColour = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    const bool isDumb = terminal != nullptr && std::strcmp(terminal, "dumb") == 0;
    return isatty(STDOUT_FILENO) == 1 && (noColour == nullptr || *noColour == '\0') && !isDumb;
}

void complain(const std::string& text) {
    std::cerr << "clamp-monitor: " + text + "\n";
}

/// Returns the exit code.
int printHelp() {
    if (!(std::cout << kHelp << std::flush)) {
        complain(kOutputLostText);
        return kOutputLost;
    }
    return 0;
}

/// Restores the default action of the signals, so a second one ends the program. Waits half a second first,
/// because timeout(1), for instance, signals both the program and its process group.
void heedASecondSignal(const sigset_t& endingSignals) {
    const auto awaitAnother = [endingSignals] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        const timespec noWait{};
        while (sigtimedwait(&endingSignals, nullptr, &noWait) > 0) {
        }
        pthread_sigmask(SIG_UNBLOCK, &endingSignals, nullptr);
        while (true) {
            pause();
        }
    };
    try {
        std::thread(awaitAnother).detach();
    } catch (const std::system_error&) {
        // Without a thread to wait for it, the second signal ends the program right away.
        pthread_sigmask(SIG_UNBLOCK, &endingSignals, nullptr);
    }
}

int monitor(EventPrinter::Format format, const sigset_t& awaitedSignals, const sigset_t& endingSignals) {
    std::atomic<bool> outputLost = false;
    EventPrinter printer(std::cout, format, std::chrono::system_clock::now, [&] {
        outputLost = true;
        kill(getpid(), kOutputLostSignal);
    });
    csc_logging::CSCLogging::InitLogging("MON");
    clampcontrolclient::ClampControlClient client;
    Follower follower(client, printer, complain, Follower::Pauses{});
    follower.start();

    int received = 0;
    sigwait(&awaitedSignals, &received);
    heedASecondSignal(endingSignals);
    follower.stop();
    printer.stopped();
    if (outputLost) {
        complain(kOutputLostText);
        return kOutputLost;
    }
    return 0;
}

}  // namespace

int main(int argumentCount, char** argumentValues) {
    internal::openClosedStandardStreams();
    EventPrinter::Format format =
        wantsColour() ? EventPrinter::Format::ColouredText : EventPrinter::Format::Text;
    for (int index = 1; index < argumentCount; ++index) {
        const std::string word = argumentValues[index];
        if (word == "--json") {
            format = EventPrinter::Format::Json;
        } else if (word == "--help" || word == "-h") {
            return printHelp();
        } else {
            complain("unknown argument \"" + word + "\"; try clamp-monitor --help");
            return kUsage;
        }
    }

    // Blocked before any thread starts: every thread inherits the mask, and the signals wait for sigwait.
    sigset_t endingSignals;
    sigemptyset(&endingSignals);
    sigaddset(&endingSignals, SIGINT);
    sigaddset(&endingSignals, SIGTERM);
    sigset_t awaitedSignals = endingSignals;
    sigaddset(&awaitedSignals, kOutputLostSignal);
    pthread_sigmask(SIG_BLOCK, &awaitedSignals, nullptr);
    // If the reader of the output disappears, a write fails and the program reports it.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return monitor(format, awaitedSignals, endingSignals);
    } catch (const std::exception& exception) {
        complain(exception.what());
        return kCannotRun;
    }
}
