#include "JsonDocumentBuilder.h"

namespace zebutil::detail {

namespace {

/// A key and its value, as they stand beside each other.
struct Member {
    JsonNode key;
    JsonNode value;
};
static_assert(sizeof(Member) == 2 * sizeof(JsonNode));

/// Orders members by key, and those of one key as they stand in the text.
class ByKey {
 public:
    explicit ByKey(const char* texts) : texts_(texts) {}

    int compare(const Member& left, const Member& right) const {
        return textOf(left.key).compare(textOf(right.key));
    }
    bool operator()(const Member& left, const Member& right) const {
        const int order = compare(left, right);
        return order != 0 ? order < 0 : left.key.begin() < right.key.begin();
    }

 private:
    std::string_view textOf(const JsonNode& key) const { return {texts_ + key.begin(), key.size()}; }

    const char* texts_;
};

}  // namespace

void JsonDocumentBuilder::endObject(std::size_t count) {
    putInOrder(2 * count);
    auto* const first = reinterpret_cast<Member*>(open_);
    Member* const last = first + count;
    const ByKey byKey(texts_);
    if (!std::is_sorted(first, last, byKey)) {
        std::sort(first, last, byKey);
    }
    // Of members with the same key, the last one counts.
    Member* kept = first;
    for (const Member* member = first; member != last; ++member) {
        if (member + 1 == last || byKey.compare(*member, *(member + 1)) != 0) {
            *kept++ = *member;
        }
    }
    const auto keptCount = static_cast<std::size_t>(kept - first);
    add(JsonKind::Object, finish(2 * count, 2 * keptCount), keptCount);
}

}  // namespace zebutil::detail
