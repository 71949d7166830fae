#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "json/JsonMembers.h"

namespace zebbussim {

/// What the value of a member may be.
enum class MemberType {
    Text,
    Object,
    Count,  ///< an integer between two limits
    Boolean,
    Place,  ///< "/", or the path of a service, a collection or an element
    Path,   ///< of a collection or an element
    ElementPath,
    Hex,          ///< bytes as pairs of hexadecimal digits, with blanks where they help to read
    HeaderValue,  ///< what may follow the colon of a line of an HTTP header
};

constexpr std::int64_t kHighestCount = 1'000'000'000;

struct MemberKind {
    std::string key;
    MemberType type = MemberType::Text;
    bool isRequired = false;
    std::int64_t lowest = 0;  ///< of a count
    std::int64_t highest = kHighestCount;
    std::vector<std::string> words{};  ///< what a text may be; empty: anything
};

/// Throws `BusError` 400 if the members are not those of `kinds`.
/// @param what whose members they are, for the message
void checkMembers(const JsonMembers& members, const std::vector<MemberKind>& kinds, const std::string& what);

/// An integer from 0 to `kHighestCount`; nothing for any other text.
std::optional<std::int64_t> countOf(std::string_view json);

/// Nothing if the text is not what `MemberType::Hex` says.
std::optional<std::string> bytesOfHex(const std::string& text);

/// "; did you mean "WORD"?", with the one of the names that is nearly the word. Empty if none is.
std::string didYouMean(const std::string& word, const std::vector<std::string>& names);

}  // namespace zebbussim
