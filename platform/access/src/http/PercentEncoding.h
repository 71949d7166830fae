#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

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

/// The text that `encoded` stands for; none if a "%" is not followed by two hexadecimal digits.
inline std::optional<std::string> percentDecode(std::string_view encoded) {
    std::string text;
    text.reserve(encoded.size());
    for (std::size_t position = 0; position < encoded.size(); ++position) {
        if (encoded[position] != '%') {
            text.push_back(encoded[position]);
            continue;
        }
        const std::string_view escape = encoded.substr(position + 1, 2);
        unsigned byte = 0;
        const auto [end, error] = std::from_chars(escape.data(), escape.data() + escape.size(), byte, 16);
        if (escape.size() != 2 || error != std::errc() || end != escape.data() + 2) {
            return std::nullopt;
        }
        text.push_back(static_cast<char>(byte));
        position += 2;
    }
    return text;
}

}  // namespace zeb
