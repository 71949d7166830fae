#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// The JSON text of one clamp. Element "1" is terminal 15, the others are not.
/// @param size of the text of an element that is off; a long name pads the text to it. The text is never
/// shorter than with the shortest name.
std::string elementText(std::size_t id, bool isSwitchedOn, std::size_t size);

/// The name of such an element, for peers that do not use JSON.
std::string elementName(std::size_t id, std::size_t size);

std::string elementUri(std::size_t id);
std::string elementType(std::size_t id);

}  // namespace bench
