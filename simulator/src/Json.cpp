#include "Json.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Parser.h>
#include <Poco/JSON/Stringifier.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <sstream>

#include "BusError.h"

namespace zebbussim {

namespace {

constexpr std::size_t kMaximumNesting = 64;

/// The length of the UTF-8 sequence at `position`, or 0 if there is none.
std::size_t sequenceLength(const std::string& text, std::size_t position) {
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

}  // namespace

bool isUtf8(const std::string& text) {
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t length = sequenceLength(text, position);
        if (length == 0) {
            return false;
        }
        position += length;
    }
    return true;
}

Poco::JSON::Object::Ptr parseJsonObject(const std::string& text, const std::string& what) {
    if (!isUtf8(text)) {
        throw BusError::badRequest(what + " is not UTF-8");
    }
    try {
        Poco::JSON::Parser parser(new Poco::JSON::ParseHandler(true));
        parser.setDepth(kMaximumNesting);
        const Poco::Dynamic::Var root = parser.parse(text);
        if (root.type() == typeid(Poco::JSON::Object::Ptr)) {
            return root.extract<Poco::JSON::Object::Ptr>();
        }
    } catch (const Poco::Exception& exception) {
        // The parser quotes the unexpected byte, which may be only a part of a character.
        std::string reason = exception.displayText();
        std::replace_if(
            reason.begin(), reason.end(), [](char byte) { return byte < ' ' || byte > '~'; }, '?');
        throw BusError::badRequest(what + " is not a JSON object: " + reason);
    }
    throw BusError::badRequest(what + " is JSON, but not an object");
}

std::string toText(const Poco::JSON::Object& object) {
    std::ostringstream stream;
    object.stringify(stream);
    return stream.str();
}

std::string toText(const Poco::Dynamic::Var& value) {
    std::ostringstream stream;
    Poco::JSON::Stringifier::stringify(value, stream);
    return stream.str();
}

std::string quoted(const std::string& text) {
    return toText(Poco::Dynamic::Var(text));
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
