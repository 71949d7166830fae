#pragma once

#include <zebutil/JsonDocumentHold.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "JsonNode.h"

namespace zebutil::detail {

class JsonTree;

/// A parsed document in one piece of memory: this header, the nodes, and the texts that they refer to, with
/// the escapes of strings resolved. The children of a container stand beside each other; those of an object
/// are sorted by key, and each key is there once. Nothing has to be searched from the front.
///
/// What was parsed never changes. Once somebody has asked for Poco's tree, the document has one for good, and
/// its users read and write there instead.
///
/// Thread safety: any number of threads at the same time.
class JsonDocument {
 public:
    /// Far more than any answer of the bus has.
    static constexpr std::size_t kMaximumTextSize = std::size_t{64} * 1024 * 1024;
    static_assert(kMaximumTextSize <= JsonNode::kMaximumSize);

    /// Reads a text as `JsonObject::parse` promises. Allocates once.
    static JsonDocumentHold parse(std::string_view text, int maximumDepth);
    /// Refuses what parse() refuses, without building anything.
    static void check(std::string_view text, int maximumDepth);
    static void checkValue(std::string_view text, int maximumDepth);

    /// Where the outermost object is.
    std::uint32_t root() const { return root_; }
    const JsonNode& node(std::uint32_t place) const { return nodes()[place]; }
    std::uint32_t placeOf(const JsonNode& node) const { return static_cast<std::uint32_t>(&node - nodes()); }

    /// The text of a number, or the content of a string.
    std::string_view text(const JsonNode& node) const { return {texts() + node.begin(), node.size()}; }

    /// The first of an array's elements.
    const JsonNode* elements(const JsonNode& array) const { return nodes() + array.begin(); }
    /// The first key of an object. Each key is followed by its value.
    const JsonNode* members(const JsonNode& object) const { return nodes() + object.begin(); }
    /// The value of a key, or null if the object does not have it.
    const JsonNode* find(const JsonNode& object, std::string_view key) const;

    /// The same as a tree of Poco's, made by the first call.
    const JsonTree& tree() const;
    /// The tree if it was made, or null.
    const JsonTree* treeIfMade() const { return tree_.load(std::memory_order_acquire); }

 private:
    friend class JsonDocumentHold;

    explicit JsonDocument(std::uint32_t roomForNodes) : roomForNodes_(roomForNodes) {}
    ~JsonDocument();
    JsonDocument(const JsonDocument&) = delete;
    JsonDocument& operator=(const JsonDocument&) = delete;

    static JsonDocument* allocate(std::size_t roomForNodes, std::size_t roomForTexts);
    static JsonDocumentHold readSmall(std::string_view text, int maximumDepth);
    static JsonDocumentHold readLarge(std::string_view text, int maximumDepth);

    JsonNode* nodes() { return reinterpret_cast<JsonNode*>(this + 1); }
    const JsonNode* nodes() const { return reinterpret_cast<const JsonNode*>(this + 1); }
    char* texts() { return reinterpret_cast<char*>(nodes() + roomForNodes_); }
    const char* texts() const { return reinterpret_cast<const char*>(nodes() + roomForNodes_); }

    mutable std::atomic<const JsonTree*> tree_ = nullptr;
    mutable std::atomic<std::uint32_t> holds_ = 1;
    const std::uint32_t roomForNodes_;
    std::uint32_t root_ = 0;
};

}  // namespace zebutil::detail
