#include "JsonValue.h"

#include <zebutil/JsonException.h>

#include <algorithm>

namespace zebutil::detail {

namespace {

bool isContinuationByte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Shortens a string for a message: a limited number of whole characters, on one line.
std::string excerpt(const std::string& text) {
    constexpr std::size_t maximumLength = 60;
    std::string result = text;
    if (text.size() > maximumLength) {
        std::size_t end = maximumLength;
        while (end > 0 && isContinuationByte(text[end])) {
            --end;
        }
        result = text.substr(0, end) + "...";
    }
    std::replace_if(
        result.begin(), result.end(), [](char byte) { return static_cast<unsigned char>(byte) < 0x20; }, '?');
    return result;
}

std::string describe(const Poco::Dynamic::Var& value) {
    if (value.isEmpty()) {
        return "null";
    }
    if (value.isBoolean()) {
        return "the boolean " + value.toString();
    }
    if (value.isNumeric()) {
        return "the number " + value.toString();
    }
    if (value.isString()) {
        return "the string \"" + excerpt(value.extract<std::string>()) + "\"";
    }
    if (value.type() == typeid(Poco::JSON::Object::Ptr)) {
        return "an object";
    }
    if (value.type() == typeid(Poco::JSON::Array::Ptr)) {
        return "an array";
    }
    return "a value of a type that JSON does not have";
}

}  // namespace

bool JsonValue::isNull() const {
    return value_ && value_->isEmpty();
}

bool JsonValue::isString() const {
    return as<std::string>() != nullptr;
}

bool JsonValue::isObject() const {
    return as<Poco::JSON::Object::Ptr>() != nullptr;
}

bool JsonValue::isArray() const {
    return as<Poco::JSON::Array::Ptr>() != nullptr;
}

bool JsonValue::getBool() const {
    if (const bool* value = as<bool>()) {
        return *value;
    }
    refuse("a boolean");
}

std::int64_t JsonValue::getInt64() const {
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
    if (const std::string* value = as<std::string>()) {
        return *value;
    }
    if (value_ && (value_->isNumeric() || value_->isBoolean())) {
        return value_->convert<std::string>();
    }
    refuse("a string, a number or a boolean");
}

Poco::JSON::Object::Ptr JsonValue::getObject() const {
    if (const Poco::JSON::Object::Ptr* value = as<Poco::JSON::Object::Ptr>()) {
        return *value;
    }
    refuse("an object");
}

Poco::JSON::Array::Ptr JsonValue::getArray() const {
    if (const Poco::JSON::Array::Ptr* value = as<Poco::JSON::Array::Ptr>()) {
        return *value;
    }
    refuse("an array");
}

void JsonValue::refuse(const char* expected) const {
    const std::string place = key_ ? "\"" + excerpt(*key_) + "\"" : "element " + std::to_string(position_);
    throw JsonException(place + ": expected " + expected + ", found " +
                        (value_ ? describe(*value_) : "nothing"));
}

}  // namespace zebutil::detail
