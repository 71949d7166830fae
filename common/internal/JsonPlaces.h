#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace internal {

/// A value in a JSON text: its first byte, and the byte behind its last.
struct JsonPlace {
    enum class Kind { Object, Array, String, Number, Boolean, Null };

    std::size_t begin = 0;
    std::size_t end = 0;
    Kind kind = Kind::Null;
};

/// Finds where the keys and values of a JSON text are, which the JSON reader does not tell. Builds nothing.
/// The text must be valid JSON and outlive this object.
class JsonPlaces {
 public:
    explicit JsonPlaces(std::string_view text) : text_(text) {}

    JsonPlace root() const { return valueAt(0); }

    std::string_view text(const JsonPlace& value) const {
        return text_.substr(value.begin, value.end - value.begin);
    }

    /// Calls `visit` with the places of each key and of its value.
    template <typename Visit>
    void forEachMember(const JsonPlace& object, Visit visit) const {
        for (std::size_t byte = firstIn(object); byte < object.end - 1;) {
            const JsonPlace key = valueAt(byte);
            const JsonPlace value = valueAt(skipWhiteSpace(key.end) + 1);  // behind the colon
            visit(key, value);
            byte = skipComma(value.end);
        }
    }

    /// Calls `visit` with the place of each element.
    template <typename Visit>
    void forEachElement(const JsonPlace& array, Visit visit) const {
        for (std::size_t byte = firstIn(array); byte < array.end - 1;) {
            const JsonPlace value = valueAt(byte);
            visit(value);
            byte = skipComma(value.end);
        }
    }

 private:
    JsonPlace valueAt(std::size_t byte) const {
        JsonPlace place;
        place.begin = skipWhiteSpace(byte);
        switch (text_[place.begin]) {
            case '{':
                place.kind = JsonPlace::Kind::Object;
                place.end = skipContainer(place.begin);
                break;
            case '[':
                place.kind = JsonPlace::Kind::Array;
                place.end = skipContainer(place.begin);
                break;
            case '"':
                place.kind = JsonPlace::Kind::String;
                place.end = skipString(place.begin);
                break;
            case 't':
            case 'f':
                place.kind = JsonPlace::Kind::Boolean;
                place.end = skipScalar(place.begin);
                break;
            case 'n':
                place.kind = JsonPlace::Kind::Null;
                place.end = skipScalar(place.begin);
                break;
            default:
                place.kind = JsonPlace::Kind::Number;
                place.end = skipScalar(place.begin);
        }
        return place;
    }

    std::size_t firstIn(const JsonPlace& container) const { return skipWhiteSpace(container.begin + 1); }

    std::size_t skipWhiteSpace(std::size_t byte) const { return text_.find_first_not_of(" \t\r\n", byte); }

    std::size_t skipComma(std::size_t byte) const {
        byte = skipWhiteSpace(byte);
        return text_[byte] == ',' ? skipWhiteSpace(byte + 1) : byte;
    }

    std::size_t skipScalar(std::size_t byte) const {
        return std::min(text_.find_first_of(",]} \t\r\n", byte), text_.size());
    }

    std::size_t skipString(std::size_t byte) const {
        for (++byte; text_[byte] != '"'; ++byte) {
            if (text_[byte] == '\\') {
                ++byte;
            }
        }
        return byte + 1;
    }

    std::size_t skipContainer(std::size_t byte) const {
        std::size_t depth = 0;
        do {
            switch (text_[byte]) {
                case '{':
                case '[':
                    ++depth;
                    ++byte;
                    break;
                case '}':
                case ']':
                    --depth;
                    ++byte;
                    break;
                case '"':
                    byte = skipString(byte);
                    break;
                default:
                    ++byte;
            }
        } while (depth > 0);
        return byte;
    }

    const std::string_view text_;
};

}  // namespace internal
