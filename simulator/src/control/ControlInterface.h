#pragma once

#include <string>

#include "http/HttpRequests.h"
#include "http/RequestTarget.h"

namespace zebbussim {

class Bus;

/// Answers the requests that look at the bus and change it from outside: the panel, the state, and every
/// step. No fault applies to them.
///
/// Owned by the bus. Used on the bus's thread.
class ControlInterface {
 public:
    /// No service has this name.
    static constexpr const char* kName = "_sim";

    explicit ControlInterface(Bus& bus) : bus_(bus) {}

    /// Whether a request is for this interface. One without segments is for the page.
    static bool isFor(const RequestTarget& target) {
        return !target.segments.empty() && target.segments[0] == kName;
    }

    /// Never throws for anything that a request can contain.
    HttpAnswer answer(const std::string& method, const RequestTarget& target, const std::string& body);

 private:
    HttpAnswer get(const RequestTarget& target) const;
    HttpAnswer perform(const std::string& kind, const std::string& body);
    HttpAnswer page() const;

    Bus& bus_;
};

}  // namespace zebbussim
