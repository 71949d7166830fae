#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace internal {

inline bool beginsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

/// What is often wrong where a file stops to be JSON, to be added to the reason; empty if nothing comes to
/// mind.
/// @param byte where reading stopped
inline std::string jsonHint(std::string_view text, std::size_t byte) {
    if (beginsWith(text, "\xEF\xBB\xBF")) {
        return "; the file begins with a byte order mark, which JSON does not have";
    }
    if (beginsWith(text, "\xFF\xFE") || beginsWith(text, "\xFE\xFF")) {
        return "; the file seems to be UTF-16, and must be UTF-8";
    }
    const char found = byte < text.size() ? text[byte] : '\0';
    if (found == '/' || found == '#') {
        return "; JSON has no comments";
    }
    if (found == '\'') {
        return "; JSON has double quotes only";
    }
    const std::size_t before = text.substr(0, byte).find_last_not_of(" \t\r\n");
    if ((found == '}' || found == ']') && before != std::string_view::npos && text[before] == ',') {
        return "; JSON has no comma behind the last one";
    }
    return byte >= text.size() ? "; the file ends here" : "";
}

}  // namespace internal
