#pragma once

#include <zeb/Export.h>

#include <exception>
#include <string>

namespace zeb {

/// The platform's own exception. `what()` is "ZebException: ", the origin, one blank and the message. If
/// there is a cause, " reason: " and the text of the cause follow.
class ZEB_EXPORT ZebException : public std::exception {
 public:
    /// @param message what failed
    /// @param origin  where it failed, or "unknown"
    /// @param cause   the exception behind it, or null; its text is copied
    explicit ZebException(const std::string& message, const std::string& origin = "unknown",
                          const std::exception* cause = nullptr);

    const char* what() const noexcept override { return text_.c_str(); }

 private:
    std::string text_;
};

}  // namespace zeb
