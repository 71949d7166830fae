#pragma once

#include <Poco/JSON/Object.h>

#include <string_view>

namespace zebutil::detail {

/// Parses a JSON text (RFC 8259), which must be one object, into a Poco tree. Integers that fit in 64 bits
/// are kept exactly. Poco's own parser does not do that: it converts negative integers through a double, and
/// some integers beyond the range wrap around. Other numbers are kept as text (`JsonNumber`). Throws
/// `JsonException`.
///
/// The class behind it has some 300 lines and stays in one piece: the grammar is one recursion over one
/// position.
Poco::JSON::Object::Ptr readJsonObject(std::string_view text, int maximumDepth);

}  // namespace zebutil::detail
