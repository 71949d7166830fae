#pragma once

#include <memory>
#include <new>
#include <utility>

namespace zebutil {
class JsonObject;
}

namespace zeb::detail {

// A class whose constructor from JSON never throws says in this way that it has lost values for want of
// memory.
template <typename T>
auto lacksMemory(const T& element, int) -> decltype(element.lacksMemory()) {
    return element.lacksMemory();
}
template <typename T>
bool lacksMemory(const T& /*element*/, long) {
    return false;
}

/// Builds an element from JSON. One that has lost values only for want of memory must not pass for one that
/// has none.
template <typename T>
std::shared_ptr<const T> completeElement(std::shared_ptr<zebutil::JsonObject> json) {
    auto element = std::make_shared<const T>(std::move(json));
    if (lacksMemory(*element, 0)) {
        throw std::bad_alloc();
    }
    return element;
}

}  // namespace zeb::detail
