// A JSON text: its compact form, the tree that is made of it, and what Poco's own parser makes of it.
#include <Poco/JSON/Parser.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Require.h"

namespace {

using fuzz::require;
using zebutil::JsonArray;
using zebutil::JsonObject;

/// Reads everything, and returns whether it has a number, which Poco's parser may change.
bool readAll(const JsonObject& object);

template <typename Container, typename Key>
bool readValue(const Container& container, const Key& key) {
    if (container.isObject(key)) {
        return readAll(*container.getObject(key));
    }
    if (container.isArray(key)) {
        const std::shared_ptr<JsonArray> array = container.getArray(key);
        bool hasNumber = false;
        for (std::size_t position = 0; position < array->size(); ++position) {
            hasNumber = readValue(*array, position) || hasNumber;
        }
        return hasNumber;
    }
    if (container.isNull(key) || container.isString(key)) {
        return false;
    }
    try {
        static_cast<void>(container.getBool(key));
        return false;
    } catch (const zebutil::JsonException&) {
        require(!container.getString(key).empty(), "what is nothing else is a number");
        return true;
    }
}

bool readAll(const JsonObject& object) {
    const std::vector<std::string> keys = object.getKeys();
    require(
        std::adjacent_find(keys.begin(), keys.end(),
                           [](const auto& left, const auto& right) { return left >= right; }) == keys.end(),
        "the keys are sorted, each is there once");
    bool hasNumber = false;
    for (const std::string& key : keys) {
        require(object.has(key), "every key is found");
        hasNumber = readValue(object, key) || hasNumber;
    }
    return hasNumber;
}

/// Poco's parser reads the same, except that it may change numbers and that it ends a string at a NUL
/// character.
void compareWithPoco(std::string_view text, const std::string& written) {
    Poco::JSON::Parser parser;
    try {
        const auto independent = parser.parse(std::string(text)).extract<Poco::JSON::Object::Ptr>();
        require(JsonObject(independent).toString() == written, "Poco's parser reads the same");
    } catch (const Poco::Exception&) {
        // It refuses some texts that ours takes.
    }
}

/// Empty if there is none.
std::string refusalOfCheck(std::string_view text) {
    try {
        JsonObject::check(text);
    } catch (const zebutil::JsonException& refusal) {
        return refusal.what();
    }
    return {};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::shared_ptr<JsonObject> sut;
    try {
        sut = JsonObject::parse(text);
    } catch (const zebutil::JsonException& refusal) {
        require(std::string_view(refusal.what()).rfind("JSON, byte ", 0) == 0, "a refusal names the place");
        require(refusalOfCheck(text) == refusal.what(), "a check refuses the same");
        return 0;
    }
    require(refusalOfCheck(text).empty(), "a check takes the same");
    const bool hasNumber = readAll(*sut);
    const std::string written = sut->toString();
    require(JsonObject::parse(written)->toString() == written, "what was written is read back");
    const std::shared_ptr<JsonObject> view = std::make_shared<JsonObject>(*sut);
    sut->getTree();
    require(view->toString() == written, "the tree is the same as the text");
    require(readAll(*view) == hasNumber, "the values of the tree are those of the text");
    if (!hasNumber && written.find("\\u0000") == std::string::npos) {
        compareWithPoco(text, written);
    }
    return 0;
}
