#pragma once

#include <Poco/JSON/Object.h>
#include <zebutil/Export.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zebutil {

class JsonArray;

/// A JSON object, which wraps a shared `Poco::JSON::Object`. Copies of it, and the objects and arrays taken
/// from it, are views of one tree. No getter copies more than the value that it returns.
///
/// The getters are strict, because a value must never be guessed. A getter throws `JsonException` if the key
/// is missing or the value has another type.
///
/// Thread safety: any number of threads may read a tree at the same time. While a thread changes it, no other
/// thread may use it.
class ZEBUTIL_EXPORT JsonObject {
 public:
    /// How deep objects and arrays may be nested in a text.
    static constexpr int kMaximumDepth = 64;

    /// Parses a complete JSON text in UTF-8, which must be one object. If a key is repeated, its last value
    /// counts. Throws `JsonException` with the reason if the text is invalid.
    static std::shared_ptr<JsonObject> parse(std::string_view text);

    /// An empty object.
    JsonObject();

    /// A view of `object`. Throws `JsonException` if it is null.
    explicit JsonObject(Poco::JSON::Object::Ptr object);

    /// Whether the key exists, with any value, including null.
    bool has(const std::string& key) const;
    /// Whether the key has a value of this type; false if the key is missing.
    bool isNull(const std::string& key) const;
    bool isString(const std::string& key) const;
    bool isObject(const std::string& key) const;
    bool isArray(const std::string& key) const;

    /// Accepts only a JSON boolean.
    bool getBool(const std::string& key) const;
    /// Accepts only a JSON integer that fits in 64 bits, signed; 1.0 is not an integer.
    std::int64_t getInt64(const std::string& key) const;
    /// Returns a string, or the text of a number or boolean as written in the JSON.
    std::string getString(const std::string& key) const;
    std::shared_ptr<JsonObject> getObject(const std::string& key) const;
    std::shared_ptr<JsonArray> getArray(const std::string& key) const;

    /// Each sets the value of a key and replaces an earlier value. Objects and arrays are shared, not copied.
    void setBool(const std::string& key, bool value);
    void setInt64(const std::string& key, std::int64_t value);
    void setString(const std::string& key, const std::string& value);
    void setObject(const std::string& key, const JsonObject& value);
    void setArray(const std::string& key, const JsonArray& value);

    /// The keys, sorted by their bytes.
    std::vector<std::string> getKeys() const;

    /// The JSON text, without white space, with the keys in the order of `getKeys`.
    std::string toString() const;

    /// The underlying Poco object; never null.
    const Poco::JSON::Object::Ptr& getTree() const { return object_; }

 private:
    const Poco::Dynamic::Var* find(const std::string& key) const;

    Poco::JSON::Object::Ptr object_;
};

}  // namespace zebutil
