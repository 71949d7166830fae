#pragma once

#include <string>

namespace zebbussim {

class Bus;
struct BusEvent;

/// The whole state of the bus as JSON, for the panel and for tools: services with their elements, clients
/// with their subscriptions, and the faults that last. On the bus's thread.
std::string stateOf(Bus& bus);

/// The name that an event has in the live events; null if it has none there.
const char* liveNameOf(const BusEvent& event);
/// The event as JSON.
std::string liveTextOf(const BusEvent& event);

}  // namespace zebbussim
