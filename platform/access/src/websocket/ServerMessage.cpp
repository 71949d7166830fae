#include "ServerMessage.h"

#include <zeb/ZebException.h>
#include <zebutil/JsonObject.h>

#include <charconv>

#include "json/TextScanner.h"

namespace zeb {

ServerMessage ServerMessage::read(std::string_view text) {
    ServerMessage message;
    TextScanner scanner(text, "message of the server");

    const auto stringValue = [&]() -> std::string_view {
        const std::string_view text = scanner.string();
        if (text.find('\\') == std::string_view::npos) {
            return text;
        }
        const std::string document = "{\"text\":\"" + std::string(text) + "\"}";
        return message.decoded_.emplace_front(zebutil::JsonObject::parse(document)->getString("text"));
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

    const auto objectValue = [&] {
        const std::string_view object = scanner.value();
        if (object.front() != '{') {
            scanner.refuse("an object before");
        }
        return object;
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
                message.data = scanner.valueToRead();
            } else if (key == "error") {
                message.error = objectValue();
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
