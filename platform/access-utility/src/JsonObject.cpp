#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <sstream>
#include <utility>

#include "JsonReader.h"
#include "JsonValue.h"

namespace zebutil {

using detail::JsonValue;

std::shared_ptr<JsonObject> JsonObject::parse(std::string_view text) {
    return std::make_shared<JsonObject>(detail::readJsonObject(text, kMaximumDepth));
}

JsonObject::JsonObject() : object_(new Poco::JSON::Object) {}

JsonObject::JsonObject(Poco::JSON::Object::Ptr object) : object_(std::move(object)) {
    if (object_.isNull()) {
        throw JsonException("expected an object, found a null pointer");
    }
}

bool JsonObject::has(const std::string& key) const {
    return object_->has(key);
}

bool JsonObject::isNull(const std::string& key) const {
    return JsonValue(find(key), key).isNull();
}

bool JsonObject::isString(const std::string& key) const {
    return JsonValue(find(key), key).isString();
}

bool JsonObject::isObject(const std::string& key) const {
    return JsonValue(find(key), key).isObject();
}

bool JsonObject::isArray(const std::string& key) const {
    return JsonValue(find(key), key).isArray();
}

bool JsonObject::getBool(const std::string& key) const {
    return JsonValue(find(key), key).getBool();
}

std::int64_t JsonObject::getInt64(const std::string& key) const {
    return JsonValue(find(key), key).getInt64();
}

std::string JsonObject::getString(const std::string& key) const {
    return JsonValue(find(key), key).getString();
}

std::shared_ptr<JsonObject> JsonObject::getObject(const std::string& key) const {
    return std::make_shared<JsonObject>(JsonValue(find(key), key).getObject());
}

std::shared_ptr<JsonArray> JsonObject::getArray(const std::string& key) const {
    return std::make_shared<JsonArray>(JsonValue(find(key), key).getArray());
}

void JsonObject::setBool(const std::string& key, bool value) {
    object_->set(key, value);
}

void JsonObject::setInt64(const std::string& key, std::int64_t value) {
    object_->set(key, Poco::Int64{value});
}

void JsonObject::setString(const std::string& key, const std::string& value) {
    object_->set(key, value);
}

void JsonObject::setObject(const std::string& key, const JsonObject& value) {
    object_->set(key, value.object_);
}

void JsonObject::setArray(const std::string& key, const JsonArray& value) {
    object_->set(key, value.getTree());
}

std::vector<std::string> JsonObject::getKeys() const {
    return object_->getNames();
}

std::string JsonObject::toString() const {
    std::ostringstream text;
    object_->stringify(text);
    return text.str();
}

const Poco::Dynamic::Var* JsonObject::find(const std::string& key) const {
    // Poco's own look-up copies the value. Elements have few keys, so a linear search costs less.
    for (const auto& [name, value] : *object_) {
        if (name == key) {
            return &value;
        }
    }
    return nullptr;
}

}  // namespace zebutil
