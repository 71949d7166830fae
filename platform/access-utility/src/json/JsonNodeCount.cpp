#include "JsonNodeCount.h"

#include <algorithm>

#include "JsonText.h"

namespace zebutil::detail {

namespace {

/// Where the string that begins after an opening quote ends: after its closing quote, or with the text.
const char* endOfString(const char* at, const char* end) {
    while ((at = endOfPlainText(at, end)) != end) {
        if (*at == '"') {
            return at + 1;
        }
        at += *at == '\\' && end - at > 1 ? 2 : 1;
    }
    return end;
}

}  // namespace

std::size_t mostJsonNodes(std::string_view text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    std::size_t count = 1;
    bool isAfterOpening = false;
    while (at != end) {
        switch (*at++) {
            case ' ':
            case '\t':
            case '\r':
            case '\n':
                continue;
            case '[':
            case '{':
                ++count;
                isAfterOpening = true;
                continue;
            case ']':
            case '}':
                // Nothing followed the opening one.
                count -= isAfterOpening ? 1 : 0;
                break;
            case ',':
            case ':':
                ++count;
                break;
            case '"':
                at = endOfString(at, end);
                break;
            default:
                break;
        }
        isAfterOpening = false;
    }
    return std::min(count, mostJsonNodes(text.size()));
}

}  // namespace zebutil::detail
