#include "Query.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <system_error>
#include <utility>

#include "BusError.h"
#include "Json.h"

namespace zebbussim {

namespace {

constexpr int kMaximumExpandLevel = 8;
/// Of the elements that replace references in one answer: limits it when elements refer to each other many
/// times.
constexpr std::size_t kMaximumExpanded = 1024 * 1024;
constexpr std::size_t kMaximumTerms = 256;
constexpr std::size_t kMaximumSortKeys = 16;

std::vector<std::string> splitAtCommas(const std::string& text, const std::string& option) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        if (parts.back().empty()) {
            throw BusError::filterInvalid(option + " has an empty key");
        }
        begin = end + 1;
    }
    return parts;
}

/// The keys, each with its quotes.
std::set<std::string, std::less<>> keySet(const std::string& text, const std::string& option) {
    std::set<std::string, std::less<>> keys;
    for (const std::string& key : splitAtCommas(text, option)) {
        keys.insert(quoted(key));
    }
    return keys;
}

std::uint64_t parseCount(const std::string& text, const std::string& option) {
    std::int64_t value = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0 || text.front() == '-') {
        throw BusError::filterInvalid(option + " must be a decimal integer of 0 or more, but is " +
                                      excerpt(text));
    }
    return static_cast<std::uint64_t>(value);
}

/// The text of a list, with each reference replaced by its uri; nothing if an object in it is not a
/// reference.
std::optional<std::string> listText(std::string_view list) {
    std::string text;
    for (const std::string_view entry : entriesOf(list)) {
        text += text.empty() ? "[" : ",";
        if (!isObject(entry)) {
            text += entry;
        } else if (const auto uri = uriOf(entry)) {
            text += quoted(*uri);
        } else {
            return std::nullopt;
        }
    }
    return text.empty() ? "[]" : text + "]";
}

/// The text that a filter is compared with; nothing for a value that matches no filter.
std::optional<std::string> filterText(std::string_view value) {
    switch (value.front()) {
        case 'n':
            return std::nullopt;
        case '{':
            return uriOf(value);
        case '[':
            return listText(value);
        case '"':
            return stringOf(value);
        default:
            return std::string(value);
    }
}

/// What an element has under a key of "$sortby".
struct SortValue {
    enum Rank { kBoolean, kNumber, kString, kNone };

    Rank rank = kNone;
    std::optional<std::int64_t> integer;
    double number = 0;  ///< also of a boolean
    std::string text;
};

SortValue sortValue(const std::optional<std::string_view>& value) {
    SortValue result;
    if (!value || *value == "null" || isObject(*value) || isList(*value)) {
        return result;
    }
    if (*value == "true" || *value == "false") {
        result.rank = SortValue::kBoolean;
        result.number = *value == "true" ? 1 : 0;
    } else if (const auto text = stringOf(*value)) {
        result.rank = SortValue::kString;
        result.text = *text;
    } else {
        result.rank = SortValue::kNumber;
        std::int64_t integer = 0;
        const char* const end = value->data() + value->size();
        const auto [readTo, error] = std::from_chars(value->data(), end, integer);
        if (error == std::errc() && readTo == end) {
            result.integer = integer;
        }
        std::from_chars(value->data(), end, result.number);
    }
    return result;
}

template <typename Value>
int compare(const Value& left, const Value& right) {
    return left < right ? -1 : right < left ? 1 : 0;
}

/// Booleans come before numbers, numbers before strings, and those without a value last.
int compareRanked(const SortValue& left, const SortValue& right) {
    if (left.rank != right.rank) {
        return compare(left.rank, right.rank);
    }
    if (left.rank == SortValue::kString) {
        return compare(left.text, right.text);
    }
    return left.integer && right.integer ? compare(*left.integer, *right.integer)
                                         : compare(left.number, right.number);
}

}  // namespace

/// The text of an answer. Replaces references by the elements that they refer to, down to a level.
class AnswerText {
 public:
    explicit AnswerText(BusModel& busModel) : model_(busModel) {}

    void append(std::string_view text) {
        if (text_.size() + text.size() > Query::kMaximumAnswer) {
            throw BusError(413, "payload_too_large",
                           "The answer would be larger than 16 MiB; use $limit and $offset, or $fields");
        }
        text_ += text;
    }

    /// Appends those members of an element that `isWanted`, with the references of those that `isExpanded`
    /// replaced. Both take a key with its quotes.
    template <typename IsWanted, typename IsExpanded>
    void appendElement(const Element& element, int level, IsWanted isWanted, IsExpanded isExpanded) {
        open_.push_back(&element);
        char before = '{';
        for (const JsonMember& member : membersOf(*element.text())) {
            if (isWanted(member.key)) {
                append({&before, 1});
                append(member.key);
                append(":");
                isExpanded(member.key) ? appendField(member.value, level) : append(member.value);
                before = ',';
            }
        }
        append("}");
        open_.pop_back();
    }

    std::string text() && { return std::move(text_); }

 private:
    void appendField(std::string_view value, int level) {
        if (isObject(value)) {
            appendObject(value, level);
        } else if (isList(value)) {
            append("[");
            std::string_view separator;
            for (const std::string_view entry : entriesOf(value)) {
                append(separator);
                isObject(entry) ? appendObject(entry, level) : append(entry);
                separator = ",";
            }
            append("]");
        } else {
            append(value);
        }
    }

    void appendObject(std::string_view object, int level) {
        const std::optional<std::string> uri = level > 0 ? uriOf(object) : std::nullopt;
        const Element* const target = uri ? model_.findElement(*uri) : nullptr;
        const bool isOpen = target != nullptr && std::find(open_.begin(), open_.end(), target) != open_.end();
        if (target == nullptr || isOpen || target->text()->size() > bytesLeft_) {
            append(object);
            return;
        }
        bytesLeft_ -= target->text()->size();
        if (level == 1) {
            append(*target->text());
        } else {
            const auto all = [](std::string_view) { return true; };
            appendElement(*target, level - 1, all, all);
        }
    }

    BusModel& model_;
    std::string text_;
    std::vector<const Element*> open_;  ///< being written; none of them is expanded inside itself
    std::size_t bytesLeft_ = kMaximumExpanded;
};

Query Query::forCollection(const QueryTerms& terms) {
    if (terms.size() > kMaximumTerms) {
        throw BusError::filterInvalid("A query has at most " + std::to_string(kMaximumTerms) + " terms");
    }
    Query query;
    std::set<std::string> options;
    for (const auto& [key, value] : terms) {
        if (key.empty() || key.front() != '$') {
            query.addFilter(key, value);
        } else if (options.insert(key).second) {
            query.readOption(key, value);
        } else {
            throw BusError::filterInvalid("The option " + key + " occurs twice");
        }
    }
    return query;
}

Query Query::forElement(const QueryTerms& terms) {
    for (const auto& term : terms) {
        if (term.first != "$fields" && term.first != "$expand") {
            throw BusError::filterInvalid("An element accepts only $fields and $expand, not " +
                                          excerpt(term.first));
        }
    }
    return forCollection(terms);
}

void Query::readOption(const std::string& key, const std::string& value) {
    if (key == "$fields") {
        fields_ = keySet(value, key);
    } else if (key == "$expand") {
        const std::size_t colon = value.find(':');
        const std::uint64_t level = parseCount(value.substr(0, colon), key);
        if (level > kMaximumExpandLevel) {
            throw BusError::filterInvalid("The highest level of $expand is " +
                                          std::to_string(kMaximumExpandLevel));
        }
        expandLevel_ = static_cast<int>(level);
        if (colon != std::string::npos) {
            expandKeys_ = keySet(value.substr(colon + 1), key);
        }
    } else if (key == "$sortby") {
        for (const std::string& part : splitAtCommas(value, key)) {
            if ((part.front() != '+' && part.front() != '-') || part.size() == 1) {
                throw BusError::filterInvalid("Each key of $sortby must begin with + or -, but one is \"" +
                                              part + "\"");
            }
            sortKeys_.push_back({part.substr(1), part.front() == '-'});
        }
        if (sortKeys_.size() > kMaximumSortKeys) {
            throw BusError::filterInvalid("$sortby takes at most " + std::to_string(kMaximumSortKeys) +
                                          " keys");
        }
    } else if (key == "$limit") {
        limit_ = parseCount(value, key);
    } else if (key == "$offset") {
        if (value.compare(0, 3, "id:") == 0) {
            offsetId_ = value.substr(3);
        } else {
            offset_ = parseCount(value, key);
        }
    } else {
        throw BusError::filterInvalid("The option \"" + key + "\" is unknown");
    }
}

void Query::addFilter(const std::string& key, const std::string& value) {
    const auto [filter, isNew] = filters_.emplace(key, value);
    matchesNothing_ = matchesNothing_ || (!isNew && filter->second != value);
}

bool Query::matches(const Element& element) const {
    return !matchesNothing_ && std::all_of(filters_.begin(), filters_.end(), [&](const auto& filter) {
        const std::optional<std::string_view> value = element.members.find(filter.first);
        return value && filterText(*value) == filter.second;
    });
}

void Query::sort(std::vector<const Element*>& elements) const {
    struct Sorted {
        const Element* element;
        std::vector<SortValue> values;
    };
    std::vector<Sorted> sorted;
    sorted.reserve(elements.size());
    for (const Element* const element : elements) {
        sorted.push_back({element, {}});
        for (const SortKey& sortKey : sortKeys_) {
            sorted.back().values.push_back(sortValue(element->members.find(sortKey.key)));
        }
    }
    std::stable_sort(sorted.begin(), sorted.end(), [this](const Sorted& left, const Sorted& right) {
        for (std::size_t index = 0; index < sortKeys_.size(); ++index) {
            const SortValue& leftValue = left.values[index];
            const SortValue& rightValue = right.values[index];
            const int order = compareRanked(leftValue, rightValue);
            if (order != 0) {
                const bool oneHasNone =
                    leftValue.rank == SortValue::kNone || rightValue.rank == SortValue::kNone;
                return sortKeys_[index].descending && !oneHasNone ? order > 0 : order < 0;
            }
        }
        return false;
    });
    std::transform(sorted.begin(), sorted.end(), elements.begin(),
                   [](const Sorted& each) { return each.element; });
}

std::string Query::select(const Resource& resource, BusModel& model) const {
    std::vector<const Element*> selected;
    for (const auto& numbered : resource.elements()) {
        if (matches(numbered.second)) {
            selected.push_back(&numbered.second);
        }
    }
    if (!sortKeys_.empty()) {
        sort(selected);
    }

    std::size_t begin = static_cast<std::size_t>(std::min<std::uint64_t>(offset_, selected.size()));
    if (offsetId_) {
        const auto found = std::find_if(selected.begin(), selected.end(),
                                        [&](const Element* element) { return element->id == *offsetId_; });
        if (found == selected.end()) {
            throw BusError::unavailableData("$offset: no matching element has the id " + excerpt(*offsetId_));
        }
        begin = static_cast<std::size_t>(found - selected.begin()) + 1;
    }
    std::size_t end = selected.size();
    if (limit_) {
        end = begin + static_cast<std::size_t>(std::min<std::uint64_t>(*limit_, selected.size() - begin));
    }

    AnswerText list(model);
    list.append("[");
    for (std::size_t index = begin; index < end; ++index) {
        list.append(index > begin ? "," : "");
        write(*selected[index], list);
    }
    list.append("]");
    return std::move(list).text();
}

std::string Query::render(const Element& element, BusModel& model) const {
    AnswerText text(model);
    write(element, text);
    return std::move(text).text();
}

void Query::write(const Element& element, AnswerText& answer) const {
    if (!fields_ && expandLevel_ == 0) {
        answer.append(*element.text());
        return;
    }
    const auto isWanted = [this](std::string_view key) {
        return !fields_ || key == "\"id\"" || key == "\"name\"" || key == "\"uri\"" ||
               fields_->count(key) != 0;
    };
    const auto isExpanded = [this](std::string_view key) {
        return expandLevel_ > 0 && (!expandKeys_ || expandKeys_->count(key) != 0);
    };
    answer.appendElement(element, expandLevel_, isWanted, isExpanded);
}

}  // namespace zebbussim
