#pragma once

#include <cstdint>
#include <forward_list>
#include <optional>
#include <string>
#include <string_view>

namespace zeb {

/// The envelope of one message of the server, found in one pass without building a tree: what routing needs,
/// and the extent of the payload, which is parsed once, later, by whoever uses it. The views lead into the
/// text it was read from, which has to live as long.
struct ServerMessage {
    /// @throws ZebException saying what is wrong where, when the text is not one JSON object or a member of
    /// the
    ///         envelope has the wrong type. Payloads are checked for balanced brackets and closed strings
    ///         only.
    static ServerMessage read(std::string_view text);

    std::optional<std::string_view> action;
    std::optional<std::string_view> requestId;
    std::optional<std::string_view> subscriptionId;
    std::optional<std::int64_t> seq;
    std::optional<std::string_view> data;   ///< JSON text of any kind
    std::optional<std::string_view> error;  ///< JSON text of any kind

 private:
    // Texts that stand with escapes on the wire, decoded.
    std::forward_list<std::string> decoded_;
};

}  // namespace zeb
