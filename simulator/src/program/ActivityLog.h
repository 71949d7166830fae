#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "journal/Journal.h"

namespace zebbussim {

/// Says what clients do and what is done to the bus, one line each.
///
/// Used on the bus's thread.
class ActivityLog {
 public:
    using Print = std::function<void(const std::string&)>;

    ActivityLog(Journal& journal, bool isColoured, Print print);

 private:
    void take(const BusEvent& event);
    std::string nameOf(const BusEvent& event) const;
    void say(const BusEvent& event, const char* colour, const std::string& text);

    const bool isColoured_;
    const Print print_;
    std::map<std::uint64_t, std::string> names_;  ///< of the clients that are connected
    Journal::Registration registration_;
};

}  // namespace zebbussim
