#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Scenario.h"
#include "Tally.h"

namespace zebbussim {

class Bus;

/// Does the steps of a scenario on a bus. Owned by shared pointer, because timers refer to it. Used on the
/// bus's thread.
class ScenarioPlayer : public std::enable_shared_from_this<ScenarioPlayer> {
 public:
    struct Events {
        /// Runs a function on the bus's thread after a delay.
        std::function<void(std::chrono::milliseconds, std::function<void()>)> runLater;
        /// An entry begins: which one, counted from 1, and what it waits for.
        std::function<void(std::size_t, const std::string&)> begins;
        /// The text of a "print" step.
        std::function<void(const std::string&)> print;
        /// Called once, with what went wrong; empty if nothing did.
        std::function<void(const std::string&)> ended;
    };

    /// @param speed by which its times and pauses are divided. Limits of waits stay: clients are not faster
    ScenarioPlayer(Bus& bus, Scenario scenario, double speed, Events events);

    void start();
    /// Ends it where it is.
    /// @param failure empty: that is none
    void cancel(const std::string& failure = {});
    bool isPlaying() const { return isPlaying_; }

 private:
    using Clock = std::chrono::steady_clock;

    void playOn();
    /// Whether the entry is done, and the next one follows.
    bool play(const Scenario::Entry& entry);
    bool playCondition(const Scenario::Entry& entry);
    void doStep(const Scenario::Entry& entry);
    void note(const Scenario::Entry& entry, const char* kind, const std::string& text);
    void playLater(std::chrono::milliseconds delay);
    void checkSoon();
    std::chrono::milliseconds scenarioTime() const;
    void end(const std::string& failure);

    Bus& bus_;
    const Scenario scenario_;
    const double speed_;
    const Events events_;
    Tally tally_;
    Journal::Registration watch_;  ///< while it waits for a condition
    Clock::time_point begin_;
    Clock::time_point entryBegin_;
    std::size_t next_ = 0;
    bool hasPaused_ = false;  ///< the pause before the next entry, or of it, is over
    bool isEntryBegun_ = false;
    bool isCheckPlanned_ = false;
    bool isPlaying_ = false;
    std::uint64_t plan_ = 0;  ///< the latest; earlier timers do nothing
};

}  // namespace zebbussim
