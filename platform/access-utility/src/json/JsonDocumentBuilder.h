#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "JsonNode.h"

namespace zebutil::detail {

/// Puts a document together from its values in the order of the text. Allocates nothing: finished nodes grow
/// from one end of the given memory, and the children of containers that are still open from the other. There
/// is room for all because every node is in one place at a time.
class JsonDocumentBuilder {
 public:
    /// @param room  at least the number of values and keys in the text
    /// @param texts at least as many bytes as the text has
    JsonDocumentBuilder(JsonNode* nodes, std::size_t room, char* texts)
        : nodes_(nodes), open_(nodes + room), texts_(texts) {}

    void addNull() { add(JsonKind::Null, 0, 0); }
    void addBoolean(bool value) { add(JsonKind::Boolean, value ? 1 : 0, 0); }
    void addNumber(std::string_view text) {
        beginText();
        append(text);
        endText(JsonKind::Number);
    }

    /// A string or a key comes in pieces.
    void beginString() { beginText(); }
    void append(std::string_view piece) {
        std::memcpy(texts_ + textSize_, piece.data(), piece.size());
        textSize_ += piece.size();
    }
    void append(char byte) { texts_[textSize_++] = byte; }
    void endString() {
        endText(JsonKind::String);
        // A gap, for which the quotes left room: no two keys begin at the same place, even empty ones.
        ++textSize_;
    }

    /// Makes an array of the last `count` values.
    void endArray(std::size_t count) {
        putInOrder(count);
        add(JsonKind::Array, finish(count, count), count);
    }

    /// Makes an object of the last `count` keys and values.
    void endObject(std::size_t count);

    /// Makes the last value the root of the document.
    void endDocument() { nodes_[finished_++] = *open_++; }

    /// After the end of the document. The root is the last of the nodes.
    std::size_t nodeCount() const { return finished_; }
    std::size_t textSize() const { return textSize_; }

 private:
    void add(JsonKind kind, std::size_t begin, std::size_t size) { *--open_ = JsonNode(kind, begin, size); }

    void beginText() { textBegin_ = textSize_; }
    void endText(JsonKind kind) { add(kind, textBegin_, textSize_ - textBegin_); }

    /// Brings the last `count` nodes into their order in the text; the last one stands in front.
    void putInOrder(std::size_t count) { std::reverse(open_, open_ + count); }

    /// Moves the first `kept` of the last `count` nodes to the finished ones, forgets the others, and returns
    /// where they begin.
    std::size_t finish(std::size_t count, std::size_t kept) {
        const std::size_t begin = finished_;
        std::memmove(nodes_ + begin, open_, kept * sizeof(JsonNode));
        finished_ += kept;
        open_ += count;
        return begin;
    }

    JsonNode* nodes_;
    std::size_t finished_ = 0;
    JsonNode* open_;
    char* texts_;
    std::size_t textSize_ = 0;
    std::size_t textBegin_ = 0;
};

}  // namespace zebutil::detail
