#pragma once

#include <Poco/JSON/Array.h>
#include <zebutil/Export.h>
#include <zebutil/JsonDocumentHold.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace zebutil {

class JsonObject;

namespace detail {
class JsonValue;
}

/// A JSON array, as strict as `JsonObject` and shared in the same way. Positions count from 0. A getter
/// throws `JsonException` for a position past the end, as it does for a value of the wrong type.
class ZEBUTIL_EXPORT JsonArray {
 public:
    /// An empty array.
    JsonArray();

    /// A view of `array`. Throws `JsonException` if it is null.
    explicit JsonArray(Poco::JSON::Array::Ptr array);

    std::size_t size() const;

    bool isNull(std::size_t position) const;
    bool isString(std::size_t position) const;
    bool isObject(std::size_t position) const;
    bool isArray(std::size_t position) const;

    /// The same as the getters of the same name in `JsonObject`.
    bool getBool(std::size_t position) const;
    std::int64_t getInt64(std::size_t position) const;
    std::string getString(std::size_t position) const;
    std::shared_ptr<JsonObject> getObject(std::size_t position) const;
    std::shared_ptr<JsonArray> getArray(std::size_t position) const;

    /// Each appends an element. Objects and arrays are shared, not copied.
    void addBool(bool value);
    void addInt64(std::int64_t value);
    void addString(const std::string& value);
    void addObject(const JsonObject& value);
    void addArray(const JsonArray& value);

    /// The JSON text, without white space.
    std::string toString() const;

    /// The array as Poco's, from now on the one that all views share; never null.
    const Poco::JSON::Array::Ptr& getTree() const;

    /// A view of the array at `place`. For the getters only.
    JsonArray(detail::JsonDocumentHold document, std::uint32_t place);

 private:
    detail::JsonValue find(std::size_t position) const;
    Poco::JSON::Array::Ptr treeToChange() { return getTree(); }
    /// Null as long as the document is as it was parsed.
    const Poco::JSON::Array* treeIfMade() const;

    // Either a place in a parsed document, or an array that was not parsed.
    detail::JsonDocumentHold document_;
    std::uint32_t place_ = 0;
    Poco::JSON::Array::Ptr array_;
};

}  // namespace zebutil
