#pragma once

#include <zeb/ZebException.h>
#include <zebutil/JsonObject.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json/TextScanner.h"

namespace zeb {

/// An element takes some hundred bytes, however short its text is. With at most so many, the elements of a
/// list take at most eight times the memory of the largest text.
constexpr std::size_t kMostElements = 5000;

/// The elements of a JSON list of at most 1 MiB, each made by `makeElement(std::shared_ptr<JsonObject>)`.
/// Each has a document of its own, so that to keep one does not keep the others.
/// @throws std::exception if the text is no list, the list is too long, or one of its elements cannot be
/// read.
///         The text says which; the first is element 0
template <typename MakeElement>
auto readElements(std::string_view list, const MakeElement& makeElement) {
    constexpr const char* where = "list";
    std::vector<decltype(makeElement(std::shared_ptr<zebutil::JsonObject>()))> elements;
    TextScanner scanner(list, where);
    scanner.expect('[');
    const bool isEmpty = scanner.consume(']');
    if (!isEmpty) {
        do {
            if (elements.size() == kMostElements) {
                throw ZebException("of more than " + std::to_string(kMostElements) + " elements", where);
            }
            const std::string_view element = scanner.value();
            try {
                elements.push_back(makeElement(zebutil::JsonObject::parse(element)));
            } catch (const std::bad_alloc&) {
                throw;  // the element is not to blame
            } catch (const std::exception& exception) {
                throw ZebException(
                    "element " + std::to_string(elements.size()) + " cannot be read: " + exception.what(),
                    where);
            }
        } while (scanner.consume(','));
        scanner.expect(']');
    }
    scanner.expectEnd();
    return elements;
}

}  // namespace zeb
