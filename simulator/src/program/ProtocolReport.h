#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "journal/Journal.h"

namespace zebbussim {

/// Counts what clients have done that the protocol does not allow, for a report at the end.
///
/// Used on the bus's thread.
class ProtocolReport {
 public:
    explicit ProtocolReport(Journal& journal);

    /// Lines for people.
    std::string text() const;

 private:
    void take(const BusEvent& event);

    std::map<std::string, std::size_t> violations_;  ///< how often, by text
    std::size_t all_ = 0;
    std::size_t requests_ = 0;
    std::size_t connections_ = 0;
    std::size_t subscriptions_ = 0;
    Journal::Registration registration_;
};

}  // namespace zebbussim
