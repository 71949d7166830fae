#include <zebutil/JsonException.h>

namespace zebutil {

JsonException::JsonException(const std::string& message) : std::runtime_error(message) {}

JsonException::JsonException(std::size_t byte, const std::string& reason)
    : std::runtime_error("JSON, byte " + std::to_string(byte) + ": " + reason),
      byte_(byte),
      reasonBegin_(std::string_view(what()).size() - reason.size()) {}

// Defined here, not in the header, so that the type information exists once and every library can catch it.
JsonException::~JsonException() = default;

}  // namespace zebutil
