#include "JsonDocumentBuilder.h"

namespace zebutil::detail {

namespace {

/// A key and its value, as they stand beside each other.
struct Member {
    JsonNode key;
    JsonNode value;
};
static_assert(sizeof(Member) == 2 * sizeof(JsonNode));

/// Compares keys, most of which differ in their first byte or in their size.
class Keys {
 public:
    explicit Keys(const char* texts) : texts_(texts) {}

    /// Orders members by key, and those of one key as they stand in the text.
    bool operator()(const Member& left, const Member& right) const {
        const std::string_view leftText = textOf(left);
        const std::string_view rightText = textOf(right);
        if (!leftText.empty() && !rightText.empty() && leftText.front() != rightText.front()) {
            return static_cast<unsigned char>(leftText.front()) <
                   static_cast<unsigned char>(rightText.front());
        }
        const int order = leftText.compare(rightText);
        return order != 0 ? order < 0 : left.key.begin() < right.key.begin();
    }

    bool areSame(const Member& left, const Member& right) const {
        return left.key.size() == right.key.size() && textOf(left) == textOf(right);
    }

 private:
    std::string_view textOf(const Member& member) const {
        return {texts_ + member.key.begin(), member.key.size()};
    }

    const char* texts_;
};

}  // namespace

void JsonDocumentBuilder::endObject(std::size_t count) {
    putInOrder(2 * count);
    auto* const first = reinterpret_cast<Member*>(open_);
    Member* const last = first + count;
    const Keys keys(texts_);
    if (!std::is_sorted(first, last, keys)) {
        std::sort(first, last, keys);
    }
    // Of members with the same key, the last one counts.
    Member* kept = first;
    for (const Member* member = first; member != last; ++member) {
        if (member + 1 == last || !keys.areSame(*member, *(member + 1))) {
            *kept++ = *member;
        }
    }
    const auto keptCount = static_cast<std::size_t>(kept - first);
    add(JsonKind::Object, finish(2 * count, 2 * keptCount), keptCount);
}

}  // namespace zebutil::detail
