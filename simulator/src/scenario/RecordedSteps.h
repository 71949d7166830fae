#pragma once

#include <string>

#include "journal/Journal.h"

namespace zebbussim {

/// What has changed on the bus since it was made, as a scenario with times. Ends when it becomes too long.
///
/// Used on the bus's thread.
class RecordedSteps {
 public:
    explicit RecordedSteps(Journal& journal);

    /// A JSON list of steps.
    std::string text() const;

 private:
    void take(const BusEvent& event);

    std::string entries_;
    bool isTooLong_ = false;
    Journal::Registration registration_;
};

}  // namespace zebbussim
