#include "JsonValue.h"

#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include "JsonDocument.h"

namespace zebutil::detail {

namespace {

bool isContinuationByte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Shortens a string for a message: a limited number of whole characters, on one line.
std::string excerpt(std::string_view text) {
    constexpr std::size_t maximumLength = 60;
    std::string result(text.substr(0, maximumLength));
    if (text.size() > maximumLength) {
        std::size_t end = maximumLength;
        while (end > 0 && isContinuationByte(text[end])) {
            --end;
        }
        result.resize(end);
        result += "...";
    }
    std::replace_if(
        result.begin(), result.end(), [](char byte) { return static_cast<unsigned char>(byte) < 0x20; }, '?');
    return result;
}

std::string describeString(std::string_view text) {
    return "the string \"" + excerpt(text) + "\"";
}

std::string describe(const Poco::Dynamic::Var& value) {
    if (value.isEmpty()) {
        return "null";
    }
    if (value.isBoolean()) {
        return "the boolean " + value.toString();
    }
    if (value.isNumeric()) {
        return "the number " + excerpt(value.toString());
    }
    if (value.isString()) {
        return describeString(value.extract<std::string>());
    }
    if (value.type() == typeid(Poco::JSON::Object::Ptr)) {
        return "an object";
    }
    if (value.type() == typeid(Poco::JSON::Array::Ptr)) {
        return "an array";
    }
    return "a value of a type that JSON does not have";
}

const char* textOf(bool value) {
    return value ? "true" : "false";
}

}  // namespace

bool JsonValue::isNull() const {
    return is(JsonKind::Null) || (value_ && value_->isEmpty());
}

bool JsonValue::isString() const {
    return is(JsonKind::String) || as<std::string>() != nullptr;
}

bool JsonValue::isObject() const {
    return is(JsonKind::Object) || as<Poco::JSON::Object::Ptr>() != nullptr;
}

bool JsonValue::isArray() const {
    return is(JsonKind::Array) || as<Poco::JSON::Array::Ptr>() != nullptr;
}

bool JsonValue::getBool() const {
    if (is(JsonKind::Boolean)) {
        return node_->begin() != 0;
    }
    if (const bool* value = as<bool>()) {
        return *value;
    }
    refuse("a boolean");
}

std::int64_t JsonValue::getInt64() const {
    if (is(JsonKind::Number)) {
        const std::string_view digits = text();
        std::int64_t integer = 0;
        const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), integer);
        if (result.ec == std::errc() && result.ptr == digits.data() + digits.size()) {
            return integer;
        }
    }
    if (const Poco::Int64* value = as<Poco::Int64>()) {
        return *value;
    }
    // Trees that did not come from the parser may hold other integer types.
    if (value_ && value_->isInteger() && !value_->isBoolean()) {
        try {
            return value_->convert<Poco::Int64>();
        } catch (const Poco::RangeException&) {
            refuse("an integer within 64 bits");
        }
    }
    refuse("an integer within 64 bits");
}

std::string JsonValue::getString() const {
    if (is(JsonKind::String) || is(JsonKind::Number)) {
        return std::string(text());
    }
    if (is(JsonKind::Boolean)) {
        return textOf(node_->begin() != 0);
    }
    if (const std::string* value = as<std::string>()) {
        return *value;
    }
    if (value_ && (value_->isNumeric() || value_->isBoolean())) {
        return value_->convert<std::string>();
    }
    refuse("a string, a number or a boolean");
}

std::shared_ptr<JsonObject> JsonValue::getObject() const {
    if (is(JsonKind::Object)) {
        return std::make_shared<JsonObject>(*document_, (*document_)->placeOf(*node_));
    }
    if (const Poco::JSON::Object::Ptr* value = as<Poco::JSON::Object::Ptr>()) {
        return std::make_shared<JsonObject>(*value);
    }
    refuse("an object");
}

std::shared_ptr<JsonArray> JsonValue::getArray() const {
    if (is(JsonKind::Array)) {
        return std::make_shared<JsonArray>(*document_, (*document_)->placeOf(*node_));
    }
    if (const Poco::JSON::Array::Ptr* value = as<Poco::JSON::Array::Ptr>()) {
        return std::make_shared<JsonArray>(*value);
    }
    refuse("an array");
}

std::string_view JsonValue::text() const {
    return (*document_)->text(*node_);
}

void JsonValue::refuse(const char* expected) const {
    const std::string place = key_ ? "\"" + excerpt(*key_) + "\"" : "element " + std::to_string(position_);
    throw JsonException(place + ": expected " + expected + ", found " + describe());
}

std::string JsonValue::describe() const {
    if (node_ == nullptr) {
        return value_ ? detail::describe(*value_) : "nothing";
    }
    switch (node_->kind()) {
        case JsonKind::Null:
            return "null";
        case JsonKind::Boolean:
            return std::string("the boolean ") + textOf(node_->begin() != 0);
        case JsonKind::Number:
            return "the number " + excerpt(text());
        case JsonKind::String:
            return describeString(text());
        case JsonKind::Object:
            return "an object";
        case JsonKind::Array:
            return "an array";
    }
    return "nothing";
}

}  // namespace zebutil::detail
