#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>
#include <thread>

#include "EventPrinter.h"
#include "Follower.h"

namespace {

constexpr int kUsage = 1;
constexpr int kCannotRun = 2;
constexpr int kOutputLost = 3;

/// Wakes the main thread. Always blocked, so that it can end nothing by itself.
constexpr int kOutputLostSignal = SIGUSR1;

constexpr const char* kHelp =
    R"(Usage: clamp-monitor [--json]

Follows ignition terminal 15 of the vehicle and prints every event, until SIGINT (Ctrl-C) or SIGTERM.

  --json   print one JSON object per line: {"ts":"...","event":"...","value":...}
  --help   print this text

event         value
connection    whether the clamp-control service is there: connected, disconnected (JSON: true, false)
subscribed    the id of the clamp that is followed (JSON: a string)
notification  none (JSON: null): the vehicle has sent the state of the clamp
clamp15       whether terminal 15 is on: on, off (JSON: true, false)
stopped       none (JSON: null): the client has been stopped, nothing more follows

Times are local; in JSON, UTC. Output is coloured on a terminal, unless NO_COLOR is set in the environment. Errors
go to standard error; the reasons are in the log, where the application's context is MON.

A subscription that fails is tried again after 500 ms, then after twice as long each time, up to 10 s. Stopping takes
up to 10 s when a subscription is under way; a second signal, half a second later at the earliest, ends the program
at once.

The address of the service comes from /var/run/csc/config/kelo-client/ClientConfig.json.

Exit codes: 0 stopped by a signal; 1 wrong usage; 2 the client could not be run; 3 the output could not be written.
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

/// Lets a second signal do what signals do unless told otherwise: end the program. Not at once: whoever ends
/// a program may well signal it and its process group, as timeout(1) does.
void heedASecondSignal(const sigset_t& endingSignals) {
    std::thread([endingSignals] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        const timespec noWait{};
        while (sigtimedwait(&endingSignals, nullptr, &noWait) > 0) {
        }
        pthread_sigmask(SIG_UNBLOCK, &endingSignals, nullptr);
        while (true) {
            pause();
        }
    }).detach();
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
        complain("the output could not be written");
        return kOutputLost;
    }
    return 0;
}

}  // namespace

int main(int argumentCount, char** argumentValues) {
    EventPrinter::Format format =
        wantsColour() ? EventPrinter::Format::ColouredText : EventPrinter::Format::Text;
    for (int index = 1; index < argumentCount; ++index) {
        const std::string word = argumentValues[index];
        if (word == "--json") {
            format = EventPrinter::Format::Json;
        } else if (word == "--help" || word == "-h") {
            std::cout << kHelp;
            return 0;
        } else {
            complain("unknown argument \"" + word + "\"; try clamp-monitor --help");
            return kUsage;
        }
    }

    // Blocked before any thread starts, so that every thread inherits it and the signals wait for sigwait.
    sigset_t endingSignals;
    sigemptyset(&endingSignals);
    sigaddset(&endingSignals, SIGINT);
    sigaddset(&endingSignals, SIGTERM);
    sigset_t awaitedSignals = endingSignals;
    sigaddset(&awaitedSignals, kOutputLostSignal);
    pthread_sigmask(SIG_BLOCK, &awaitedSignals, nullptr);
    // A reader that has gone shows as an output that cannot be written.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return monitor(format, awaitedSignals, endingSignals);
    } catch (const std::exception& exception) {
        complain(exception.what());
        return kCannotRun;
    }
}
