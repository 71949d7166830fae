#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <sstream>
#include <utility>

#include "JsonDocument.h"
#include "JsonTree.h"
#include "JsonValue.h"
#include "JsonWriter.h"

namespace zebutil {

using detail::JsonValue;

JsonArray::JsonArray() : array_(new Poco::JSON::Array) {}

JsonArray::JsonArray(Poco::JSON::Array::Ptr array) : array_(std::move(array)) {
    if (array_.isNull()) {
        throw JsonException("expected an array, found a null pointer");
    }
}

JsonArray::JsonArray(detail::JsonDocumentHold document, std::uint32_t place)
    : document_(std::move(document)), place_(place) {}

std::size_t JsonArray::size() const {
    const Poco::JSON::Array* const tree = treeIfMade();
    return tree != nullptr ? tree->size() : document_->node(place_).size();
}

bool JsonArray::isNull(std::size_t position) const {
    return find(position).isNull();
}

bool JsonArray::isString(std::size_t position) const {
    return find(position).isString();
}

bool JsonArray::isObject(std::size_t position) const {
    return find(position).isObject();
}

bool JsonArray::isArray(std::size_t position) const {
    return find(position).isArray();
}

bool JsonArray::getBool(std::size_t position) const {
    return find(position).getBool();
}

std::int64_t JsonArray::getInt64(std::size_t position) const {
    return find(position).getInt64();
}

std::string JsonArray::getString(std::size_t position) const {
    return find(position).getString();
}

std::shared_ptr<JsonObject> JsonArray::getObject(std::size_t position) const {
    return find(position).getObject();
}

std::shared_ptr<JsonArray> JsonArray::getArray(std::size_t position) const {
    return find(position).getArray();
}

void JsonArray::addBool(bool value) {
    treeToChange()->add(value);
}

void JsonArray::addInt64(std::int64_t value) {
    treeToChange()->add(Poco::Int64{value});
}

void JsonArray::addString(const std::string& value) {
    treeToChange()->add(value);
}

void JsonArray::addObject(const JsonObject& value) {
    treeToChange()->add(value.getTree());
}

void JsonArray::addArray(const JsonArray& value) {
    treeToChange()->add(value.getTree());
}

std::string JsonArray::toString() const {
    if (const Poco::JSON::Array* const tree = treeIfMade()) {
        std::ostringstream text;
        tree->stringify(text);
        return text.str();
    }
    return detail::writeJson(*document_, document_->node(place_));
}

const Poco::JSON::Array::Ptr& JsonArray::getTree() const {
    return document_ ? document_->tree().array(place_) : array_;
}

const Poco::JSON::Array* JsonArray::treeIfMade() const {
    if (!document_) {
        return array_.get();
    }
    const detail::JsonTree* const tree = document_->treeIfMade();
    return tree == nullptr ? nullptr : tree->array(place_).get();
}

JsonValue JsonArray::find(std::size_t position) const {
    if (const Poco::JSON::Array* const tree = treeIfMade()) {
        return {position < tree->size() ? &*(tree->begin() + static_cast<std::ptrdiff_t>(position)) : nullptr,
                position};
    }
    const detail::JsonNode& array = document_->node(place_);
    return {document_, position < array.size() ? document_->elements(array) + position : nullptr, position};
}

}  // namespace zebutil
