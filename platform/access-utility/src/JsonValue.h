#pragma once

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace zebutil::detail {

/// A value in a JSON tree, with the key or position where it was looked up. This is the only place that
/// decides what the getters of `JsonObject` and `JsonArray` accept, because Poco's own conversions guess.
class JsonValue {
 public:
    /// The value under a key; `value` is null if the key is missing.
    JsonValue(const Poco::Dynamic::Var* value, const std::string& key) : value_(value), key_(&key) {}
    /// The element of an array; `value` is null if `position` is past the end.
    JsonValue(const Poco::Dynamic::Var* value, std::size_t position) : value_(value), position_(position) {}

    bool isNull() const;
    bool isString() const;
    bool isObject() const;
    bool isArray() const;

    bool getBool() const;
    std::int64_t getInt64() const;
    std::string getString() const;
    Poco::JSON::Object::Ptr getObject() const;
    Poco::JSON::Array::Ptr getArray() const;

 private:
    [[noreturn]] void refuse(const char* expected) const;

    template <typename T>
    const T* as() const {
        return value_ && value_->type() == typeid(T) ? &value_->extract<T>() : nullptr;
    }

    const Poco::Dynamic::Var* value_;
    const std::string* key_ = nullptr;
    std::size_t position_ = 0;
};

}  // namespace zebutil::detail
