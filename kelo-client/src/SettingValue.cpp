#include "SettingValue.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <zebutil/JsonException.h>

#include <cstdlib>
#include <optional>
#include <utility>

namespace kelo_client {

using Poco::Dynamic::Var;
using zebutil::JsonObject;

namespace {

/// Poco's exception `Base`, with a `what()` that says more than the name of its class.
template <typename Base>
class SettingException : public Base {
 public:
    SettingException(const Base& cause, std::string what) : Base(cause), what_(std::move(what)) {}

    const char* what() const noexcept override { return what_.c_str(); }
    Poco::Exception* clone() const override { return new SettingException(*this); }
    void rethrow() const override { throw *this; }

 private:
    std::string what_;
};

template <typename Value>
std::optional<Value> find(const JsonObject& object, const std::string& key,
                          Value (JsonObject::*get)(const std::string&) const) {
    try {
        return (object.*get)(key);
    } catch (const zebutil::JsonException&) {
        return std::nullopt;
    }
}

Var pocoNumber(const std::string& text) {
    if (text.find_first_of(".eE") != std::string::npos) {
        return std::strtod(text.c_str(), nullptr);
    }
    return Poco::UInt64{std::strtoull(text.c_str(), nullptr, 10)};
}

std::string kindOf(const Var& value) {
    if (value.isEmpty()) {
        return "null";
    }
    if (value.type() == typeid(Poco::JSON::Object::Ptr)) {
        return "an object";
    }
    if (value.type() == typeid(Poco::JSON::Array::Ptr)) {
        return "an array";
    }
    if (value.isString()) {
        return "a string";
    }
    if (value.isBoolean()) {
        return value.convert<bool>() ? "true" : "false";
    }
    return "the number " + value.toString();
}

template <typename Value>
Value extracted(const JsonObject& section, const std::string& service, const std::string& key,
                const char* expected) {
    const Var value = pocoValue(section, key);
    const auto place = [&] {
        return "service \"" + service + "\", key \"" + key + "\": expected " + expected + ", found " +
               kindOf(value);
    };
    try {
        return value.extract<Value>();
    } catch (const Poco::BadCastException& exception) {
        throw SettingException(exception, place());
    } catch (const Poco::InvalidAccessException& exception) {
        throw SettingException(exception, place());
    }
}

}  // namespace

Var pocoValue(const JsonObject& object, const std::string& key) {
    if (object.isNull(key)) {
        return {};
    }
    if (object.isString(key)) {
        return object.getString(key);
    }
    if (object.isObject(key)) {
        return Poco::JSON::Object::Ptr();
    }
    if (object.isArray(key)) {
        return Poco::JSON::Array::Ptr();
    }
    if (const auto truth = find(object, key, &JsonObject::getBool)) {
        return *truth;
    }
    if (const auto integer = find(object, key, &JsonObject::getInt64)) {
        return Poco::Int64{*integer};
    }
    return pocoNumber(object.getString(key));
}

std::string stringSetting(const JsonObject& section, const std::string& service, const std::string& key) {
    return extracted<std::string>(section, service, key, "a string");
}

std::int64_t integerSetting(const JsonObject& section, const std::string& service, const std::string& key) {
    return extracted<Poco::Int64>(section, service, key, "an integer of 64 bits");
}

}  // namespace kelo_client
