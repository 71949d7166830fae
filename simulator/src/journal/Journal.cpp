#include "Journal.h"

#include <vector>

namespace zebbussim {

namespace {

bool isOfClients(BusEvent::Kind kind) {
    return kind == BusEvent::Kind::Connected || kind == BusEvent::Kind::Disconnected ||
           kind == BusEvent::Kind::Subscribed || kind == BusEvent::Kind::Unsubscribed;
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
    const bool isForAll = isOfClients(event.kind);
    std::vector<std::shared_ptr<const Listener>> called;
    for (const auto& [number, entry] : listeners_) {
        if (isForAll || entry.interest == Interest::Everything) {
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
