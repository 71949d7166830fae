#include "Query.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "BusError.h"
#include "json/Json.h"

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

/// Whether `text` begins with `part`, which it then loses.
bool takeFrom(std::string_view& text, std::string_view part) {
    if (text.substr(0, part.size()) != part) {
        return false;
    }
    text.remove_prefix(part.size());
    return true;
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

    /// Appends these members of an element, with the references of those that `isExpanded` replaced, which
    /// takes a key with its quotes.
    template <typename IsExpanded>
    void appendElement(const Element& element, const std::vector<JsonMember>& members, int level,
                       IsExpanded isExpanded) {
        open_.push_back(&element);
        std::string_view before = "{";
        for (const JsonMember& member : members) {
            append(before);
            append(member.key);
            append(":");
            isExpanded(member.key) ? appendField(member.value, level) : append(member.value);
            before = ",";
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
            appendElement(*target, membersOf(*target->text()), level - 1,
                          [](std::string_view) { return true; });
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
        fields_->insert({"\"id\"", "\"name\"", "\"uri\""});
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
            addSortKey(part);
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

void Query::addSortKey(const std::string& text) {
    if ((text.front() != '+' && text.front() != '-') || text.size() == 1) {
        throw BusError::filterInvalid("Each key of $sortby must begin with + or -, but one is \"" + text +
                                      "\"");
    }
    if (sortKeys_.size() == kMaximumSortKeys) {
        throw BusError::filterInvalid("$sortby takes at most " + std::to_string(kMaximumSortKeys) + " keys");
    }
    const std::string key = quoted(text.substr(1));
    if (std::any_of(sortKeys_.begin(), sortKeys_.end(),
                    [&](const SortKey& other) { return other.key == key; })) {
        throw BusError::filterInvalid("The key " + key + " occurs twice in $sortby");
    }
    sortKeys_.push_back({key, text.front() == '-'});
}

void Query::addFilter(const std::string& key, const std::string& value) {
    const auto [filter, isNew] = filters_.emplace(quoted(key), Filter{value, quoted(value)});
    matchesNothing_ = matchesNothing_ || (!isNew && filter->second.value != value);
}

bool Query::matches(const Element& element, ReadAccount& account) const {
    return !matchesNothing_ && std::all_of(filters_.begin(), filters_.end(), [&](const auto& filter) {
        account.spendOnLookup();
        const std::optional<std::string_view> value = element.members.findQuoted(filter.first);
        return value && matches(*value, filter.second, account);
    });
}

bool Query::matches(std::string_view value, const Filter& filter, ReadAccount& account) {
    switch (value.front()) {
        case 'n':
            return false;
        case '{':
            account.spend(value.size());
            return quotedUriOf(value) == filter.quotedValue;
        case '[':
            return matchesList(value, filter.value, account);
        case '"':
            return value == filter.quotedValue;
        default:
            return value == filter.value;
    }
}

/// Reads the list only as far as it is what is wanted.
bool Query::matchesList(std::string_view list, std::string_view wanted, ReadAccount& account) {
    std::string_view before = "[";
    ListEntries entries(list);
    while (const std::optional<std::string_view> entry = entries.next()) {
        account.spend(entry->size());
        const std::optional<std::string_view> text = isObject(*entry) ? quotedUriOf(*entry) : entry;
        if (!text || !takeFrom(wanted, before) || !takeFrom(wanted, *text)) {
            return false;
        }
        before = ",";
    }
    return wanted == (before == "[" ? "[]" : "]");
}

std::string Query::select(const Resource& resource, BusModel& model) const {
    ReadAccount account;
    std::vector<const Element*> selected;
    for (const auto& numbered : resource.elements()) {
        if (matches(numbered.second, account)) {
            selected.push_back(&numbered.second);
        }
    }
    if (!sortKeys_.empty()) {
        sortElements(selected, sortKeys_, account);
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
        write(*selected[index], list, account);
    }
    list.append("]");
    return std::move(list).text();
}

std::string Query::render(const Element& element, BusModel& model) const {
    ReadAccount account;
    AnswerText text(model);
    write(element, text, account);
    return std::move(text).text();
}

void Query::write(const Element& element, AnswerText& answer, ReadAccount& account) const {
    if (!fields_ && expandLevel_ == 0) {
        answer.append(*element.text());
        return;
    }
    answer.appendElement(element, wantedMembers(element, account), expandLevel_,
                         [this](std::string_view key) {
                             return expandLevel_ > 0 && (!expandKeys_ || expandKeys_->count(key) != 0);
                         });
}

std::vector<JsonMember> Query::wantedMembers(const Element& element, ReadAccount& account) const {
    if (!fields_) {
        return membersOf(*element.text());
    }
    std::vector<JsonMember> wanted;
    const JsonMembers& members = element.members;
    if (members.size() < fields_->size()) {
        for (std::size_t index = 0; index < members.size(); ++index) {
            account.spendOnLookup();
            if (fields_->count(members[index].key) != 0) {
                wanted.push_back(members[index]);
            }
        }
        return wanted;
    }
    for (const std::string& key : *fields_) {
        account.spendOnLookup();
        if (const auto value = members.findQuoted(key)) {
            wanted.push_back({key, *value});
        }
    }
    return wanted;
}

}  // namespace zebbussim
