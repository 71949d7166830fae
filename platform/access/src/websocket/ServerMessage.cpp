#include "ServerMessage.h"

#include <zebutil/JsonObject.h>

#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "json/TextScanner.h"

namespace zeb {

namespace {

/// What stands in the message under the keys that routing needs; without data if the key is missing.
struct Members {
    std::string_view action;
    std::string_view requestId;
    std::string_view subscriptionId;
    std::string_view seq;
    std::string_view data;
    std::string_view error;
    bool haveEscapes = false;
};

/// Whether the text of a key, which may contain escapes, stands for `name`, which consists of letters.
bool standsFor(std::string_view key, std::string_view name) {
    constexpr std::size_t kEscapeSize = 6;  // \u0061
    for (const char letter : name) {
        if (key.substr(0, 2) == "\\u") {
            unsigned code = 0;
            const std::string_view digits = key.substr(2, 4);
            std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
            if (code != static_cast<unsigned char>(letter)) {
                return false;
            }
            key.remove_prefix(kEscapeSize);
        } else if (!key.empty() && key.front() == letter) {
            key.remove_prefix(1);
        } else {
            return false;
        }
    }
    return key.empty();
}

/// Where the value of the key belongs; null if nobody has asked for it.
template <typename IsName>
std::string_view* memberOf(Members& members, const IsName& isName) {
    return isName("action")           ? &members.action
           : isName("requestId")      ? &members.requestId
           : isName("subscriptionId") ? &members.subscriptionId
           : isName("seq")            ? &members.seq
           : isName("data")           ? &members.data
           : isName("error")          ? &members.error
                                      : nullptr;
}

std::string_view* readKey(Members& members, TextScanner& scanner) {
    const std::string_view key = scanner.string();
    if (!scanner.hadEscape()) {
        return memberOf(members, [key](std::string_view name) { return key == name; });
    }
    scanner.check({key.data() - 1, key.size() + 2});
    return memberOf(members, [key](std::string_view name) { return standsFor(key, name); });
}

Members membersOf(TextScanner& scanner) {
    Members members;
    scanner.expect('{');
    if (!scanner.consume('}')) {
        do {
            std::string_view* const member = readKey(members, scanner);
            scanner.expect(':');
            const std::string_view value = scanner.value();
            const bool isString = value.front() == '"';
            const bool isComplete = isString && !scanner.hadEscape();
            // Whoever takes the data reads it.
            if (member != &members.data && !isComplete) {
                scanner.check(value);
            }
            if (member != nullptr) {
                *member = value;
                members.haveEscapes |= isString && scanner.hadEscape();
            }
        } while (scanner.consume(','));
        scanner.expect('}');
    }
    scanner.expectEnd();
    return members;
}

}  // namespace

ServerMessage ServerMessage::read(std::string_view text) {
    ServerMessage message;
    TextScanner scanner(text, "message of the server");
    const Members members = membersOf(scanner);

    const auto textOf = [&](std::string_view value, const char* key) -> std::optional<std::string_view> {
        if (value.empty()) {
            return std::nullopt;
        }
        if (value.front() != '"') {
            scanner.refuseAt(value, std::string("a string as \"") + key + "\"");
        }
        if (!members.haveEscapes || value.find('\\') == std::string_view::npos) {
            return value.substr(1, value.size() - 2);
        }
        const std::string document = "{\"text\":" + std::string(value) + "}";
        return message.decoded_.emplace_front(zebutil::JsonObject::parse(document)->getString("text"));
    };
    message.action = textOf(members.action, "action");
    message.requestId = textOf(members.requestId, "requestId");
    message.subscriptionId = textOf(members.subscriptionId, "subscriptionId");
    if (!members.seq.empty()) {
        const char* const end = members.seq.data() + members.seq.size();
        const auto result = std::from_chars(members.seq.data(), end, message.seq.emplace());
        if (result.ec != std::errc() || result.ptr != end) {
            scanner.refuseAt(members.seq, "an integer of 64 bits as \"seq\"");
        }
    }
    if (!members.data.empty()) {
        message.data = members.data;
    }
    if (!members.error.empty()) {
        if (members.error.front() != '{') {
            scanner.refuseAt(members.error, "an object as \"error\"");
        }
        message.error = members.error;
    }
    return message;
}

}  // namespace zeb
