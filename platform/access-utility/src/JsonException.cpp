#include <zebutil/JsonException.h>

namespace zebutil {

JsonException::JsonException(const std::string& message) : std::runtime_error(message) {}

// Here, so that every library that catches it sees one type.
JsonException::~JsonException() = default;

}  // namespace zebutil
