#pragma once

#include <string_view>

namespace zebutil::detail {

class JsonDocumentBuilder;

/// Reads a JSON text (RFC 8259), which must be one object, and gives its values to `builder` in their order.
/// Throws `JsonException`.
void readJson(std::string_view text, int maximumDepth, JsonDocumentBuilder& builder);

/// The same without building anything.
void checkJson(std::string_view text, int maximumDepth);

/// The same for a text that is a value of any kind.
void checkJsonValue(std::string_view text, int maximumDepth);

}  // namespace zebutil::detail
