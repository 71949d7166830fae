#pragma once

#include <Poco/JSON/Object.h>
#include <zebutil/Export.h>
#include <zebutil/JsonDocumentHold.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zebutil {

class JsonArray;

namespace detail {
class JsonValue;
}

/// A JSON object. Copies of it, and the objects and arrays taken from it, are views of one document: a change
/// of one is seen in the others. No getter copies more than the value that it returns.
///
/// A parsed document takes at most five times the memory of its text, in one piece. The first setter and the
/// first `getTree` of any view make a tree of Poco objects out of the whole document, which takes much more.
///
/// The getters are strict, because a value must never be guessed. A getter throws `JsonException` if the key
/// is missing or the value has another type.
///
/// Thread safety: any number of threads may read a document at the same time, also through `getTree`. While a
/// thread changes it, no other thread may use it.
class ZEBUTIL_EXPORT JsonObject {
 public:
    /// How deep objects and arrays may be nested in a text.
    static constexpr int kMaximumDepth = 64;

    /// Parses a complete JSON text in UTF-8, which must be one object of at most 64 MiB. If a key is
    /// repeated, its last value counts. Throws `JsonException` with the place and the reason if the text is
    /// invalid.
    static std::shared_ptr<JsonObject> parse(std::string_view text);

    /// Throws what `parse` throws for this text, but builds nothing.
    static void check(std::string_view text);
    /// The same for a text that is a value of any kind, not only an object.
    static void checkValue(std::string_view text);

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

    /// The object as Poco's, from now on the one that all views share; never null.
    const Poco::JSON::Object::Ptr& getTree() const;

    /// A view of the object at `place`. For the getters only.
    JsonObject(detail::JsonDocumentHold document, std::uint32_t place);

 private:
    detail::JsonValue find(const std::string& key) const;
    Poco::JSON::Object::Ptr treeToChange() { return getTree(); }
    /// Null as long as the document is as it was parsed.
    const Poco::JSON::Object* treeIfMade() const;

    // Either a place in a parsed document, or an object that was not parsed.
    detail::JsonDocumentHold document_;
    std::uint32_t place_ = 0;
    Poco::JSON::Object::Ptr object_;
};

}  // namespace zebutil
