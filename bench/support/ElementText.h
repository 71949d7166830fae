#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// The JSON text of one clamp. Element "1" is terminal 15, the others are not.
/// @param size of the text when it is off, reached by a long name; a shorter text than the shortest there is
/// is not made
std::string elementText(std::size_t id, bool isSwitchedOn, std::size_t size);

/// The name that such an element has, for those that carry no JSON.
std::string elementName(std::size_t id, std::size_t size);

std::string elementUri(std::size_t id);
std::string elementType(std::size_t id);

}  // namespace bench
