#pragma once

#include <Poco/JSON/Object.h>

#include <string_view>

namespace zebutil::detail {

/// Reads a JSON text that must be one object, as RFC 8259 has it, into a tree of Poco's. Integers within 64
/// bits are kept exactly, which Poco's own parser does not do: it takes negative ones through a double, and
/// some beyond the range wrap around. Other numbers are kept as text (`JsonNumber`). Throws `JsonException`.
Poco::JSON::Object::Ptr readJsonObject(std::string_view text, int maximumDepth);

}  // namespace zebutil::detail
