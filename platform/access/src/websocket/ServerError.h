#pragma once

#include <string>
#include <string_view>

namespace zeb {

/// The error object of a server's message, for people and for the log. A plain value.
struct ServerError {
    /// @param json an object, of any content
    static ServerError read(std::string_view json);

    /// Tells errors apart, since the rest may be different each time. "none" if the server gave none.
    std::string number;
    /// Such as `404 unavailable_data: There is no element "9" in /ClampControl/clamps`, without what the
    /// server left out. Escaped and cut.
    std::string text;
};

}  // namespace zeb
