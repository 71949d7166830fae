#pragma once

#include <Poco/JSON/Array.h>
#include <zebutil/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace zebutil {

class JsonObject;

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

    /// The underlying Poco array; never null.
    const Poco::JSON::Array::Ptr& getTree() const { return array_; }

 private:
    const Poco::Dynamic::Var* find(std::size_t position) const;

    Poco::JSON::Array::Ptr array_;
};

}  // namespace zebutil
