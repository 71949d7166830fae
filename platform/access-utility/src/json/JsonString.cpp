#include "JsonString.h"

#include <charconv>
#include <cstddef>
#include <cstdint>

#include "JsonDocumentBuilder.h"
#include "JsonNothing.h"

namespace zebutil::detail {

namespace {

std::uint32_t nextByte(JsonText& text) {
    const auto byte = static_cast<unsigned char>(text.peek());
    text.skip(1);
    return byte;
}

bool isSurrogate(std::uint32_t character) {
    return character >= 0xD800 && character <= 0xDFFF;
}

/// Skips one character of several bytes.
void skipMultibyteCharacter(JsonText& text) {
    const std::uint32_t lead = nextByte(text);
    std::size_t continuationBytes = 0;
    std::uint32_t smallest = 0;
    std::uint32_t character = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        continuationBytes = 1, smallest = 0x80, character = lead & 0x1FU;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        continuationBytes = 2, smallest = 0x800, character = lead & 0x0FU;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        continuationBytes = 3, smallest = 0x10000, character = lead & 0x07U;
    } else {
        text.fail("text that is not UTF-8");
    }
    while (continuationBytes-- > 0) {
        if (text.atEnd() || (static_cast<unsigned char>(text.peek()) & 0xC0U) != 0x80U) {
            text.fail("text that is not UTF-8");
        }
        character = (character << 6U) | (nextByte(text) & 0x3FU);
    }
    if (character < smallest || character > 0x10FFFF || isSurrogate(character)) {
        text.fail("text that is not UTF-8");
    }
}

void skipPlainAndMultibyteCharacters(JsonText& text) {
    while (!text.atEnd()) {
        if (isPlainText(text.peek())) {
            text.skipTo(endOfPlainText(text.at(), text.end()));
        } else if (static_cast<unsigned char>(text.peek()) >= 0x80) {
            skipMultibyteCharacter(text);
        } else {
            return;
        }
    }
}

std::uint32_t readHexadecimal(JsonText& text) {
    std::uint32_t value = 0;
    const char* const first = text.at();
    if (text.bytesLeft() < 4 || std::from_chars(first, first + 4, value, 16).ptr != first + 4) {
        text.fail("expected four hexadecimal digits");
    }
    text.skip(4);
    return value;
}

std::uint32_t readEscapedCharacter(JsonText& text) {
    const std::uint32_t character = readHexadecimal(text);
    if (!isSurrogate(character)) {
        return character;
    }
    if (character >= 0xDC00 || !text.next('\\') || !text.next('u')) {
        text.fail("unpaired surrogate");
    }
    const std::uint32_t second = readHexadecimal(text);
    if (second < 0xDC00 || second > 0xDFFF) {
        text.fail("unpaired surrogate");
    }
    return 0x10000 + ((character - 0xD800) << 10U) + (second - 0xDC00);
}

template <typename Builder>
void appendCharacter(Builder& builder, std::uint32_t character) {
    const auto append = [&builder](std::uint32_t byte) { builder.append(static_cast<char>(byte)); };
    if (character < 0x80) {
        append(character);
    } else if (character < 0x800) {
        append(0xC0U | (character >> 6U));
        append(0x80U | (character & 0x3FU));
    } else if (character < 0x10000) {
        append(0xE0U | (character >> 12U));
        append(0x80U | ((character >> 6U) & 0x3FU));
        append(0x80U | (character & 0x3FU));
    } else {
        append(0xF0U | (character >> 18U));
        append(0x80U | ((character >> 12U) & 0x3FU));
        append(0x80U | ((character >> 6U) & 0x3FU));
        append(0x80U | (character & 0x3FU));
    }
}

/// Reads what follows a backslash.
template <typename Builder>
void readEscape(JsonText& text, Builder& builder) {
    const char escape = text.peek();
    switch (escape) {
        case '"':
        case '\\':
        case '/':
            builder.append(escape);
            break;
        case 'b':
            builder.append('\b');
            break;
        case 'f':
            builder.append('\f');
            break;
        case 'n':
            builder.append('\n');
            break;
        case 'r':
            builder.append('\r');
            break;
        case 't':
            builder.append('\t');
            break;
        case 'u':
            text.skip(1);
            appendCharacter(builder, readEscapedCharacter(text));
            return;
        default:
            text.fail("invalid escape sequence");
    }
    text.skip(1);
}

}  // namespace

template <typename Builder>
void readJsonStringSlowly(JsonText& text, Builder& builder) {
    while (!text.next('"')) {
        const char* const begin = text.at();
        skipPlainAndMultibyteCharacters(text);
        builder.append(std::string_view(begin, static_cast<std::size_t>(text.at() - begin)));
        if (text.atEnd()) {
            text.fail("unterminated string");
        }
        if (text.next('\\')) {
            readEscape(text, builder);
        } else if (text.peek() != '"') {
            text.fail("control character in a string");
        }
    }
}

template void readJsonStringSlowly(JsonText& text, JsonDocumentBuilder& builder);
template void readJsonStringSlowly(JsonText& text, JsonNothing& builder);

}  // namespace zebutil::detail
