#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "journal/Journal.h"

namespace zebbussim {

/// Counts what clients do while a scenario is played. Used on the bus's thread.
class Tally {
 public:
    explicit Tally(Journal& journal)
        : registration_(journal.listen([this](const BusEvent& event) { take(event); })) {}

    /// The subscriptions to a path that were made since the last change.
    std::size_t subscribed(const std::string& path) const {
        const auto found = subscribed_.find(path);
        return found == subscribed_.end() ? 0 : found->second;
    }
    std::size_t violations() const { return violations_; }

    /// A step is about to change the bus.
    void change() { subscribed_.clear(); }

 private:
    void take(const BusEvent& event) {
        if (event.kind == BusEvent::Kind::Subscribed) {
            ++subscribed_[event.path];
        } else if (event.kind == BusEvent::Kind::Violation) {
            ++violations_;
        }
    }

    std::map<std::string, std::size_t> subscribed_;
    std::size_t violations_ = 0;
    Journal::Registration registration_;
};

}  // namespace zebbussim
