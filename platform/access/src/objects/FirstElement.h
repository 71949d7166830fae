#pragma once

#include <zebutil/JsonObject.h>

#include <memory>
#include <string_view>

namespace zeb {

/// The first element of the list in an answer, or null if the list is empty. Only this element is built. The
/// rest of the answer is checked: a mistake in it is one, too.
/// @throws std::exception if the answer is no JSON or has no such list, or if the first of the list is no
///         object
std::shared_ptr<zebutil::JsonObject> readFirstElement(std::string_view answer);

}  // namespace zeb
