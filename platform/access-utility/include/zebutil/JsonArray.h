#pragma once

#include <Poco/JSON/Array.h>
#include <zebutil/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace zebutil {

class JsonObject;

/// A JSON array, with the same strictness and sharing as `JsonObject`. Positions count from 0; one past the
/// end throws `JsonException` as a value of the wrong kind does.
class ZEBUTIL_EXPORT JsonArray {
 public:
    /// An array without elements.
    JsonArray();

    /// A view of `array`. Throws `JsonException` when it is null.
    explicit JsonArray(Poco::JSON::Array::Ptr array);

    std::size_t size() const;

    bool isNull(std::size_t position) const;
    bool isString(std::size_t position) const;
    bool isObject(std::size_t position) const;
    bool isArray(std::size_t position) const;

    /// As the getters of the same name of `JsonObject`.
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

    /// The tree itself, never null.
    const Poco::JSON::Array::Ptr& getTree() const { return array_; }

 private:
    const Poco::Dynamic::Var* find(std::size_t position) const;

    Poco::JSON::Array::Ptr array_;
};

}  // namespace zebutil
