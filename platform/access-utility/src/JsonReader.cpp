#include "JsonReader.h"

#include <Poco/JSON/Array.h>
#include <zebutil/JsonException.h>

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

#include "JsonNumber.h"

namespace zebutil::detail {

namespace {

using Poco::Dynamic::Var;

class JsonReader {
 public:
    JsonReader(std::string_view text, int maximumDepth) : text_(text), levelsLeft_(maximumDepth) {}

    Poco::JSON::Object::Ptr readDocument() {
        skipWhiteSpace();
        if (!next('{')) {
            fail("expected an object");
        }
        Poco::JSON::Object::Ptr object = readObject();
        skipWhiteSpace();
        if (position_ != text_.size()) {
            fail("expected the end of the text");
        }
        return object;
    }

 private:
    [[noreturn]] void fail(const char* message) const {
        throw JsonException("JSON, byte " + std::to_string(position_) + ": " + message);
    }

    bool atEnd() const { return position_ == text_.size(); }
    char peek() const { return atEnd() ? '\0' : text_[position_]; }

    bool next(char expected) {
        if (atEnd() || text_[position_] != expected) {
            return false;
        }
        ++position_;
        return true;
    }

    void skipWhiteSpace() {
        while (!atEnd() && (text_[position_] == ' ' || text_[position_] == '\n' || text_[position_] == '\r' ||
                            text_[position_] == '\t')) {
            ++position_;
        }
    }

    /// Reads an object after its opening brace.
    Poco::JSON::Object::Ptr readObject() {
        enter();
        Poco::JSON::Object::Ptr object = new Poco::JSON::Object;
        skipWhiteSpace();
        if (!next('}')) {
            do {
                skipWhiteSpace();
                if (!next('"')) {
                    fail("expected a key in quotes");
                }
                const std::string key = readString();
                skipWhiteSpace();
                if (!next(':')) {
                    fail("expected a colon after a key");
                }
                object->set(key, readValue());
                skipWhiteSpace();
            } while (next(','));
            if (!next('}')) {
                fail("expected a comma or the end of an object");
            }
        }
        ++levelsLeft_;
        return object;
    }

    /// Reads an array after its opening bracket.
    Poco::JSON::Array::Ptr readArray() {
        enter();
        Poco::JSON::Array::Ptr array = new Poco::JSON::Array;
        skipWhiteSpace();
        if (!next(']')) {
            do {
                array->add(readValue());
                skipWhiteSpace();
            } while (next(','));
            if (!next(']')) {
                fail("expected a comma or the end of an array");
            }
        }
        ++levelsLeft_;
        return array;
    }

    void enter() {
        if (--levelsLeft_ < 0) {
            fail("objects and arrays are nested too deeply");
        }
    }

    Var readValue() {
        skipWhiteSpace();
        switch (peek()) {
            case '{':
                ++position_;
                return readObject();
            case '[':
                ++position_;
                return readArray();
            case '"':
                ++position_;
                return readString();
            case 't':
                readWord("true");
                return true;
            case 'f':
                readWord("false");
                return false;
            case 'n':
                readWord("null");
                return {};
            default:
                return readNumber();
        }
    }

    void readWord(std::string_view word) {
        if (text_.substr(position_, word.size()) != word) {
            fail("expected a value");
        }
        position_ += word.size();
    }

    bool skipDigits() {
        const std::size_t begin = position_;
        while (peek() >= '0' && peek() <= '9') {
            ++position_;
        }
        return position_ != begin;
    }

    Var readNumber() {
        const std::size_t begin = position_;
        next('-');
        if (!next('0') && !skipDigits()) {
            fail("expected a value");
        }
        bool isInteger = true;
        if (next('.')) {
            isInteger = false;
            if (!skipDigits()) {
                fail("expected a digit after the decimal point");
            }
        }
        if (next('e') || next('E')) {
            isInteger = false;
            if (!next('+')) {
                next('-');
            }
            if (!skipDigits()) {
                fail("expected a digit in the exponent");
            }
        }
        const char* const first = text_.data() + begin;
        const char* const last = text_.data() + position_;
        if (isInteger) {
            Poco::Int64 integer = 0;
            if (std::from_chars(first, last, integer).ec == std::errc()) {
                return integer;
            }
            Poco::UInt64 unsignedInteger = 0;
            if (std::from_chars(first, last, unsignedInteger).ec == std::errc()) {
                return unsignedInteger;
            }
        }
        return JsonNumber{{first, last}};
    }

    /// Reads a string after its opening quote.
    std::string readString() {
        std::string result;
        for (;;) {
            const std::size_t begin = position_;
            while (!atEnd() && isPlain(text_[position_])) {
                ++position_;
            }
            result.append(text_.data() + begin, position_ - begin);
            if (atEnd()) {
                fail("unterminated string");
            }
            if (next('"')) {
                return result;
            }
            if (next('\\')) {
                readEscape(result);
            } else if (static_cast<unsigned char>(peek()) < 0x20) {
                fail("control character in a string");
            } else {
                readMultibyteCharacter(result);
            }
        }
    }

    static bool isPlain(char byte) {
        const auto value = static_cast<unsigned char>(byte);
        return value >= 0x20 && value < 0x80 && byte != '"' && byte != '\\';
    }

    void readMultibyteCharacter(std::string& result) {
        const std::size_t begin = position_;
        const std::uint32_t lead = nextByte();
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
            fail("text that is not UTF-8");
        }
        while (continuationBytes-- > 0) {
            if (atEnd() || (static_cast<unsigned char>(peek()) & 0xC0U) != 0x80U) {
                fail("text that is not UTF-8");
            }
            character = (character << 6U) | (nextByte() & 0x3FU);
        }
        if (character < smallest || character > 0x10FFFF || isSurrogate(character)) {
            fail("text that is not UTF-8");
        }
        result.append(text_.data() + begin, position_ - begin);
    }

    std::uint32_t nextByte() { return static_cast<unsigned char>(text_[position_++]); }

    static bool isSurrogate(std::uint32_t character) { return character >= 0xD800 && character <= 0xDFFF; }

    void readEscape(std::string& result) {
        const char escape = peek();
        ++position_;
        switch (escape) {
            case '"':
            case '\\':
            case '/':
                result += escape;
                break;
            case 'b':
                result += '\b';
                break;
            case 'f':
                result += '\f';
                break;
            case 'n':
                result += '\n';
                break;
            case 'r':
                result += '\r';
                break;
            case 't':
                result += '\t';
                break;
            case 'u':
                appendCharacter(result, readEscapedCharacter());
                break;
            default:
                --position_;
                fail("invalid escape sequence");
        }
    }

    std::uint32_t readHexadecimal() {
        std::uint32_t value = 0;
        const char* const first = text_.data() + position_;
        if (text_.size() - position_ < 4 || std::from_chars(first, first + 4, value, 16).ptr != first + 4) {
            fail("expected four hexadecimal digits");
        }
        position_ += 4;
        return value;
    }

    std::uint32_t readEscapedCharacter() {
        const std::uint32_t character = readHexadecimal();
        if (!isSurrogate(character)) {
            return character;
        }
        if (character >= 0xDC00 || !next('\\') || !next('u')) {
            fail("unpaired surrogate");
        }
        const std::uint32_t second = readHexadecimal();
        if (second < 0xDC00 || second > 0xDFFF) {
            fail("unpaired surrogate");
        }
        return 0x10000 + ((character - 0xD800) << 10U) + (second - 0xDC00);
    }

    static void appendCharacter(std::string& result, std::uint32_t character) {
        const auto append = [&result](std::uint32_t byte) { result += static_cast<char>(byte); };
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

    std::string_view text_;
    std::size_t position_ = 0;
    int levelsLeft_;
};

}  // namespace

Poco::JSON::Object::Ptr readJsonObject(std::string_view text, int maximumDepth) {
    return JsonReader(text, maximumDepth).readDocument();
}

}  // namespace zebutil::detail
