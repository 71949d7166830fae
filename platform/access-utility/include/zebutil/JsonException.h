#pragma once

#include <zebutil/Export.h>

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zebutil {

/// Thrown for text that is not valid JSON, and for a value that is missing or has another type than the
/// caller asked for. `what()` names the key or position, and the reason: what was expected and what was
/// found.
class ZEBUTIL_EXPORT JsonException : public std::runtime_error {
 public:
    explicit JsonException(const std::string& message);
    /// For text that is not valid JSON.
    /// @param byte where reading stopped, counted from 0
    JsonException(std::size_t byte, const std::string& reason);
    JsonException(const JsonException&) = default;
    JsonException& operator=(const JsonException&) = default;
    ~JsonException() override;

    /// None unless the text is not valid JSON.
    std::optional<std::size_t> byte() const noexcept { return byte_; }
    /// `what()` without the byte.
    std::string_view reason() const noexcept { return std::string_view(what()).substr(reasonBegin_); }

 private:
    std::optional<std::size_t> byte_;
    std::size_t reasonBegin_ = 0;
};

}  // namespace zebutil
