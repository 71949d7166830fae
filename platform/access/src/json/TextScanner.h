#pragma once

#include <zeb/ZebException.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace zeb {

/// Finds the parts of a JSON text by their brackets and quotes, without building anything. Their content is
/// not checked: most of it is read with `zebutil::JsonObject` later, and to check it twice would slow down
/// every notification. For the rest there is check(). The text must be UTF-8, which the WebSocket ensures.
class TextScanner {
 public:
    /// Whether messages show what was found. Not if it may contain a password.
    enum class Found { Shown, Hidden };

    /// @param where appears in messages
    TextScanner(std::string_view text, const char* where, Found found = Found::Shown)
        : text_(text), where_(where), found_(found) {}

    [[noreturn]] void refuse(const std::string& expected) const { refuseBecause("expected " + expected); }

    /// The same for a value that was found before, and is not what it must be.
    [[noreturn]] void refuseAt(std::string_view value, const std::string& expected) {
        position_ = static_cast<std::size_t>(value.data() - text_.data());
        refuse(expected);
    }

    void expect(char character) {
        if (!consume(character)) {
            refuse(std::string("\"") + character + "\"");
        }
    }

    bool consume(char character) {
        skipWhitespace();
        if (peek() != character) {
            return false;
        }
        ++position_;
        return true;
    }

    void expectEnd() {
        skipWhitespace();
        if (position_ != text_.size()) {
            refuse("the end of the message");
        }
    }

    /// A string, without its quotes and with its escapes. It needs no check() if it has none.
    std::string_view string() {
        skipWhitespace();
        if (peek() != '"') {
            refuse("a string");
        }
        const std::size_t begin = position_ + 1;
        skipString();
        return text_.substr(begin, position_ - 1 - begin);
    }

    /// Whether the string that was found last, as such or as a value, contains escapes.
    bool hadEscape() const { return hadEscape_; }

    /// Refuses a value that was found here unless it is valid JSON. A string has its quotes.
    void check(std::string_view value) {
        try {
            zebutil::JsonObject::checkValue(value);
        } catch (const zebutil::JsonException& exception) {
            position_ = static_cast<std::size_t>(value.data() - text_.data()) + exception.byte().value_or(0);
            refuseBecause(std::string(exception.reason()));
        }
    }

    /// A value of any kind, of which only the end is found.
    std::string_view value() {
        skipWhitespace();
        const std::size_t begin = position_;
        std::size_t depth = 0;
        do {
            skipWhitespace();
            switch (peek()) {
                case '{':
                case '[':
                    ++position_;
                    if (++depth >= kMaximumDepth) {
                        refuseDepth();
                    }
                    break;
                case '}':
                case ']':
                    if (depth == 0) {
                        refuse("a value");
                    }
                    --depth;
                    ++position_;
                    break;
                case '"':
                    skipString();
                    break;
                case ',':
                case ':':
                    if (depth == 0) {
                        refuse("a value");
                    }
                    ++position_;
                    break;
                case '\0':
                    refuse("a value");
                default:
                    skipScalar();
            }
        } while (depth > 0);
        return text_.substr(begin, position_ - begin);
    }

 private:
    [[noreturn]] void refuseBecause(const std::string& reason) const {
        throw ZebException(reason + " at byte " + std::to_string(position_) +
                               (found_ == Found::Shown ? ", found " + found() : ""),
                           where_);
    }

    static constexpr std::size_t kMaximumDepth = 64;  ///< what surrounds a value is one level

    // What is there, or how it begins.
    std::string found() const {
        constexpr std::size_t kMostShown = 20;
        const std::string_view rest = text_.substr(position_);
        if (rest.empty()) {
            return "the end";
        }
        return std::string(rest.substr(0, kMostShown)) + (rest.size() > kMostShown ? "..." : "");
    }

    [[noreturn]] void refuseDepth() const { refuse("at most 64 levels of nesting"); }

    // Eight bytes at a time.
    void skipPlainText() {
        constexpr std::uint64_t kOnes = 0x0101010101010101U;
        constexpr std::uint64_t kHighBits = kOnes * 0x80;
        while (text_.size() - position_ >= sizeof(std::uint64_t)) {
            std::uint64_t bytes = 0;
            std::memcpy(&bytes, text_.data() + position_, sizeof bytes);
            // The first byte that does not stand for itself sets its high bit; those above it may do so, too.
            const std::uint64_t quote = bytes ^ (kOnes * '"');
            const std::uint64_t backslash = bytes ^ (kOnes * '\\');
            const std::uint64_t found = ((bytes - kOnes * 0x20) & ~bytes) | ((quote - kOnes) & ~quote) |
                                        ((backslash - kOnes) & ~backslash);
            if ((found & kHighBits) != 0) {
                static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the first byte is the lowest");
                position_ += static_cast<std::size_t>(__builtin_ctzll(found & kHighBits)) / 8;
                return;
            }
            position_ += sizeof bytes;
        }
        while (position_ < text_.size() && standsForItself(text_[position_])) {
            ++position_;
        }
    }

    static bool standsForItself(char character) {
        return static_cast<unsigned char>(character) >= 0x20 && character != '"' && character != '\\';
    }

    char peek() const { return position_ < text_.size() ? text_[position_] : '\0'; }

    void skipWhitespace() {
        while (position_ < text_.size()) {
            const char character = text_[position_];
            if (character != ' ' && character != '\t' && character != '\n' && character != '\r') {
                return;
            }
            ++position_;
        }
    }

    void skipString() {
        ++position_;
        hadEscape_ = false;
        while (true) {
            skipPlainText();
            switch (peek()) {
                case '"':
                    ++position_;
                    return;
                case '\\':
                    hadEscape_ = true;
                    position_ = std::min(position_ + 2, text_.size());
                    break;
                default:
                    refuse(position_ == text_.size() ? "the end of a string"
                                                     : "no control character in a string");
            }
        }
    }

    void skipScalar() {
        const std::size_t begin = position_;
        while (position_ < text_.size() && !endsScalar(text_[position_])) {
            ++position_;
        }
        if (position_ == begin) {
            refuse("a value");
        }
    }

    // find_first_of() would call memchr() for each byte of the text.
    static bool endsScalar(char character) {
        switch (character) {
            case ',':
            case ':':
            case '[':
            case ']':
            case '{':
            case '}':
            case '"':
            case ' ':
            case '\t':
            case '\r':
            case '\n':
                return true;
            default:
                return false;
        }
    }

    const std::string_view text_;
    const char* const where_;
    const Found found_;
    std::size_t position_ = 0;
    bool hadEscape_ = false;
};

}  // namespace zeb
