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

/// A JSON object. A wrapper of a shared `Poco::JSON::Object`: copies, and the objects and arrays got out of
/// it, are views of one tree, and no getter copies more than the value that it returns.
///
/// The getters are strict, since a value must never be guessed. One that cannot deliver throws
/// `JsonException`, for a missing key too.
///
/// Thread safety: any number of threads may read a tree at once; one that changes it must be alone.
class ZEBUTIL_EXPORT JsonObject {
 public:
    /// Objects and arrays in a text may be nested this deep.
    static constexpr int maximumDepth = 64;

    /// Reads a whole JSON text, UTF-8, which must be one object. A repeated key keeps its last value.
    /// Throws `JsonException`, which says what is wrong.
    static std::shared_ptr<JsonObject> parse(std::string_view text);

    /// An object without keys.
    JsonObject();

    /// A view of `object`. Throws `JsonException` when it is null.
    explicit JsonObject(Poco::JSON::Object::Ptr object);

    /// Whether the key is there, with whatever value, null included.
    bool has(const std::string& key) const;
    /// What kind of value the key has; false when it is missing.
    bool isNull(const std::string& key) const;
    bool isString(const std::string& key) const;
    bool isObject(const std::string& key) const;
    bool isArray(const std::string& key) const;

    /// A JSON boolean, nothing else.
    bool getBool(const std::string& key) const;
    /// A JSON integer within 64 bits, signed; 1.0 is none.
    std::int64_t getInt64(const std::string& key) const;
    /// A string, or the text of a number or boolean as it stands in the JSON.
    std::string getString(const std::string& key) const;
    std::shared_ptr<JsonObject> getObject(const std::string& key) const;
    std::shared_ptr<JsonArray> getArray(const std::string& key) const;

    /// Each puts a value under the key, in the place of an earlier one. Objects and arrays are shared, not
    /// copied.
    void setBool(const std::string& key, bool value);
    void setInt64(const std::string& key, std::int64_t value);
    void setString(const std::string& key, const std::string& value);
    void setObject(const std::string& key, const JsonObject& value);
    void setArray(const std::string& key, const JsonArray& value);

    /// The keys, sorted by their bytes.
    std::vector<std::string> getKeys() const;

    /// The JSON text, without white space, keys in the order of `getKeys`.
    std::string toString() const;

    /// The tree itself, never null.
    const Poco::JSON::Object::Ptr& getTree() const { return object_; }

 private:
    const Poco::Dynamic::Var* find(const std::string& key) const;

    Poco::JSON::Object::Ptr object_;
};

}  // namespace zebutil
