#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zebutil {
class JsonException;
}

namespace zebbussim {

class BusError;

// The bus keeps JSON as text: what it has to do with most values is to send them on. A text is read once, by
// the reader of the library, which checks it and writes it without white space. From then on its parts are
// found by their quotes and brackets.

/// Reads one JSON object: UTF-8, nested at most 64 deep. Returns it as text without white space, in which no
/// key is repeated. Throws `BusError` 400 with a message that begins with `what` and names the place.
std::string readJsonObject(std::string_view text, const std::string& what);

/// The reader's reason with the place of the mistake, such as ", line 2, column 3: reason". `skipped` bytes
/// were before the text.
std::string placeInFile(std::string_view text, const zebutil::JsonException& exception, std::size_t skipped);

/// A member of an object in such a text.
struct JsonMember {
    std::string_view key;  ///< with its quotes
    std::string_view value;
};

// These take values out of such a text. Each string in it is escaped in one way only: equal strings have
// equal texts.
std::vector<JsonMember> membersOf(std::string_view object);
std::vector<std::string_view> entriesOf(std::string_view list);
inline bool isObject(std::string_view value) {
    return value.front() == '{';
}
inline bool isList(std::string_view value) {
    return value.front() == '[';
}
inline bool isString(std::string_view value) {
    return value.front() == '"';
}
/// The content of a string; nothing for any other value.
std::optional<std::string> stringOf(std::string_view value);
/// The content of a string, with its quotes, in any valid JSON text.
std::string contentOf(std::string_view quotedText);
/// The string that an object has as "uri", with its quotes; nothing if it has none.
std::optional<std::string_view> quotedUriOf(std::string_view object);
std::optional<std::string> uriOf(std::string_view object);

/// The entries of a list, one after the other, for those who may stop before the last.
class ListEntries {
 public:
    explicit ListEntries(std::string_view list) : list_(list) {}

    /// Nothing after the last.
    std::optional<std::string_view> next();

 private:
    std::string_view list_;
    std::size_t position_ = 1;
};

/// The bytes of a string, one after the other. Copies nothing.
class StringBytes {
 public:
    static constexpr int kEnd = -1;  ///< less than every byte

    /// `value` has its quotes.
    explicit StringBytes(std::string_view value) : text_(value.substr(1, value.size() - 2)) {}

    /// The next byte, or `kEnd`.
    int next() {
        if (position_ == text_.size()) {
            return kEnd;
        }
        const char first = text_[position_++];
        return first == '\\' ? afterBackslash() : static_cast<unsigned char>(first);
    }
    /// How much of the text was read.
    std::size_t read() const { return position_; }

 private:
    int afterBackslash();

    std::string_view text_;
    std::size_t position_ = 0;
};

/// Returns a JSON string with its quotes.
std::string quoted(std::string_view text);
// These shorten a long text for the message of an error. `excerpt()` returns it as a JSON string.
std::string shortened(std::string_view text);
std::string excerpt(std::string_view text);

bool isUtf8(std::string_view text);

/// The present time in the format of the bus: "2026-01-31T12:34:56.123456Z".
std::string timestamp();

/// The end of every message: `,"ts":"..."}`.
std::string timestampTail();
/// `"error":{...}`
std::string errorMember(const BusError& error);

}  // namespace zebbussim
