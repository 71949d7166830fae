#include "Program.h"

#include <internal/EscapedText.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "ActivityLog.h"
#include "LinePrinter.h"
#include "ProtocolReport.h"
#include "bus/Simulation.h"
#include "embedded/EmbeddedFiles.h"
#include "scenario/Recorder.h"

namespace zebbussim {

namespace {

constexpr int kFailure = 1;

/// The signals that end the program, which every thread that is started from now on leaves to sigwait.
sigset_t blockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

bool isColoured() {
    const char* const noColour = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    const bool isDumb = terminal != nullptr && std::strcmp(terminal, "dumb") == 0;
    return ::isatty(STDOUT_FILENO) == 1 && (noColour == nullptr || *noColour == '\0') && !isDumb;
}

/// Those who listen to the journal. Made and destroyed on the bus's thread.
struct Listeners {
    Listeners(Journal& journal, const Arguments& arguments, LinePrinter& printer) : report(journal) {
        if (!arguments.isQuiet) {
            activity.emplace(journal, isColoured(),
                             [&printer](const std::string& line) { printer.printIfThereIsRoom(line); });
        }
        if (!arguments.recordFile.empty()) {
            recorder.emplace(journal, arguments.recordFile);
        }
    }

    ProtocolReport report;
    std::optional<ActivityLog> activity;
    std::optional<Recorder> recorder;
};

class Program {
 public:
    explicit Program(const Arguments& arguments) : arguments_(arguments), simulation_(arguments.options) {
        if (arguments.isDemo) {
            simulation_.loadText(std::string(embeddedFile("bus/vehicle.json").value()));
        } else {
            for (const std::string& warning : simulation_.loadFile(arguments.busFile)) {
                std::fprintf(stderr, "zeb-bus-sim: %s\n", warning.c_str());
            }
        }
        if (!arguments.scenarioFile.empty()) {
            scenario_.emplace(Scenario::fromFile(arguments.scenarioFile, arguments.options.lenient
                                                                             ? Strictness::Lenient
                                                                             : Strictness::Strict));
        }
    }

    int run() {
        // The files are read: until now a signal has ended the program at once.
        const sigset_t signals = blockSignals();
        simulation_.start();
        LinePrinter printer([this] {
            isOutputLost_ = true;
            ::kill(::getpid(), SIGTERM);
        });
        simulation_.invoke(
            [&](Bus& bus) { listeners_ = std::make_unique<Listeners>(bus.journal(), arguments_, printer); });
        printer.print("listening on " + simulation_.baseUri() + simulation_.basePath());
        if (scenario_) {
            play(printer);
        }
        int received = 0;
        sigwait(&signals, &received);
        simulation_.cancelScenario();
        end(printer);
        simulation_.stop();
        return failure_.empty() ? 0 : kFailure;
    }

 private:
    void play(LinePrinter& printer) {
        simulation_.play(
            *scenario_, arguments_.speed,
            [this, &printer](std::size_t number, const std::string& what) {
                printer.showStatus("step " + std::to_string(number) + " of " +
                                   std::to_string(scenario_->entries().size()) +
                                   (what.empty() ? "" : ": " + internal::escapedText(what)));
            },
            [&printer](const std::string& text) { printer.print(internal::escapedText(text)); },
            [this, &printer](const std::string& failure) {
                printer.showStatus("");
                failure_ = failure;
                if (!failure.empty() || arguments_.exitAfterScenario) {
                    ::kill(::getpid(), SIGTERM);
                }
            });
    }

    // On the main thread. The listeners end on the bus's thread.
    void end(LinePrinter& printer) {
        std::string report;
        simulation_.invoke([&](Bus&) {
            report = listeners_->report.text();
            if (listeners_->recorder && failure_.empty()) {
                failure_ = listeners_->recorder->problem();
            }
            listeners_.reset();
        });
        if (!arguments_.isQuiet) {
            printer.print(report);
        }
        if (failure_.empty() && isOutputLost_) {
            failure_ = "the output could not be written";
        }
        if (!failure_.empty()) {
            std::fprintf(stderr, "zeb-bus-sim: %s\n", failure_.c_str());
        }
    }

    const Arguments& arguments_;
    Simulation simulation_;
    std::optional<Scenario> scenario_;
    std::unique_ptr<Listeners> listeners_;
    std::atomic<bool> isOutputLost_ = false;
    std::string failure_;  ///< of the scenario; on the bus's thread
};

}  // namespace

int serve(const Arguments& arguments) {
    return Program(arguments).run();
}

}  // namespace zebbussim
