#include "Journal.h"

#include <vector>

namespace zebbussim {

namespace {

/// What those want to hear who do not want to hear everything.
Journal::Interest interestIn(BusEvent::Kind kind) {
    switch (kind) {
        case BusEvent::Kind::Connected:
        case BusEvent::Kind::Disconnected:
        case BusEvent::Kind::Subscribed:
        case BusEvent::Kind::Unsubscribed:
            return Journal::Interest::Clients;
        case BusEvent::Kind::StepDone:
            return Journal::Interest::Steps;
        default:
            return Journal::Interest::Everything;
    }
}

}  // namespace

Journal::Registration Journal::listen(Listener listener, Interest interest) {
    listeners_[++last_] = {interest, std::make_shared<const Listener>(std::move(listener))};
    listenersToEverything_ += interest == Interest::Everything ? 1 : 0;
    return {*this, last_};
}

void Journal::Registration::end() {
    if (Journal* const journal = std::exchange(journal_, nullptr)) {
        const auto found = journal->listeners_.find(number_);
        journal->listenersToEverything_ -= found->second.interest == Interest::Everything ? 1 : 0;
        journal->listeners_.erase(found);
    }
}

void Journal::note(BusEvent event) {
    event.time = now();
    const Interest interest = interestIn(event.kind);
    std::vector<std::shared_ptr<const Listener>> called;
    for (const auto& [number, entry] : listeners_) {
        if (entry.interest == interest || entry.interest == Interest::Everything) {
            called.push_back(entry.listener);
        }
    }
    for (const auto& listener : called) {
        (*listener)(event);
    }
}

std::chrono::milliseconds Journal::now() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin_);
}

}  // namespace zebbussim
