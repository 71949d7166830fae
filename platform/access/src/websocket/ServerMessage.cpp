#include "ServerMessage.h"

#include <zeb/ZebException.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <charconv>

namespace zeb {

namespace {

class Scanner {
 public:
    explicit Scanner(std::string_view text) : text_(text) {}

    [[noreturn]] void refuse(const std::string& expected) const {
        throw ZebException("expected " + expected + " at byte " + std::to_string(position_),
                           "message of the server");
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
                    // The envelope itself is one level.
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

    std::string_view text_;
    std::size_t position_ = 0;
};

}  // namespace

ServerMessage ServerMessage::read(std::string_view text) {
    ServerMessage message;
    Scanner scanner(text);

    const auto stringValue = [&]() -> std::string_view {
        const std::string_view quoted = scanner.string();
        if (quoted.find('\\') == std::string_view::npos) {
            return quoted.substr(1, quoted.size() - 2);
        }
        const std::string document = "{\"text\":" + std::string(quoted) + "}";
        try {
            return message.decoded_.emplace_front(zebutil::JsonObject::parse(document)->getString("text"));
        } catch (const zebutil::JsonException&) {
            scanner.refuse("a string as JSON has it before");
        }
    };
    const auto integerValue = [&] {
        const std::string_view digits = scanner.value();
        std::int64_t value = 0;
        const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) {
            scanner.refuse("an integer before");
        }
        return value;
    };

    scanner.expect('{');
    if (!scanner.consume('}')) {
        do {
            const std::string_view key = stringValue();
            scanner.expect(':');
            if (key == "action") {
                message.action = stringValue();
            } else if (key == "requestId") {
                message.requestId = stringValue();
            } else if (key == "subscriptionId") {
                message.subscriptionId = stringValue();
            } else if (key == "seq") {
                message.seq = integerValue();
            } else if (key == "data") {
                message.data = scanner.value();
            } else if (key == "error") {
                message.error = scanner.value();
            } else {
                scanner.value();
            }
        } while (scanner.consume(','));
        scanner.expect('}');
    }
    scanner.expectEnd();
    return message;
}

}  // namespace zeb
