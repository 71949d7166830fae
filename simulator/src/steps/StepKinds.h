#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "json/JsonMembers.h"

namespace zebbussim {

class Bus;
class Step;

/// What the value of a member may be.
enum class MemberType { Text, Object, Count, Boolean };

struct MemberKind {
    std::string key;
    MemberType type = MemberType::Text;
    bool isRequired = false;
};

struct StepKind {
    std::string name;
    std::vector<MemberKind> members;
    std::function<void(Bus&, const Step&)> perform;
    std::function<std::string(const Step&)> inWords;
    /// Of these members there must be exactly one.
    std::vector<std::string> oneOf{};
};

const std::vector<StepKind>& stepKinds();
/// Throws `BusError` 400 for a name that is none, with the one that was probably meant.
const StepKind& stepKind(const std::string& name);

/// Throws `BusError` 400 if the members are not those of `kinds`.
/// @param what whose members they are, for the message
void checkMembers(const JsonMembers& members, const std::vector<MemberKind>& kinds, const std::string& what);

/// An integer from 0 to a thousand million; nothing for any other text.
std::optional<std::int64_t> countOf(std::string_view json);

}  // namespace zebbussim
