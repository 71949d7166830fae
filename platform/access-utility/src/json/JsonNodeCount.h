#pragma once

#include <cstddef>
#include <string_view>

namespace zebutil::detail {

/// How many values and keys a reader of the text can find at the most, even if it stops at a mistake. Exact
/// for valid JSON: each except the outermost value follows a bracket, a brace, a comma or a colon. Never more
/// than `mostJsonNodes(text.size())`.
std::size_t mostJsonNodes(std::string_view text);

/// The same for any text of this size: what a value follows, and the value itself, are two bytes.
constexpr std::size_t mostJsonNodes(std::size_t textSize) {
    return textSize / 2 + 1;
}

}  // namespace zebutil::detail
