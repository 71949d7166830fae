#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <sstream>
#include <utility>

#include "JsonValue.h"

namespace zebutil {

using detail::JsonValue;

JsonArray::JsonArray() : array_(new Poco::JSON::Array) {}

JsonArray::JsonArray(Poco::JSON::Array::Ptr array) : array_(std::move(array)) {
    if (array_.isNull()) {
        throw JsonException("expected an array, found a null pointer");
    }
}

std::size_t JsonArray::size() const {
    return array_->size();
}

bool JsonArray::isNull(std::size_t position) const {
    return JsonValue(find(position), position).isNull();
}

bool JsonArray::isString(std::size_t position) const {
    return JsonValue(find(position), position).isString();
}

bool JsonArray::isObject(std::size_t position) const {
    return JsonValue(find(position), position).isObject();
}

bool JsonArray::isArray(std::size_t position) const {
    return JsonValue(find(position), position).isArray();
}

bool JsonArray::getBool(std::size_t position) const {
    return JsonValue(find(position), position).getBool();
}

std::int64_t JsonArray::getInt64(std::size_t position) const {
    return JsonValue(find(position), position).getInt64();
}

std::string JsonArray::getString(std::size_t position) const {
    return JsonValue(find(position), position).getString();
}

std::shared_ptr<JsonObject> JsonArray::getObject(std::size_t position) const {
    return std::make_shared<JsonObject>(JsonValue(find(position), position).getObject());
}

std::shared_ptr<JsonArray> JsonArray::getArray(std::size_t position) const {
    return std::make_shared<JsonArray>(JsonValue(find(position), position).getArray());
}

void JsonArray::addBool(bool value) {
    array_->add(value);
}

void JsonArray::addInt64(std::int64_t value) {
    array_->add(Poco::Int64{value});
}

void JsonArray::addString(const std::string& value) {
    array_->add(value);
}

void JsonArray::addObject(const JsonObject& value) {
    array_->add(value.getTree());
}

void JsonArray::addArray(const JsonArray& value) {
    array_->add(value.array_);
}

std::string JsonArray::toString() const {
    std::ostringstream text;
    array_->stringify(text);
    return text.str();
}

const Poco::Dynamic::Var* JsonArray::find(std::size_t position) const {
    return position < array_->size()
               ? &*(std::as_const(*array_).begin() + static_cast<std::ptrdiff_t>(position))
               : nullptr;
}

}  // namespace zebutil
