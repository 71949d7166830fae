#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "json/JsonMembers.h"

namespace zebbussim {

class Bus;
class Tally;

/// What a scenario waits for or expects, for instance
/// `"subscribers":{"path":"/ClampControl/clamps/1","count":1}`. A plain value.
class Condition {
 public:
    /// Whether a count must be exactly the one that is named, or at least (0 is always exact).
    enum class Count { Exact, AtLeast };

    /// The names of all conditions.
    static const std::vector<std::string>& names();

    /// @param members of a "wait" or an "expect", which must have exactly one condition. Throws `BusError`
    /// 400.
    Condition(const JsonMembers& members, Count count);

    /// What is not as it should be, in words; empty if the condition holds. Throws `BusError` 404 if the bus
    /// has no such service or resource: then it would never hold, or always. On the bus's thread.
    std::string problem(Bus& bus, const Tally& tally) const;

    /// The condition in words: "1 subscriber of /ClampControl/clamps/1".
    std::string inWords() const;

 private:
    void requireSubject(Bus& bus) const;
    std::string problemOfElement(Bus& bus) const;
    std::size_t present(Bus& bus, const Tally& tally) const;

    std::string name_;
    Count countMode_;
    std::string subject_;  ///< a path or a service; empty for "violations"
    std::size_t count_ = 0;
    std::string data_;  ///< what an element must have, as JSON text
};

}  // namespace zebbussim
