#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "zeb-bus-sim/BusSimulator.h"

namespace zebutil {
class JsonArray;
class JsonObject;
}  // namespace zebutil

namespace zebbussim {

/// A list of steps, changes and waits, that are done on a bus one after the other.
///
///     [{"wait": {"subscribers": {"path": "/ClampControl/clamps/1", "count": 1}}},
///      {"set": {"path": "/ClampControl/clamps/1", "data": {"isSwitchedOn": true}}}]
///
/// `run()` may be called once. Any other thread may call `cancel()`, which makes `run()` return soon. A move
/// must not overlap with either.
class Scenario {
 public:
    /// Writes the text of a "print" step.
    using Print = std::function<void(const std::string&)>;

    /// Reads and checks the whole file. Throws `std::runtime_error` that says which step is wrong and why.
    static Scenario fromFile(const std::string& fileName);
    /// `source` names the text in errors.
    static Scenario fromText(const std::string& json, const std::string& source);

    /// Does the steps. Returns when they are done or cancelled. Throws `std::runtime_error` if one fails.
    void run(BusSimulator& bus, const Print& print);
    void cancel();

    Scenario(Scenario&& other) noexcept
        : steps_(std::move(other.steps_)), source_(std::move(other.source_)) {}

 private:
    Scenario(const std::shared_ptr<zebutil::JsonArray>& scenarioSteps, const std::string& scenarioSource)
        : steps_(scenarioSteps), source_(scenarioSource) {}

    [[noreturn]] void fail(std::size_t index, const std::string& why) const;
    void check(std::size_t index) const;
    void doStep(BusSimulator& bus, const std::string& kind, const zebutil::JsonObject& step,
                const Print& print);
    void doWait(BusSimulator& bus, const zebutil::JsonObject& wait);

    std::shared_ptr<zebutil::JsonArray> steps_;
    std::string source_;
    std::mutex mutex_;
    std::condition_variable cancelling_;
    std::atomic<bool> cancelled_ = false;
};

}  // namespace zebbussim
