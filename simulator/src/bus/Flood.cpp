#include "Flood.h"

#include <stdexcept>
#include <utility>

#include "model/BusError.h"

namespace zebbussim {

namespace {

constexpr std::size_t kFullQueue = 1024 * 1024;
constexpr std::size_t kBurst = 256;

}  // namespace

Flood::Flood(BusModel& busModel, const BusServer& busServer, BusThread& busThread)
    : model_(busModel), server_(busServer), thread_(busThread) {}

std::future<void> Flood::begin(const BusPath& path, const std::vector<std::string>& states,
                               std::size_t changes) {
    if (run_) {
        throw BusError::badRequest("Another flood is still running");
    }
    Run started{path, {}, changes, 0, false, {}};
    for (const std::string& state : states) {
        started.states.push_back(model_.merged(path, state));
    }
    std::future<void> done = started.done.get_future();
    run_.emplace(std::move(started));
    postBurst();
    return done;
}

void Flood::queueShrank() {
    if (run_ && run_->paused && server_.longestQueue() <= kFullQueue / 2) {
        sendBurst();
    }
}

void Flood::stop() {
    if (run_) {
        finish(std::make_exception_ptr(std::runtime_error("The simulator was stopped")));
    }
}

void Flood::postBurst() {
    thread_.post([this] {
        if (run_) {
            sendBurst();
        }
    });
}

void Flood::sendBurst() {
    run_->paused = false;
    try {
        for (std::size_t sent = 0; sent < kBurst && run_->changesLeft > 0; ++sent) {
            if (server_.longestQueue() > kFullQueue) {
                run_->paused = true;
                return;
            }
            makeChange();
        }
        if (run_->changesLeft > 0) {
            postBurst();
            return;
        }
    } catch (...) {
        finish(std::current_exception());
        return;
    }
    finish(nullptr);
}

void Flood::makeChange() {
    model_.replace(run_->path, run_->states[run_->nextState]);
    run_->nextState = (run_->nextState + 1) % run_->states.size();
    --run_->changesLeft;
}

void Flood::finish(const std::exception_ptr& exception) {
    Run finished = std::move(*run_);
    run_.reset();
    exception ? finished.done.set_exception(exception) : finished.done.set_value();
}

}  // namespace zebbussim
