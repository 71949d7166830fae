#pragma once

#include <string_view>

#include "JsonText.h"

namespace zebutil::detail {

inline bool skipDigits(JsonText& text) {
    const char* const begin = text.at();
    while (text.peek() >= '0' && text.peek() <= '9') {
        text.skip(1);
    }
    return text.at() != begin;
}

/// Reads a number and returns it as it is written, except that the integer "-0" is "0".
inline std::string_view readJsonNumber(JsonText& text) {
    const char* const begin = text.at();
    text.next('-');
    if (!text.next('0') && !skipDigits(text)) {
        text.fail("expected a value");
    }
    if (text.next('.') && !skipDigits(text)) {
        text.fail("expected a digit after the decimal point");
    }
    if (text.next('e') || text.next('E')) {
        if (!text.next('+')) {
            text.next('-');
        }
        if (!skipDigits(text)) {
            text.fail("expected a digit in the exponent");
        }
    }
    const std::string_view number(begin, static_cast<std::size_t>(text.at() - begin));
    return number == "-0" ? number.substr(1) : number;
}

}  // namespace zebutil::detail
