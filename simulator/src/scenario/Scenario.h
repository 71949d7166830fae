#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "BusFile.h"
#include "Condition.h"
#include "steps/Step.h"

namespace zebbussim {

/// A list of steps, waits and expectations, which are done one after the other:
///
///     [{"wait": {"subscribers": {"path": "/ClampControl/clamps/1", "count": 1}}},
///      {"set": {"path": "/ClampControl/clamps/1", "data": {"isSwitchedOn": true}}},
///      {"expect": {"requests": {"path": "/ClampControl/clamps", "count": 1}, "within": 1000}}]
///
/// An entry may have its time beside the step, in milliseconds since the beginning: `{"at": 500, "drop":
/// {}}`.
///
/// A plain value, which has been checked.
class Scenario {
 public:
    struct Entry {
        enum class Kind { Do, Print, Pause, Wait, Expect };

        Kind kind = Kind::Do;
        std::string text;  ///< what to print
        std::optional<std::chrono::milliseconds> at;
        std::optional<std::chrono::milliseconds> time;  ///< of a pause; the limit of a wait or an expectation
        std::optional<Step> step;
        std::optional<Condition> condition;
        std::string place;  ///< for messages: "FILE:LINE:COLUMN"
    };

    /// Reads and checks everything. Throws `std::runtime_error` with one line for each problem, which begins
    /// with its place: "FILE:LINE:COLUMN: ".
    /// @param strictness whether the data of changes must fit the models of the services
    static Scenario fromFile(const std::string& fileName, Strictness strictness = Strictness::Lenient);
    /// `source` names the text in messages.
    static Scenario fromText(const std::string& json, const std::string& source,
                             Strictness strictness = Strictness::Lenient);

    const std::vector<Entry>& entries() const { return entries_; }

 private:
    explicit Scenario(std::vector<Entry> entries) : entries_(std::move(entries)) {}

    std::vector<Entry> entries_;
};

}  // namespace zebbussim
