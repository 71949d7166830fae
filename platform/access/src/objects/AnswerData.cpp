#include "AnswerData.h"

#include <zeb/ZebException.h>

#include <string>

#include "json/TextScanner.h"

namespace zeb {

namespace {

constexpr const char* kWhere = "answer";
constexpr const char* kData = "\"data\"";

[[noreturn]] void refuse(const std::string& expected, std::string_view found) {
    throw ZebException("expected " + expected + kData + ", got " + std::string(found.substr(0, 40)), kWhere);
}

// Whether the key that the scanner found last is that of the data.
bool isKeyOfData(const TextScanner& scanner, std::string_view key) {
    return key == "data" || (scanner.hadEscape() &&
                             zebutil::JsonObject::parse("{\"" + std::string(key) + "\":0}")->has("data"));
}

// The value in an answer that is valid JSON. Of several with its key, the last one counts.
std::string_view dataOf(std::string_view answer) {
    zebutil::JsonObject::check(answer);
    std::string_view data;
    TextScanner scanner(answer, kWhere);
    scanner.expect('{');
    if (!scanner.consume('}')) {
        do {
            const std::string_view key = scanner.string();
            const bool isData = isKeyOfData(scanner, key);
            scanner.expect(':');
            const std::string_view value = scanner.value();
            if (isData) {
                data = value;
            }
        } while (scanner.consume(','));
    }
    if (data.empty()) {
        throw ZebException(std::string("it has no ") + kData, kWhere);
    }
    return data;
}

}  // namespace

std::shared_ptr<zebutil::JsonObject> readFirstElement(std::string_view answer) {
    TextScanner scanner(readList(answer), kWhere);
    scanner.expect('[');
    if (scanner.consume(']')) {
        return nullptr;
    }
    const std::string_view element = scanner.value();
    if (element.front() != '{') {
        refuse("an object as the first of the list under ", element);
    }
    return zebutil::JsonObject::parse(element);
}

std::shared_ptr<zebutil::JsonObject> readElement(std::string_view answer) {
    const std::string_view element = dataOf(answer);
    if (element.front() != '{') {
        refuse("an object under ", element);
    }
    return zebutil::JsonObject::parse(element);
}

std::string_view readList(std::string_view answer) {
    const std::string_view list = dataOf(answer);
    if (list.front() != '[') {
        refuse("a list under ", list);
    }
    return list;
}

}  // namespace zeb
