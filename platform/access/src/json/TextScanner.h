#pragma once

#include <zeb/ZebException.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace zeb {

/// Finds the parts of a JSON text without building anything. What nobody reads later is checked completely,
/// as `zebutil::JsonObject` does it. The text must be UTF-8, which the WebSocket ensures.
class TextScanner {
 public:
    /// @param where appears in messages
    TextScanner(std::string_view text, const char* where) : text_(text), where_(where) {}

    [[noreturn]] void refuse(const std::string& expected) const {
        throw ZebException(
            "expected " + expected + " at byte " + std::to_string(position_) + ", found " + found(), where_);
    }

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

    /// A string, without its quotes and with its escapes.
    std::string_view string() {
        skipWhitespace();
        if (peek() != '"') {
            refuse("a string");
        }
        const std::size_t begin = position_ + 1;
        checkString();
        return text_.substr(begin, position_ - 1 - begin);
    }

    /// Whether the string that was found last, as such or as a value, contains escapes.
    bool hadEscape() const { return hadEscape_; }

    /// A value of any kind.
    std::string_view value() {
        skipWhitespace();
        const std::size_t begin = position_;
        if (peek() == '"') {
            checkString();
            return text_.substr(begin, position_ - begin);
        }
        Nesting nesting;
        do {
            skipWhitespace();
            const char first = peek();
            if (first == '{' || first == '[') {
                ++position_;
                if (++nesting.depth >= kMaximumDepth) {
                    refuseDepth();
                }
                nesting.kinds = (nesting.kinds << 1U) | (first == '{' ? 1U : 0U);
                if (consume(nesting.closing())) {
                    nesting.leave();
                } else {
                    checkKeyIn(nesting);
                    continue;
                }
            } else if (first == '"') {
                checkString();
            } else {
                checkScalar();
            }
            checkAfterValueIn(nesting);
        } while (nesting.depth > 0);
        return text_.substr(begin, position_ - begin);
    }

    /// A value of any kind that is read with `zebutil::JsonObject` later. Only its end is found, by its
    /// brackets and quotes: to check it twice would slow down every notification.
    std::string_view valueToRead() {
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
    static constexpr std::size_t kMaximumDepth = 64;  ///< what surrounds a value is one level

    /// The objects and arrays around a place within a value.
    struct Nesting {
        std::size_t depth = 0;
        std::uint64_t kinds = 0;  ///< a bit for each, the innermost last; set for an object

        bool isInObject() const { return (kinds & 1U) != 0; }
        char closing() const { return isInObject() ? '}' : ']'; }
        void leave() {
            --depth;
            kinds >>= 1U;
        }
    };

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

    // Passes what precedes the next value.
    void checkKeyIn(const Nesting& nesting) {
        if (nesting.isInObject()) {
            string();
            expect(':');
        }
    }

    // Passes what follows a value, up to where the next one begins.
    void checkAfterValueIn(Nesting& nesting) {
        while (nesting.depth > 0) {
            if (consume(',')) {
                checkKeyIn(nesting);
                return;
            }
            expect(nesting.closing());
            nesting.leave();
        }
    }

    void checkScalar() {
        switch (peek()) {
            case 't':
                checkWord("true");
                break;
            case 'f':
                checkWord("false");
                break;
            case 'n':
                checkWord("null");
                break;
            default:
                checkNumber();
        }
    }

    void checkWord(std::string_view word) {
        if (text_.substr(position_, word.size()) != word) {
            refuse("a value");
        }
        position_ += word.size();
    }

    void checkNumber() {
        skipIf('-');
        if (!skipIf('0')) {
            checkDigits("a value");
        }
        if (skipIf('.')) {
            checkDigits("a digit after the decimal point");
        }
        if (skipIf('e') || skipIf('E')) {
            if (!skipIf('+')) {
                skipIf('-');
            }
            checkDigits("a digit in the exponent");
        }
    }

    void checkDigits(const char* expected) {
        const std::size_t begin = position_;
        while (peek() >= '0' && peek() <= '9') {
            ++position_;
        }
        if (position_ == begin) {
            refuse(expected);
        }
    }

    void checkString() {
        ++position_;
        hadEscape_ = false;
        while (true) {
            skipPlainText();
            if (position_ == text_.size()) {
                refuse("the end of a string");
            }
            if (skipIf('"')) {
                return;
            }
            if (!skipIf('\\')) {
                refuse("no control character in a string");
            }
            hadEscape_ = true;
            checkEscape();
        }
    }

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

    void checkEscape() {
        constexpr unsigned kFirstHigh = 0xD800;
        constexpr unsigned kFirstLow = 0xDC00;
        constexpr unsigned kLastLow = 0xDFFF;
        if (!skipIf('u')) {
            if (std::string_view("\"\\/bfnrt").find(peek()) == std::string_view::npos) {
                refuse("an escape sequence of JSON");
            }
            ++position_;
            return;
        }
        const unsigned character = checkHexadecimal();
        if (character < kFirstHigh || character > kLastLow) {
            return;
        }
        if (character >= kFirstLow || !skipIf('\\') || !skipIf('u')) {
            refuse("a pair of surrogates");
        }
        const unsigned second = checkHexadecimal();
        if (second < kFirstLow || second > kLastLow) {
            refuse("a pair of surrogates");
        }
    }

    unsigned checkHexadecimal() {
        constexpr std::size_t kDigits = 4;
        const std::string_view digits = text_.substr(position_, kDigits);
        unsigned value = 0;
        const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (digits.size() < kDigits || result.ptr != digits.data() + digits.size()) {
            refuse("four hexadecimal digits");
        }
        position_ += kDigits;
        return value;
    }

    bool skipIf(char character) {
        if (peek() != character) {
            return false;
        }
        ++position_;
        return true;
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
        while (true) {
            skipPlainText();
            if (position_ == text_.size()) {
                refuse("the end of a string");
            }
            const char special = text_[position_++];
            if (special == '"') {
                return;
            }
            if (special == '\\' && position_ < text_.size()) {
                ++position_;
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
    std::size_t position_ = 0;
    bool hadEscape_ = false;
};

}  // namespace zeb
