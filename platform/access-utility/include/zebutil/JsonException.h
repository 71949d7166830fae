#pragma once

#include <zebutil/Export.h>

#include <stdexcept>
#include <string>

namespace zebutil {

/// Thrown for text that is not valid JSON, and for a value that is missing or has another type than the
/// caller asked for. `what()` names the key or position, what was expected and what was found.
class ZEBUTIL_EXPORT JsonException : public std::runtime_error {
 public:
    explicit JsonException(const std::string& message);
    JsonException(const JsonException&) = default;
    JsonException& operator=(const JsonException&) = default;
    ~JsonException() override;
};

}  // namespace zebutil
