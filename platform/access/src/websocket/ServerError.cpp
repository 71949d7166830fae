#include "ServerError.h"

#include <internal/EscapedText.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

namespace zeb {

namespace {

// Cut already here: together, the texts may be as long as a message.
std::string memberOf(const zebutil::JsonObject& error, const char* key) {
    try {
        return internal::escapedText(error.getString(key));
    } catch (const zebutil::JsonException&) {
        return {};
    }
}

void append(std::string& text, const char* separator, const std::string& part) {
    if (!text.empty() && !part.empty()) {
        text += separator;
    }
    text += part;
}

}  // namespace

ServerError ServerError::read(std::string_view json) {
    ServerError result{"none", {}};
    const auto error = zebutil::JsonObject::parse(json);
    const std::string number = memberOf(*error, "number");
    if (!number.empty()) {
        result.number = number;
    }
    append(result.text, " ", number);
    append(result.text, " ", memberOf(*error, "reason"));
    append(result.text, ": ", memberOf(*error, "message"));
    if (result.text.empty()) {
        result.text = "the server gave no reason, only " + internal::escapedText(json);
    }
    result.text = internal::escapedText(result.text);
    return result;
}

}  // namespace zeb
