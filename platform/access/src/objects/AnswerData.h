#pragma once

#include <zebutil/JsonObject.h>

#include <memory>
#include <string_view>

namespace zeb {

// These functions read what an answer has under "data". They check the whole answer and build only the
// elements that they return.

/// The first element of the list, or null if the list is empty.
/// @throws std::exception if the answer is no JSON or has no such list, or if the first of the list is no
///         object
std::shared_ptr<zebutil::JsonObject> readFirstElement(std::string_view answer);

/// The one element.
/// @throws std::exception if the answer is no JSON or has no such object
std::shared_ptr<zebutil::JsonObject> readElement(std::string_view answer);

/// The text of the list.
/// @throws std::exception if the answer is no JSON or has no such list
std::string_view readList(std::string_view answer);

}  // namespace zeb
