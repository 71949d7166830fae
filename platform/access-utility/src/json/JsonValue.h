#pragma once

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <zebutil/JsonDocumentHold.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "JsonNode.h"

namespace zebutil {
class JsonArray;
class JsonObject;
}  // namespace zebutil

namespace zebutil::detail {

/// A value in a document or in a tree of Poco's, with the key or position where it was looked up. This is the
/// only place that decides what the getters of `JsonObject` and `JsonArray` accept, because Poco's own
/// conversions guess.
class JsonValue {
 public:
    /// The value under a key; `value` or `node` is null if the key is missing.
    JsonValue(std::nullptr_t, const std::string& key) : key_(&key) {}
    JsonValue(const Poco::Dynamic::Var* value, const std::string& key) : value_(value), key_(&key) {}
    JsonValue(const Poco::Dynamic::Var& temporary, const std::string& key)
        : copy_(temporary), value_(&copy_), key_(&key) {}
    JsonValue(const JsonDocumentHold& document, const JsonNode* node, const std::string& key)
        : document_(&document), node_(node), key_(&key) {}
    /// The element of an array; `value` or `node` is null if `position` is past the end.
    JsonValue(const Poco::Dynamic::Var* value, std::size_t position) : value_(value), position_(position) {}
    JsonValue(const JsonDocumentHold& document, const JsonNode* node, std::size_t position)
        : document_(&document), node_(node), position_(position) {}

    JsonValue(const JsonValue&) = delete;
    JsonValue& operator=(const JsonValue&) = delete;

    bool isNull() const;
    bool isString() const;
    bool isObject() const;
    bool isArray() const;

    bool getBool() const;
    std::int64_t getInt64() const;
    std::string getString() const;
    std::shared_ptr<JsonObject> getObject() const;
    std::shared_ptr<JsonArray> getArray() const;

 private:
    [[noreturn]] void refuse(const char* expected) const;
    std::string describe() const;

    bool is(JsonKind kind) const { return node_ != nullptr && node_->kind() == kind; }
    std::string_view text() const;

    template <typename T>
    const T* as() const {
        return value_ && value_->type() == typeid(T) ? &value_->extract<T>() : nullptr;
    }

    // Either in a tree or in a document. Both pointers are null if there is no value.
    const Poco::Dynamic::Var copy_;
    const Poco::Dynamic::Var* value_ = nullptr;
    const JsonDocumentHold* document_ = nullptr;
    const JsonNode* node_ = nullptr;

    const std::string* key_ = nullptr;
    std::size_t position_ = 0;
};

}  // namespace zebutil::detail
