#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace internal {

/// What a text from outside may do to a log: end a line, colour or clear a terminal, turn the direction of
/// the letters around it, be longer than a record. The functions here make a text of it that stays on its
/// line and within a limit. Nothing vanishes without a trace: bytes that must not stand as they are become
/// escape sequences, and a text that is cut says how much is missing.
///
/// A backslash stays as it is, so escaping a text twice changes nothing.

/// One character of a text, or one byte that is not part of any.
struct TextPiece {
    std::size_t size = 1;
    std::uint32_t code = 0;  ///< the character; if it is not valid, the byte
    bool isValid = false;
};

/// Reads the piece at the beginning of `text`, which is not empty. UTF-8 is taken strictly.
inline TextPiece firstPiece(std::string_view text) noexcept {
    const auto byteAt = [text](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    const std::uint32_t lead = byteAt(0);
    if (lead < 0x80) {
        return {1, lead, true};
    }
    const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    std::uint32_t code = lead & (0xFFU >> (size + 1));
    for (std::size_t index = 1; index < size; ++index) {
        if ((byteAt(index) & 0xC0U) != 0x80) {
            return {1, lead, false};
        }
        code = (code << 6U) | (byteAt(index) & 0x3FU);
    }
    constexpr std::array<std::uint32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    if (lead < 0xC0 || lead > 0xF4 || code < smallest[size] || code > 0x10FFFF || isSurrogate) {
        return {1, lead, false};
    }
    return {size, code, true};
}

/// Whether the character must not stand in a line as it is: it controls something, or cannot be seen.
inline bool isUnsafe(std::uint32_t code) noexcept {
    struct Range {
        std::uint32_t first;
        std::uint32_t last;
    };
    constexpr std::array<Range, 18> unsafe = {{{0, 0x1F},
                                               {0x7F, 0x9F},
                                               {0xAD, 0xAD},
                                               {0x034F, 0x034F},
                                               {0x061C, 0x061C},
                                               {0x115F, 0x1160},
                                               {0x17B4, 0x17B5},
                                               {0x180B, 0x180F},
                                               {0x200B, 0x200F},
                                               {0x2028, 0x202E},
                                               {0x2060, 0x206F},
                                               {0x3164, 0x3164},
                                               {0xFE00, 0xFE0F},
                                               {0xFEFF, 0xFEFF},
                                               {0xFFA0, 0xFFA0},
                                               {0xFFF9, 0xFFFB},
                                               {0x1D173, 0x1D17A},
                                               {0xE0000, 0xE01EF}}};
    for (const Range& range : unsafe) {
        if (code >= range.first && code <= range.last) {
            return true;
        }
    }
    return false;
}

/// Whether the text has at most `limit` bytes, all of them printable ASCII. Such a text needs no escaping.
inline bool isPlainText(std::string_view text, std::size_t limit) noexcept {
    if (text.size() > limit) {
        return false;
    }
    for (const char character : text) {
        if (character < ' ' || character > '~') {
            return false;
        }
    }
    return true;
}

/// Appends the piece that `text` begins with.
inline void appendEscaped(std::string& line, std::string_view text, const TextPiece& piece) {
    std::array<char, 12> sequence{};
    if (piece.isValid && !isUnsafe(piece.code)) {
        line.append(text.substr(0, piece.size));
        return;
    }
    switch (piece.code) {
        case '\n':
            line.append("\\n");
            return;
        case '\r':
            line.append("\\r");
            return;
        case '\t':
            line.append("\\t");
            return;
        default:
            break;
    }
    const char* const format = !piece.isValid || piece.code < 0x80 ? "\\x%02x"
                               : piece.code <= 0xFFFF              ? "\\u%04x"
                                                                   : "\\U%08x";
    std::snprintf(sequence.data(), sequence.size(), format, piece.code);
    line.append(sequence.data());
}

/// The text without anything unsafe, in at most `limit` bytes, which must be at least 64. If it does not fit,
/// it ends in a mark such as "... (12 bytes cut)", which counts the bytes of `text` that are missing.
inline std::string escapedText(std::string_view text, std::size_t limit) {
    constexpr std::size_t sizeOfMark = 40;
    std::string line;
    std::size_t read = 0;
    std::size_t keptOfText = 0;
    std::size_t keptOfLine = 0;
    while (read < text.size() && line.size() <= limit) {
        if (line.size() <= limit - sizeOfMark) {
            keptOfText = read;
            keptOfLine = line.size();
        }
        const std::string_view rest = text.substr(read);
        const TextPiece piece = firstPiece(rest);
        appendEscaped(line, rest, piece);
        read += piece.size;
    }
    if (line.size() <= limit) {
        return line;
    }
    line.resize(keptOfLine);
    return line.append("... (").append(std::to_string(text.size() - keptOfText)).append(" bytes cut)");
}

/// How much of a text from outside a line of the log shows. Enough for every message that was written for
/// readers.
constexpr std::size_t kTextFromOutside = 1000;

inline std::string escapedText(std::string_view text) {
    return escapedText(text, kTextFromOutside);
}

}  // namespace internal
