#include "JsonTree.h"

#include <charconv>
#include <string>
#include <string_view>
#include <system_error>

#include "JsonDocument.h"
#include "JsonPocoNumber.h"

namespace zebutil::detail {

namespace {

using Poco::Dynamic::Var;

template <typename T>
bool isExactly(std::string_view text, T& integer) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), integer);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

Var numberOf(std::string_view text) {
    Poco::Int64 integer = 0;
    if (isExactly(text, integer)) {
        return integer;
    }
    Poco::UInt64 unsignedInteger = 0;
    if (isExactly(text, unsignedInteger)) {
        return unsignedInteger;
    }
    return JsonPocoNumber{std::string(text)};
}

}  // namespace

JsonTree::JsonTree(const JsonDocument& document) : document_(document) {
    addObject(document.node(document.root()));
}

Poco::JSON::Object::Ptr JsonTree::addObject(const JsonNode& node) {
    Poco::JSON::Object::Ptr object = new Poco::JSON::Object;
    const JsonNode* key = document_.members(node);
    for (std::uint32_t i = 0; i < node.size(); ++i, key += 2) {
        object->set(std::string(document_.text(key[0])), valueOf(key[1]));
    }
    return objects_.emplace(document_.placeOf(node), object).first->second;
}

Poco::JSON::Array::Ptr JsonTree::addArray(const JsonNode& node) {
    Poco::JSON::Array::Ptr array = new Poco::JSON::Array;
    const JsonNode* element = document_.elements(node);
    for (std::uint32_t i = 0; i < node.size(); ++i, ++element) {
        array->add(valueOf(*element));
    }
    return arrays_.emplace(document_.placeOf(node), array).first->second;
}

Var JsonTree::valueOf(const JsonNode& node) {
    switch (node.kind()) {
        case JsonKind::Null:
            break;
        case JsonKind::Boolean:
            return node.begin() != 0;
        case JsonKind::Number:
            return numberOf(document_.text(node));
        case JsonKind::String:
            return std::string(document_.text(node));
        case JsonKind::Object:
            return addObject(node);
        case JsonKind::Array:
            return addArray(node);
    }
    return {};
}

}  // namespace zebutil::detail
