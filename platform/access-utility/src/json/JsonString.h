#pragma once

#include "JsonDocumentBuilder.h"
#include "JsonText.h"

namespace zebutil::detail {

/// Reads the rest of a string, from its first byte that is not plain on, and its closing quote.
void readJsonStringSlowly(JsonText& text, JsonDocumentBuilder& builder);

/// Reads a string after its opening quote. Gives its content to `builder`, with the escapes resolved.
inline void readJsonString(JsonText& text, JsonDocumentBuilder& builder) {
    const char* const begin = text.at();
    text.skipTo(endOfPlainText(begin, text.end()));
    builder.beginString();
    builder.append({begin, static_cast<std::size_t>(text.at() - begin)});
    if (!text.next('"')) {
        readJsonStringSlowly(text, builder);
    }
    builder.endString();
}

}  // namespace zebutil::detail
