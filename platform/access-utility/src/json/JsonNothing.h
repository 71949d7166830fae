#pragma once

#include <cstddef>
#include <string_view>

namespace zebutil::detail {

/// Stands in for a `JsonDocumentBuilder` where a text is only checked: nothing is made of its values.
struct JsonNothing {
    void addNull() {}
    void addBoolean(bool /*value*/) {}
    void addNumber(std::string_view /*text*/) {}
    void beginString() {}
    void append(std::string_view /*piece*/) {}
    void append(char /*byte*/) {}
    void endString() {}
    void endArray(std::size_t /*count*/) {}
    void endObject(std::size_t /*count*/) {}
    void endDocument() {}
};

}  // namespace zebutil::detail
