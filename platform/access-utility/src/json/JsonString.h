#pragma once

#include <cstddef>
#include <string_view>

#include "JsonText.h"

namespace zebutil::detail {

/// Reads the rest of a string, from its first byte that is not plain on, and its closing quote.
template <typename Builder>
void readJsonStringSlowly(JsonText& text, Builder& builder);

/// Reads a string after its opening quote. Gives its content to `builder`, with the escapes resolved.
template <typename Builder>
void readJsonString(JsonText& text, Builder& builder) {
    const char* const begin = text.at();
    text.skipTo(endOfPlainText(begin, text.end()));
    builder.beginString();
    builder.append(std::string_view(begin, static_cast<std::size_t>(text.at() - begin)));
    if (!text.next('"')) {
        readJsonStringSlowly(text, builder);
    }
    builder.endString();
}

}  // namespace zebutil::detail
