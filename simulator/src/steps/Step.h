#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "json/JsonMembers.h"

namespace zebbussim {

class Bus;

/// Something that is done to the bus: a change or a fault, for instance
/// `{"drop":{"service":"ClampControl"}}`. Steps come from scenarios, from the control interface and from
/// users of the library. A plain value, which has been checked.
class Step {
 public:
    /// Throws `BusError` 400 if there is no such step or its members are wrong, and says which are right.
    /// @param value the members, as JSON text that `readJsonObject()` has returned
    Step(std::string kind, std::string_view value);

    /// From `{"<kind>":{...}}`, as JSON text that `readJsonObject()` has returned.
    static Step fromText(std::string_view json);

    const std::string& kind() const { return kind_; }
    /// `{"<kind>":{...}}`
    std::string text() const;
    /// What it does, for people.
    std::string inWords() const;

    // The members. A value that may be missing has a default.
    bool has(std::string_view key) const { return members_.find(key).has_value(); }
    std::string textOf(std::string_view key, const std::string& otherwise = {}) const;
    std::int64_t numberOf(std::string_view key, std::int64_t otherwise = 0) const;
    bool isTrue(std::string_view key) const;
    /// An object, as JSON text.
    std::string_view objectOf(std::string_view key) const { return members_.find(key).value(); }

    /// Does it. On the bus's thread. Throws `BusError`.
    void perform(Bus& bus) const;

 private:
    std::string kind_;
    JsonMembers members_;
};

}  // namespace zebbussim
