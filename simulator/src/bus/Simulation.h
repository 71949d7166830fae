#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Bus.h"
#include "Flood.h"
#include "LibraryErrors.h"
#include "scenario/ScenarioPlayer.h"
#include "server/BusServer.h"
#include "server/BusThread.h"
#include "zeb-bus-sim/BusSimulator.h"

namespace zebbussim {

/// A bus with its thread: brings the calls of any thread there.
///
/// While the bus runs, everything but the observations is used on its thread only. While it does not run, it
/// is used on the threads of the callers, one at a time.
class Simulation {
 public:
    using Options = BusSimulator::Options;

    explicit Simulation(const Options& options);
    ~Simulation();
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    void start();
    void stop();
    std::uint16_t port() const { return options_.port; }
    std::string baseUri() const;
    const std::string& basePath() { return bus_.context().basePath; }

    std::vector<std::string> loadFile(const std::string& fileName);
    std::vector<std::string> loadText(const std::string& json);
    void addService(const std::string& name, const std::string& json);
    void flood(const std::string& path, const std::vector<std::string>& states, std::size_t changes);

    const Observations& observations() const { return bus_.observations(); }

    /// Runs a function with the bus on the bus's thread, or on the caller's while the bus does not run, and
    /// returns its result. Throws the errors of the library.
    template <typename Function>
    auto invoke(Function function) {
        if (!running_) {
            const std::lock_guard lock(idleMutex_);
            return withLibraryErrors([&] { return function(bus_); });
        }
        return running_->thread.invoke([&] { return withLibraryErrors([&] { return function(bus_); }); });
    }

    using Text = std::function<void(const std::string&)>;
    using Begins = std::function<void(std::size_t number, const std::string& what)>;

    /// Begins to play. The functions are called on the bus's thread.
    /// @param begins which entry begins, and what it waits for
    /// @param print the text of a "print" step
    /// @param ended what went wrong; empty if nothing did
    void play(Scenario scenario, double speed, Begins begins, Text print, Text ended);
    void cancelScenario();

 private:
    /// What exists only while the bus runs.
    struct Running {
        Running(Bus& bus, const Options& options);

        BusThread thread;
        BusServer server;
        Flood flood;
        std::shared_ptr<ScenarioPlayer> player;
    };

    /// `what` begins the texts of errors, `source` their lines.
    std::vector<std::string> load(const std::string& text, const std::string& what,
                                  const std::string& source);

    Options options_;
    Bus bus_;
    std::mutex idleMutex_;
    std::unique_ptr<Running> running_;
};

}  // namespace zebbussim
