#include "ScenarioPlayer.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "bus/Bus.h"

namespace zebbussim {

using std::chrono::milliseconds;

ScenarioPlayer::ScenarioPlayer(Bus& bus, Scenario scenario, double speed, Events events)
    : bus_(bus),
      scenario_(std::move(scenario)),
      speed_(speed),
      events_(std::move(events)),
      tally_(bus.journal()) {}

void ScenarioPlayer::start() {
    isPlaying_ = true;
    begin_ = Clock::now();
    playLater(milliseconds(0));
}

void ScenarioPlayer::cancel(const std::string& failure) {
    end(failure);
}

void ScenarioPlayer::end(const std::string& failure) {
    if (!std::exchange(isPlaying_, false)) {
        return;
    }
    ++plan_;
    watch_.end();
    events_.ended(failure);
}

milliseconds ScenarioPlayer::scenarioTime() const {
    const std::chrono::duration<double, std::milli> passed = Clock::now() - begin_;
    return milliseconds(static_cast<std::int64_t>(passed.count() * speed_));
}

// Calls playOn() once, unless it is planned again before.
void ScenarioPlayer::playLater(milliseconds delay) {
    events_.runLater(delay, [weak = weak_from_this(), plan = ++plan_] {
        const auto self = weak.lock();
        if (self && self->plan_ == plan) {
            self->playOn();
        }
    });
}

void ScenarioPlayer::playOn() {
    // The bus serves its clients in between.
    constexpr int kMostAtOnce = 32;
    for (int count = 0; count < kMostAtOnce; ++count) {
        if (next_ == scenario_.entries().size()) {
            end({});
            return;
        }
        const Scenario::Entry& entry = scenario_.entries()[next_];
        try {
            if (!play(entry)) {
                return;
            }
        } catch (const std::exception& exception) {
            end(entry.place + ": " + exception.what());
            return;
        }
        watch_.end();
        isEntryBegun_ = false;
        ++next_;
    }
    playLater(milliseconds(0));
}

bool ScenarioPlayer::play(const Scenario::Entry& entry) {
    if (!std::exchange(isEntryBegun_, true)) {
        entryBegin_ = Clock::now();
        hasPaused_ = false;
        events_.begins(next_ + 1, entry.condition ? entry.condition->inWords() : std::string());
    }
    const auto pause = entry.kind == Scenario::Entry::Kind::Pause ? entry.time : std::nullopt;
    if (!hasPaused_ && (entry.at || pause)) {
        hasPaused_ = true;
        const auto from = pause ? entryBegin_ : begin_;
        const std::chrono::duration<double, std::milli> scaled(
            static_cast<double>((pause ? *pause : *entry.at).count()) / speed_);
        const auto left = from + std::chrono::ceil<milliseconds>(scaled) - Clock::now();
        if (left > Clock::duration::zero()) {
            playLater(std::chrono::ceil<milliseconds>(left));
            return false;
        }
    }
    switch (entry.kind) {
        case Scenario::Entry::Kind::Print:
            events_.print(entry.text);
            note(entry, "print", entry.text);
            return true;
        case Scenario::Entry::Kind::Do:
            doStep(entry);
            return true;
        case Scenario::Entry::Kind::Pause:
            return true;
        default:
            return playCondition(entry);
    }
}

void ScenarioPlayer::doStep(const Scenario::Entry& entry) {
    tally_.change();
    bus_.perform(*entry.step, "scenario", entry.at ? *entry.at : scenarioTime());
}

bool ScenarioPlayer::playCondition(const Scenario::Entry& entry) {
    const std::string problem = entry.condition->problem(bus_, tally_);
    const bool isExpected = entry.kind == Scenario::Entry::Kind::Expect;
    if (problem.empty()) {
        note(entry, isExpected ? "expect" : "wait", entry.condition->inWords());
        return true;
    }
    const auto passed = Clock::now() - entryBegin_;
    const bool isOver = entry.time ? passed >= *entry.time : isExpected;
    if (isOver) {
        const std::string limit =
            entry.time ? " within " + std::to_string(entry.time->count()) + " ms" : std::string();
        end(entry.place + (isExpected ? ": the expectation does not hold" : ": the wait was in vain") +
            limit + ": " + problem);
        return false;
    }
    watch_ = bus_.journal().listen([this](const BusEvent&) { checkSoon(); });
    isCheckPlanned_ = false;
    if (entry.time) {
        playLater(std::chrono::ceil<milliseconds>(*entry.time - passed));
    }
    return false;
}

// The event is still happening.
void ScenarioPlayer::checkSoon() {
    if (!std::exchange(isCheckPlanned_, true)) {
        playLater(milliseconds(0));
    }
}

void ScenarioPlayer::note(const Scenario::Entry& entry, const char* kind, const std::string& text) {
    BusEvent event;
    event.kind = BusEvent::Kind::StepDone;
    event.name = kind;
    event.text = text;
    event.source = "scenario";
    event.at = entry.at ? *entry.at : scenarioTime();
    bus_.journal().note(std::move(event));
}

}  // namespace zebbussim
