#pragma once

#include <chrono>
#include <fstream>
#include <string>

#include "journal/Journal.h"

namespace zebbussim {

/// Writes what changes on the bus to a file, as a scenario with times. The file is a complete scenario at any
/// moment. A recording that is played and recorded again is the same.
///
/// Used on the bus's thread.
class Recorder {
 public:
    /// Throws `std::runtime_error` if the file cannot be written.
    Recorder(Journal& journal, const std::string& fileName);

    /// Why the recording is not complete; empty if it is.
    const std::string& problem() const { return problem_; }

 private:
    void take(const BusEvent& event);
    void write(const std::string& entry);

    const std::string fileName_;
    std::fstream file_;
    std::streampos end_;  ///< of the last entry
    bool isEmpty_ = true;
    std::chrono::milliseconds begin_{0};
    std::string problem_;
    Journal::Registration registration_;
};

/// An entry of a scenario with its time: what the event has done. Empty if it has changed nothing.
std::string recordedEntry(const BusEvent& event, std::chrono::milliseconds begin);

}  // namespace zebbussim
