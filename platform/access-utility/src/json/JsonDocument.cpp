#include "JsonDocument.h"

#include <zebutil/JsonException.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "JsonDocumentBuilder.h"
#include "JsonNodeCount.h"
#include "JsonReader.h"
#include "JsonTree.h"

namespace zebutil::detail {

namespace {

/// Texts up to this size are read into memory of the stack first, which costs less than counting their nodes.
constexpr std::size_t kSmallTextSize = 2048;
constexpr std::size_t kMostNodesOfSmallText = mostJsonNodes(kSmallTextSize);

/// Up to this number of members, comparing all of them costs less than halving.
constexpr std::size_t kFewMembers = 8;

void refuseTooLong(std::string_view text) {
    if (text.size() > JsonDocument::kMaximumTextSize) {
        throw JsonException("JSON: expected at most " + std::to_string(JsonDocument::kMaximumTextSize) +
                            " bytes, found " + std::to_string(text.size()));
    }
}

}  // namespace

JsonDocumentHold JsonDocument::parse(std::string_view text, int maximumDepth) {
    refuseTooLong(text);
    return text.size() <= kSmallTextSize ? readSmall(text, maximumDepth) : readLarge(text, maximumDepth);
}

void JsonDocument::check(std::string_view text, int maximumDepth) {
    refuseTooLong(text);
    checkJson(text, maximumDepth);
}

void JsonDocument::checkValue(std::string_view text, int maximumDepth) {
    refuseTooLong(text);
    checkJsonValue(text, maximumDepth);
}

JsonDocumentHold JsonDocument::readSmall(std::string_view text, int maximumDepth) {
    JsonNode nodes[kMostNodesOfSmallText];
    char texts[kSmallTextSize];
    JsonDocumentBuilder builder(nodes, kMostNodesOfSmallText, texts);
    readJson(text, maximumDepth, builder);
    JsonDocument* const document = allocate(builder.nodeCount(), builder.textSize());
    std::copy_n(nodes, builder.nodeCount(), document->nodes());
    std::copy_n(texts, builder.textSize(), document->texts());
    document->root_ = static_cast<std::uint32_t>(builder.nodeCount() - 1);
    return JsonDocumentHold(document);
}

JsonDocumentHold JsonDocument::readLarge(std::string_view text, int maximumDepth) {
    const std::size_t nodeCount = mostJsonNodes(text);
    JsonDocument* const document = allocate(nodeCount, text.size());
    JsonDocumentHold hold(document);
    JsonDocumentBuilder builder(document->nodes(), nodeCount, document->texts());
    readJson(text, maximumDepth, builder);
    document->root_ = static_cast<std::uint32_t>(builder.nodeCount() - 1);
    return hold;
}

JsonDocument* JsonDocument::allocate(std::size_t roomForNodes, std::size_t roomForTexts) {
    void* const memory =
        ::operator new(sizeof(JsonDocument) + roomForNodes * sizeof(JsonNode) + roomForTexts);
    return new (memory) JsonDocument(static_cast<std::uint32_t>(roomForNodes));
}

JsonDocument::~JsonDocument() {
    delete tree_.load(std::memory_order_relaxed);
}

const JsonNode* JsonDocument::find(const JsonNode& object, std::string_view key) const {
    const JsonNode* first = members(object);
    std::size_t count = object.size();
    while (count > kFewMembers) {
        const std::size_t half = count / 2;
        if (text(first[2 * half]) <= key) {
            first += 2 * half;
            count -= half;
        } else {
            count = half;
        }
    }
    for (const JsonNode* const last = first + 2 * count; first != last; first += 2) {
        if (text(*first) == key) {
            return first + 1;
        }
    }
    return nullptr;
}

const JsonTree& JsonDocument::tree() const {
    if (const JsonTree* const made = treeIfMade()) {
        return *made;
    }
    auto mine = std::make_unique<const JsonTree>(*this);
    // Another thread may have made one meanwhile; then that one counts.
    const JsonTree* current = nullptr;
    if (tree_.compare_exchange_strong(current, mine.get(), std::memory_order_acq_rel)) {
        return *mine.release();
    }
    return *current;
}

// ------------------------------------------------------------------------------------------------- holds

JsonDocumentHold::JsonDocumentHold(const JsonDocumentHold& other) noexcept : document_(other.document_) {
    if (document_ != nullptr) {
        document_->holds_.fetch_add(1, std::memory_order_relaxed);
    }
}

JsonDocumentHold::JsonDocumentHold(JsonDocumentHold&& other) noexcept
    : document_(std::exchange(other.document_, nullptr)) {}

JsonDocumentHold& JsonDocumentHold::operator=(JsonDocumentHold other) noexcept {
    std::swap(document_, other.document_);
    return *this;
}

JsonDocumentHold::~JsonDocumentHold() {
    if (document_ != nullptr && document_->holds_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        auto* const memory = const_cast<JsonDocument*>(document_);
        memory->~JsonDocument();
        ::operator delete(memory);
    }
}

}  // namespace zebutil::detail
