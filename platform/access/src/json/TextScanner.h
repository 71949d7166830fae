#pragma once

#include <zeb/ZebException.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace zeb {

/// Finds the parts of a JSON text without building anything. It is not a complete check: what it passes over
/// may be no JSON. Whoever uses a part reads it with `zebutil::JsonObject`, which is strict.
class TextScanner {
 public:
    /// @param where appears in messages
    TextScanner(std::string_view text, const char* where) : text_(text), where_(where) {}

    [[noreturn]] void refuse(const std::string& expected) const {
        throw ZebException("expected " + expected + " at byte " + std::to_string(position_), where_);
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

    // A string, including its quotes.
    std::string_view string() {
        skipWhitespace();
        const std::size_t begin = position_;
        if (peek() != '"') {
            refuse("a string");
        }
        skipString();
        return text_.substr(begin, position_ - begin);
    }

    // A value of any kind.
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
                    // What surrounds the value is one level.
                    if (++depth >= kMaximumDepth) {
                        refuse("at most 64 levels of nesting");
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
    static constexpr std::size_t kMaximumDepth = 64;

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
        const std::size_t begin = ++position_;
        do {
            position_ = text_.find('"', position_);
            if (position_ == std::string_view::npos) {
                position_ = text_.size();
                refuse("the end of a string");
            }
            ++position_;
        } while (isEscaped(begin, position_ - 1));
    }

    // Whether an odd number of backslashes precedes it; the text begins at `begin`.
    bool isEscaped(std::size_t begin, std::size_t position) const {
        std::size_t unescaped = position;
        while (unescaped > begin && text_[unescaped - 1] == '\\') {
            --unescaped;
        }
        return (position - unescaped) % 2 == 1;
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

    // find_first_of() would call memchr() for each byte of the text, here and in strings.
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
};

}  // namespace zeb
