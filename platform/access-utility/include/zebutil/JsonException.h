#pragma once

#include <zebutil/Export.h>

#include <stdexcept>
#include <string>

namespace zebutil {

/// JSON that is not what its reader asked for: text that cannot be parsed, or a value that is missing or of
/// another kind. `what()` names the key or position, what was expected and what was there.
class ZEBUTIL_EXPORT JsonException : public std::runtime_error {
 public:
    explicit JsonException(const std::string& message);
    JsonException(const JsonException&) = default;
    JsonException& operator=(const JsonException&) = default;
    ~JsonException() override;
};

}  // namespace zebutil
