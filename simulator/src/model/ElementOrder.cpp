#include "ElementOrder.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>

#include "json/DecimalNumber.h"
#include "json/Json.h"

namespace zebbussim {

namespace {

/// What an element has under a key of "$sortby".
struct SortValue {
    enum Rank { kBoolean, kNumber, kString, kNone };

    Rank rank = kNone;
    bool boolean = false;
    DecimalNumber number;
    std::string_view text;  ///< a string has its quotes
};

SortValue sortValue(const std::optional<std::string_view>& value, ReadAccount& account) {
    SortValue result;
    if (!value || *value == "null" || isObject(*value) || isList(*value)) {
        return result;
    }
    result.text = *value;
    if (*value == "true" || *value == "false") {
        result.rank = SortValue::kBoolean;
        result.boolean = *value == "true";
    } else if (isString(*value)) {
        result.rank = SortValue::kString;
    } else {
        account.spend(value->size());
        result.rank = SortValue::kNumber;
        result.number = DecimalNumber(*value);
    }
    return result;
}

template <typename Value>
int compare(const Value& left, const Value& right) {
    return left < right ? -1 : right < left ? 1 : 0;
}

int compareStrings(std::string_view left, std::string_view right, ReadAccount& account) {
    StringBytes leftBytes(left);
    StringBytes rightBytes(right);
    int leftByte = leftBytes.next();
    int rightByte = rightBytes.next();
    while (leftByte == rightByte && leftByte != StringBytes::kEnd) {
        leftByte = leftBytes.next();
        rightByte = rightBytes.next();
    }
    account.spend(leftBytes.read());
    return compare(leftByte, rightByte);
}

/// Booleans come before numbers, numbers before strings, and those without a value last.
int compareRanked(const SortValue& left, const SortValue& right, ReadAccount& account) {
    if (left.rank != right.rank) {
        return compare(left.rank, right.rank);
    }
    switch (left.rank) {
        case SortValue::kBoolean:
            return compare(left.boolean, right.boolean);
        case SortValue::kNumber:
            account.spend(std::min(left.text.size(), right.text.size()));
            return left.number.compare(right.number);
        case SortValue::kString:
            return compareStrings(left.text, right.text, account);
        case SortValue::kNone:
            break;
    }
    return 0;
}

struct Sorted {
    const Element* element;
    std::vector<SortValue> values;
};

}  // namespace

void sortElements(std::vector<const Element*>& elements, const std::vector<SortKey>& keys,
                  ReadAccount& account) {
    std::vector<Sorted> sorted;
    sorted.reserve(elements.size());
    for (const Element* const element : elements) {
        sorted.push_back({element, {}});
        sorted.back().values.reserve(keys.size());
        for (const SortKey& sortKey : keys) {
            account.spendOnLookup();
            sorted.back().values.push_back(sortValue(element->members.findQuoted(sortKey.key), account));
        }
    }
    std::stable_sort(sorted.begin(), sorted.end(), [&](const Sorted& left, const Sorted& right) {
        for (std::size_t index = 0; index < keys.size(); ++index) {
            const SortValue& leftValue = left.values[index];
            const SortValue& rightValue = right.values[index];
            const int order = compareRanked(leftValue, rightValue, account);
            if (order != 0) {
                const bool oneHasNone =
                    leftValue.rank == SortValue::kNone || rightValue.rank == SortValue::kNone;
                return keys[index].descending && !oneHasNone ? order > 0 : order < 0;
            }
        }
        return false;
    });
    std::transform(sorted.begin(), sorted.end(), elements.begin(),
                   [](const Sorted& each) { return each.element; });
}

}  // namespace zebbussim
