#pragma once

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <cstdint>
#include <unordered_map>

#include "JsonNode.h"

namespace zebutil::detail {

class JsonDocument;

/// A document as a tree of Poco's, with the object or array that became of each place in the document.
/// Integers that fit in 64 bits are integers in it, other numbers are `JsonPocoNumber`s.
class JsonTree {
 public:
    explicit JsonTree(const JsonDocument& document);

    /// Of a place where the document has an object; never null.
    const Poco::JSON::Object::Ptr& object(std::uint32_t place) const { return objects_.at(place); }
    /// Of a place where the document has an array; never null.
    const Poco::JSON::Array::Ptr& array(std::uint32_t place) const { return arrays_.at(place); }

 private:
    Poco::JSON::Object::Ptr addObject(const JsonNode& node);
    Poco::JSON::Array::Ptr addArray(const JsonNode& node);
    Poco::Dynamic::Var valueOf(const JsonNode& node);

    const JsonDocument& document_;
    std::unordered_map<std::uint32_t, Poco::JSON::Object::Ptr> objects_;
    std::unordered_map<std::uint32_t, Poco::JSON::Array::Ptr> arrays_;
};

}  // namespace zebutil::detail
