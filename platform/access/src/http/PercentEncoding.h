#pragma once

#include <string>
#include <string_view>

namespace zeb {

/// Percent-encodes everything except the unreserved characters of RFC 3986, so that the text is safe as a
/// path segment and as a key or value of a query.
inline std::string percentEncode(std::string_view text) {
    constexpr std::string_view unreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (const char character : text) {
        if (unreserved.find(character) != std::string_view::npos) {
            encoded.push_back(character);
        } else {
            const auto byte = static_cast<unsigned char>(character);
            encoded.push_back('%');
            encoded.push_back(digits[byte >> 4U]);
            encoded.push_back(digits[byte & 0x0FU]);
        }
    }
    return encoded;
}

}  // namespace zeb
