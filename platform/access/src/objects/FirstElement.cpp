#include "FirstElement.h"

#include <zeb/ZebException.h>

#include <string>

#include "json/TextScanner.h"

namespace zeb {

namespace {

constexpr const char* kWhere = "answer";
constexpr const char* kList = "\"data\"";

// Whether the key that the scanner found last is that of the list.
bool isKeyOfList(const TextScanner& scanner, std::string_view key) {
    return key == "data" || (scanner.hadEscape() &&
                             zebutil::JsonObject::parse("{\"" + std::string(key) + "\":0}")->has("data"));
}

// The list in an answer that is valid JSON. Of several with its key, the last one counts.
std::string_view listIn(std::string_view answer) {
    std::string_view list;
    TextScanner scanner(answer, kWhere);
    scanner.expect('{');
    if (!scanner.consume('}')) {
        do {
            const std::string_view key = scanner.string();
            const bool isList = isKeyOfList(scanner, key);
            scanner.expect(':');
            const std::string_view value = scanner.value();
            if (isList) {
                list = value;
            }
        } while (scanner.consume(','));
    }
    if (list.empty()) {
        throw ZebException(std::string("it has no ") + kList, kWhere);
    }
    if (list.front() != '[') {
        throw ZebException(
            std::string("expected a list under ") + kList + ", got " + std::string(list.substr(0, 40)),
            kWhere);
    }
    return list;
}

}  // namespace

std::shared_ptr<zebutil::JsonObject> readFirstElement(std::string_view answer) {
    zebutil::JsonObject::check(answer);
    TextScanner scanner(listIn(answer), kWhere);
    scanner.expect('[');
    if (scanner.consume(']')) {
        return nullptr;
    }
    const std::string_view element = scanner.value();
    if (element.front() != '{') {
        throw ZebException(std::string("expected an object as the first of the list under ") + kList +
                               ", got " + std::string(element.substr(0, 40)),
                           kWhere);
    }
    return zebutil::JsonObject::parse(element);
}

}  // namespace zeb
