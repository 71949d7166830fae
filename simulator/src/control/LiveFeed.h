#pragma once

#include <memory>
#include <set>

#include "journal/Journal.h"
#include "json/JsonMembers.h"

namespace zebbussim {

class Bus;

/// Receives the texts of the live events. Never calls back.
class LiveReader {
 public:
    virtual ~LiveReader() = default;
    virtual void send(const SharedText& text) = 0;
};

/// Tells those who follow the bus live what happens there, as server-sent events. Each event is put into
/// words once. Costs nothing while nobody follows.
///
/// Owned by the server. Used on the bus's thread.
class LiveFeed {
 public:
    explicit LiveFeed(Bus& bus) : bus_(bus) {}

    /// The reader gets the present state, and then every event until it is removed.
    void add(LiveReader& reader);
    void remove(LiveReader& reader);

 private:
    void pass(const BusEvent& event);

    Bus& bus_;
    std::set<LiveReader*> readers_;
    Journal::Registration registration_;
};

}  // namespace zebbussim
