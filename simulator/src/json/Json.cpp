#include "Json.h"

#include <Poco/JSON/Stringifier.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <sstream>

#include "model/BusError.h"

namespace zebbussim {

namespace {

/// The length of the UTF-8 sequence at `position`, or 0 if there is none.
std::size_t sequenceLength(std::string_view text, std::size_t position) {
    const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char first = byteAt(position);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || position + length > text.size()) {
        return 0;
    }
    const unsigned char second = byteAt(position + 1);
    const unsigned char lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned char highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    if (second < lowest || second > highest) {
        return 0;
    }
    for (std::size_t index = 2; index < length; ++index) {
        if ((byteAt(position + index) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return length;
}

/// As much of a text as the message of an error quotes.
std::string_view beginningOf(std::string_view text) {
    constexpr std::size_t kLongest = 200;
    std::size_t end = std::min(text.size(), kLongest);
    while (end < text.size() && end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) {
        --end;  // not in the middle of a character
    }
    return text.substr(0, end);
}

/// The end of the string, object, list or word that begins at `position`.
std::size_t endOfValue(std::string_view text, std::size_t position) {
    std::size_t depth = 0;
    do {
        switch (text[position]) {
            case '"':
                for (++position; text[position] != '"'; ++position) {
                    position += text[position] == '\\' ? 1 : 0;
                }
                ++position;
                break;
            case '{':
            case '[':
                ++depth;
                ++position;
                break;
            case '}':
            case ']':
                --depth;
                ++position;
                break;
            case ',':
            case ':':
                ++position;  // inside an object or a list
                break;
            default:
                position = text.find_first_of(",:]}", position);
        }
    } while (depth > 0);
    return position;
}

}  // namespace

bool isUtf8(std::string_view text) {
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t length = sequenceLength(text, position);
        if (length == 0) {
            return false;
        }
        position += length;
    }
    return true;
}

std::string readJsonObject(std::string_view text, const std::string& what) {
    try {
        return zebutil::JsonObject::parse(text)->toString();
    } catch (const zebutil::JsonException& exception) {
        throw BusError::badRequest(what + " is not a JSON object: " + exception.what());
    }
}

std::string placeInFile(std::string_view text, const zebutil::JsonException& exception, std::size_t skipped) {
    if (!exception.byte()) {
        return std::string(": ") + exception.what();
    }
    const std::string_view before = text.substr(0, *exception.byte() - std::min(*exception.byte(), skipped));
    const std::size_t lineBegin = before.rfind('\n') + 1;  // 0 in the first line
    return ", line " + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) + ", column " +
           std::to_string(before.size() - lineBegin + 1) + ": " + std::string(exception.reason());
}

std::vector<JsonMember> membersOf(std::string_view object) {
    std::vector<JsonMember> members;
    for (std::size_t position = 1; object[position] != '}';) {
        position += object[position] == ',' ? 1 : 0;
        const std::size_t colon = endOfValue(object, position);
        const std::size_t end = endOfValue(object, colon + 1);
        members.push_back(
            {object.substr(position, colon - position), object.substr(colon + 1, end - colon - 1)});
        position = end;
    }
    return members;
}

std::optional<std::string_view> ListEntries::next() {
    if (list_[position_] == ']') {
        return std::nullopt;
    }
    const std::size_t begin = position_ + (list_[position_] == ',' ? 1 : 0);
    position_ = endOfValue(list_, begin);
    return list_.substr(begin, position_ - begin);
}

std::vector<std::string_view> entriesOf(std::string_view list) {
    std::vector<std::string_view> entries;
    ListEntries reader(list);
    while (const auto entry = reader.next()) {
        entries.push_back(*entry);
    }
    return entries;
}

int StringBytes::afterBackslash() {
    const char escape = text_[position_++];
    switch (escape) {
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        case 'u': {
            // Only control characters are written with their numbers, in four digits.
            const char last = text_[position_ + 3];
            const int byte = (text_[position_ + 2] - '0') * 16 + (last <= '9' ? last - '0' : last - 'A' + 10);
            position_ += 4;
            return byte;
        }
        default:
            return escape;
    }
}

std::optional<std::string> stringOf(std::string_view value) {
    if (!isString(value)) {
        return std::nullopt;
    }
    std::string text;
    StringBytes bytes(value);
    for (int byte = bytes.next(); byte != StringBytes::kEnd; byte = bytes.next()) {
        text += static_cast<char>(byte);
    }
    return text;
}

std::string contentOf(std::string_view quotedText) {
    if (quotedText.find('\\') == std::string_view::npos) {
        return std::string(quotedText.substr(1, quotedText.size() - 2));
    }
    return zebutil::JsonObject::parse("{\"\":" + std::string(quotedText) + "}")->getString("");
}

std::optional<std::string_view> quotedUriOf(std::string_view object) {
    for (std::size_t position = 1; object[position] != '}';) {
        position += object[position] == ',' ? 1 : 0;
        const std::size_t colon = endOfValue(object, position);
        const std::size_t end = endOfValue(object, colon + 1);
        if (object.substr(position, colon - position) == "\"uri\"") {
            const std::string_view uri = object.substr(colon + 1, end - colon - 1);
            return isString(uri) ? std::make_optional(uri) : std::nullopt;
        }
        position = end;
    }
    return std::nullopt;
}

std::optional<std::string> uriOf(std::string_view object) {
    const std::optional<std::string_view> uri = quotedUriOf(object);
    return uri ? stringOf(*uri) : std::nullopt;
}

std::string quoted(std::string_view text) {
    std::ostringstream stream;
    Poco::JSON::Stringifier::formatString(std::string(text), stream);
    return stream.str();
}

std::string shortened(std::string_view text) {
    const std::string_view beginning = beginningOf(text);
    return std::string(beginning) + (beginning.size() < text.size() ? "..." : "");
}

std::string excerpt(std::string_view text) {
    const std::string_view beginning = beginningOf(text);
    return quoted(beginning) + (beginning.size() < text.size() ? "..." : "");
}

std::string timestamp() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count();
    const std::time_t seconds = static_cast<std::time_t>(microseconds / 1000000);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char date[32];
    const std::size_t dateLength = std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%06dZ", static_cast<int>(microseconds % 1000000));
    return std::string(date, dateLength) + fraction;
}

std::string timestampTail() {
    return ",\"ts\":\"" + timestamp() + "\"}";
}

std::string errorMember(const BusError& error) {
    return "\"error\":{\"number\":" + std::to_string(error.number) + ",\"reason\":" + quoted(error.reason) +
           ",\"message\":" + quoted(error.what()) + "}";
}

}  // namespace zebbussim
