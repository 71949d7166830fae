#include "MemberKind.h"

#include <internal/SimilarWord.h>

#include <algorithm>
#include <charconv>

#include "json/Json.h"
#include "model/BusError.h"
#include "model/BusPath.h"

namespace zebbussim {

namespace {

std::string inQuotes(const std::string& text) {
    return '"' + text + '"';
}

/// What the value must be.
std::string expectedOf(const MemberKind& kind) {
    switch (kind.type) {
        case MemberType::Text: {
            std::string words;
            for (const std::string& word : kind.words) {
                words += (words.empty() ? "" : " or ") + inQuotes(word);
            }
            return words.empty() ? "a string" : words;
        }
        case MemberType::Object:
            return "an object";
        case MemberType::Boolean:
            return "true or false";
        case MemberType::Count:
            return "an integer from " + std::to_string(kind.lowest) + " to " + std::to_string(kind.highest);
        case MemberType::Place:
            return R"("/" or a path such as "/<service>/<resource>/<id>")";
        case MemberType::Path:
        case MemberType::ElementPath:
            return R"(a path such as "/<service>/<resource>/<id>")";
        case MemberType::Hex:
            return "pairs of the digits 0 to 9 and a to f";
        case MemberType::HeaderValue:
            return "a string without control characters";
    }
    return "";
}

bool isPlace(const std::string& text) {
    const std::vector<std::string> segments = splitPath(text);
    return !text.empty() && text.front() == '/' && std::all_of(segments.begin(), segments.end(), isName);
}

bool isHeaderValue(const std::string& text) {
    return !text.empty() && std::none_of(text.begin(), text.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 || byte == 0x7F;
    });
}

bool isText(const std::string& text, const MemberKind& kind) {
    switch (kind.type) {
        case MemberType::Place:
            return isPlace(text);
        case MemberType::Hex:
            return bytesOfHex(text).has_value();
        case MemberType::HeaderValue:
            return isHeaderValue(text);
        default:
            return kind.words.empty() ||
                   std::find(kind.words.begin(), kind.words.end(), text) != kind.words.end();
    }
}

bool isAllowed(std::string_view value, const MemberKind& kind) {
    switch (kind.type) {
        case MemberType::Object:
            return isObject(value);
        case MemberType::Boolean:
            return value == "true" || value == "false";
        case MemberType::Count: {
            const auto count = countOf(value);
            return count && *count >= kind.lowest && *count <= kind.highest;
        }
        default:
            return isString(value) && isText(stringOf(value).value(), kind);
    }
}

void checkMember(const JsonMember& member, const std::vector<MemberKind>& kinds,
                 const std::vector<std::string>& names, const std::string& what) {
    const std::string key = stringOf(member.key).value();
    const auto known =
        std::find_if(kinds.begin(), kinds.end(), [&](const MemberKind& kind) { return kind.key == key; });
    if (known == kinds.end()) {
        throw MemberError(std::string(member.key),
                          what + ": " + excerpt(key) + " is unknown here" + didYouMean(key, names));
    }
    if (!isAllowed(member.value, *known)) {
        throw MemberError(std::string(member.key), what + ": " + inQuotes(key) + " must be " +
                                                       expectedOf(*known) + ", not " +
                                                       shortened(member.value));
    }
    // These say themselves what is wrong.
    if (known->type == MemberType::Path) {
        parseBusPath(stringOf(member.value).value());
    } else if (known->type == MemberType::ElementPath) {
        parseElementPath(stringOf(member.value).value());
    }
}

}  // namespace

std::optional<std::int64_t> countOf(std::string_view json) {
    std::int64_t count = 0;
    const auto [end, error] = std::from_chars(json.data(), json.data() + json.size(), count);
    const bool isRead = error == std::errc() && end == json.data() + json.size();
    return isRead && count >= 0 && count <= kHighestCount ? std::make_optional(count) : std::nullopt;
}

std::optional<std::string> bytesOfHex(const std::string& text) {
    std::string digits = text;
    digits.erase(std::remove(digits.begin(), digits.end(), ' '), digits.end());
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    for (std::size_t position = 0; position < digits.size(); position += 2) {
        unsigned byte = 0;
        const char* const end = digits.data() + position + 2;
        if (std::from_chars(digits.data() + position, end, byte, 16).ptr != end) {
            return std::nullopt;
        }
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& names) {
    const std::string_view similar = internal::similarWord(word, internal::Words(names.begin(), names.end()));
    return similar.empty() ? "" : "; did you mean \"" + std::string(similar) + "\"?";
}

void checkMembers(const JsonMembers& members, const std::vector<MemberKind>& kinds, const std::string& what) {
    std::vector<std::string> names;
    std::transform(kinds.begin(), kinds.end(), std::back_inserter(names),
                   [](const MemberKind& kind) { return kind.key; });
    for (std::size_t index = 0; index < members.size(); ++index) {
        checkMember(members[index], kinds, names, what);
    }
    for (const MemberKind& kind : kinds) {
        if (kind.isRequired && !members.find(kind.key)) {
            throw BusError::badRequest(what + ": \"" + kind.key + "\" is missing");
        }
    }
}

}  // namespace zebbussim
