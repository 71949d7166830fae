#pragma once

#include <cstddef>
#include <cstdint>

namespace zebutil::detail {

enum class JsonKind : std::uint32_t { Null, Boolean, Number, String, Object, Array };

/// One value of a document, or one key of an object. Eight bytes, because a text of two bytes per value must
/// not grow to many times its size.
class JsonNode {
 public:
    static constexpr std::size_t kMaximumSize = 0x1FFFFFFF;

    /// Not initialised.
    JsonNode() = default;
    JsonNode(JsonKind kind, std::size_t begin, std::size_t size)
        : begin_(static_cast<std::uint32_t>(begin)),
          sizeAndKind_(static_cast<std::uint32_t>(size) << kKindBits | static_cast<std::uint32_t>(kind)) {}

    JsonKind kind() const { return static_cast<JsonKind>(sizeAndKind_ & ((1U << kKindBits) - 1)); }

    /// Of a number or a string: where its text begins. Of an array: which node is its first element. Of an
    /// object: which node is its first key. Of a boolean: 1 if it is true.
    std::uint32_t begin() const { return begin_; }
    /// The bytes of a text, the elements of an array, or the members of an object.
    std::uint32_t size() const { return sizeAndKind_ >> kKindBits; }

 private:
    static constexpr unsigned kKindBits = 3;

    std::uint32_t begin_;
    std::uint32_t sizeAndKind_;
};
static_assert(sizeof(JsonNode) == 8);

}  // namespace zebutil::detail
