#pragma once

#include <cstdint>
#include <forward_list>
#include <optional>
#include <string>
#include <string_view>

namespace zeb {

/// The envelope of one message of the server, read in one pass without building a tree: the members that
/// routing needs, and the extent of the payload, which its user parses later, once. The views point into the
/// text of the message, which must outlive this object.
struct ServerMessage {
    /// @throws ZebException saying what is wrong where, when the text is not one JSON object or a member of
    /// the envelope has the wrong type. `data` is checked for balanced brackets and closed strings only.
    static ServerMessage read(std::string_view text);

    std::optional<std::string_view> action;
    std::optional<std::string_view> requestId;
    std::optional<std::string_view> subscriptionId;
    std::optional<std::int64_t> seq;
    std::optional<std::string_view> data;   ///< JSON text of any kind
    std::optional<std::string_view> error;  ///< JSON text of an object

 private:
    // Decoded texts of members that contain escapes; at most three.
    std::forward_list<std::string> decoded_;
};

}  // namespace zeb
