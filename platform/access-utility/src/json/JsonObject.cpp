#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <sstream>
#include <utility>

#include "JsonDocument.h"
#include "JsonTree.h"
#include "JsonValue.h"
#include "JsonWriter.h"

namespace zebutil {

using detail::JsonNode;
using detail::JsonValue;

namespace {

JsonValue findInTree(const Poco::JSON::Object& tree, const std::string& key) {
    // Poco's own look-up copies the value. Among few keys, a linear search costs less.
    constexpr std::size_t kFewKeys = 16;
    if (tree.size() <= kFewKeys) {
        const auto found = std::find_if(tree.begin(), tree.end(),
                                        [&key](const auto& member) { return member.first == key; });
        return {found == tree.end() ? nullptr : &found->second, key};
    }
    if (!tree.has(key)) {
        return {nullptr, key};
    }
    return {tree.get(key), key};
}

}  // namespace

std::shared_ptr<JsonObject> JsonObject::parse(std::string_view text) {
    auto document = detail::JsonDocument::parse(text, kMaximumDepth);
    const std::uint32_t root = document->root();
    return std::make_shared<JsonObject>(std::move(document), root);
}

void JsonObject::check(std::string_view text) {
    detail::JsonDocument::check(text, kMaximumDepth);
}

void JsonObject::checkValue(std::string_view text) {
    detail::JsonDocument::checkValue(text, kMaximumDepth);
}

JsonObject::JsonObject() : object_(new Poco::JSON::Object) {}

JsonObject::JsonObject(Poco::JSON::Object::Ptr object) : object_(std::move(object)) {
    if (object_.isNull()) {
        throw JsonException("expected an object, found a null pointer");
    }
}

JsonObject::JsonObject(detail::JsonDocumentHold document, std::uint32_t place)
    : document_(std::move(document)), place_(place) {}

bool JsonObject::has(const std::string& key) const {
    if (const Poco::JSON::Object* const tree = treeIfMade()) {
        return tree->has(key);
    }
    return document_->find(document_->node(place_), key) != nullptr;
}

bool JsonObject::isNull(const std::string& key) const {
    return find(key).isNull();
}

bool JsonObject::isString(const std::string& key) const {
    return find(key).isString();
}

bool JsonObject::isObject(const std::string& key) const {
    return find(key).isObject();
}

bool JsonObject::isArray(const std::string& key) const {
    return find(key).isArray();
}

bool JsonObject::getBool(const std::string& key) const {
    return find(key).getBool();
}

std::int64_t JsonObject::getInt64(const std::string& key) const {
    return find(key).getInt64();
}

std::string JsonObject::getString(const std::string& key) const {
    return find(key).getString();
}

std::shared_ptr<JsonObject> JsonObject::getObject(const std::string& key) const {
    return find(key).getObject();
}

std::shared_ptr<JsonArray> JsonObject::getArray(const std::string& key) const {
    return find(key).getArray();
}

void JsonObject::setBool(const std::string& key, bool value) {
    treeToChange()->set(key, value);
}

void JsonObject::setInt64(const std::string& key, std::int64_t value) {
    treeToChange()->set(key, Poco::Int64{value});
}

void JsonObject::setString(const std::string& key, const std::string& value) {
    treeToChange()->set(key, value);
}

void JsonObject::setObject(const std::string& key, const JsonObject& value) {
    treeToChange()->set(key, value.getTree());
}

void JsonObject::setArray(const std::string& key, const JsonArray& value) {
    treeToChange()->set(key, value.getTree());
}

std::vector<std::string> JsonObject::getKeys() const {
    if (const Poco::JSON::Object* const tree = treeIfMade()) {
        return tree->getNames();
    }
    const JsonNode& object = document_->node(place_);
    const JsonNode* key = document_->members(object);
    std::vector<std::string> keys;
    keys.reserve(object.size());
    for (std::uint32_t i = 0; i < object.size(); ++i, key += 2) {
        keys.emplace_back(document_->text(*key));
    }
    return keys;
}

std::string JsonObject::toString() const {
    if (const Poco::JSON::Object* const tree = treeIfMade()) {
        std::ostringstream text;
        tree->stringify(text);
        return text.str();
    }
    return detail::writeJson(*document_, document_->node(place_));
}

const Poco::JSON::Object::Ptr& JsonObject::getTree() const {
    return document_ ? document_->tree().object(place_) : object_;
}

const Poco::JSON::Object* JsonObject::treeIfMade() const {
    if (!document_) {
        return object_.get();
    }
    const detail::JsonTree* const tree = document_->treeIfMade();
    return tree == nullptr ? nullptr : tree->object(place_).get();
}

JsonValue JsonObject::find(const std::string& key) const {
    if (const Poco::JSON::Object* const tree = treeIfMade()) {
        return findInTree(*tree, key);
    }
    return {document_, document_->find(document_->node(place_), key), key};
}

}  // namespace zebutil
