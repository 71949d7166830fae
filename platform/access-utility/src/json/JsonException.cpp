#include <zebutil/JsonException.h>

namespace zebutil {

JsonException::JsonException(const std::string& message) : std::runtime_error(message) {}

// Defined here, not in the header, so that the type information exists once and every library can catch it.
JsonException::~JsonException() = default;

}  // namespace zebutil
