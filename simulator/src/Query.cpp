#include "Query.h"

#include <Poco/JSON/Array.h>

#include <algorithm>
#include <charconv>

#include "BusError.h"
#include "Json.h"

namespace zebbussim {

namespace {

constexpr int kMaximumExpandLevel = 8;
/// Per element: limits the answer when elements refer to each other many times.
constexpr std::size_t kMaximumExpanded = 10000;

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

std::set<std::string> keySet(const std::string& text, const std::string& option) {
    const std::vector<std::string> keys = splitAtCommas(text, option);
    return {keys.begin(), keys.end()};
}

std::uint64_t parseCount(const std::string& text, const std::string& option) {
    std::int64_t value = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0 || text.front() == '-') {
        throw BusError::filterInvalid(option + " must be a decimal integer of 0 or more, but is \"" + text +
                                      "\"");
    }
    return static_cast<std::uint64_t>(value);
}

/// The uri of the element that a reference points to; nothing if the object is not a reference.
std::optional<std::string> referenceUri(const Poco::JSON::Object& reference) {
    const Poco::Dynamic::Var uri = reference.get("uri");
    if (uri.isEmpty() || uri.type() != typeid(std::string)) {
        return std::nullopt;
    }
    return uri.extract<std::string>();
}

/// The text of a list, with each reference replaced by its uri; nothing if an object in it is not a
/// reference.
std::optional<std::string> listText(const Poco::JSON::Array& list) {
    Poco::JSON::Array::Ptr comparable = new Poco::JSON::Array;
    for (const Poco::Dynamic::Var& value : list) {
        if (value.type() != typeid(Poco::JSON::Object::Ptr)) {
            comparable->add(value);
        } else if (const auto uri = referenceUri(*value.extract<Poco::JSON::Object::Ptr>())) {
            comparable->add(*uri);
        } else {
            return std::nullopt;
        }
    }
    return toText(comparable);
}

/// The text that a filter is compared with; nothing for a value that matches no filter.
std::optional<std::string> filterText(const Poco::Dynamic::Var& value) {
    if (value.isEmpty()) {
        return std::nullopt;
    }
    if (value.type() == typeid(Poco::JSON::Object::Ptr)) {
        return referenceUri(*value.extract<Poco::JSON::Object::Ptr>());
    }
    if (value.type() == typeid(Poco::JSON::Array::Ptr)) {
        return listText(*value.extract<Poco::JSON::Array::Ptr>());
    }
    if (value.type() == typeid(std::string)) {
        return value.extract<std::string>();
    }
    if (value.isBoolean() || value.isNumeric()) {
        return toText(value);
    }
    return std::nullopt;
}

/// Booleans before numbers before strings; everything else last.
int sortRank(const Poco::Dynamic::Var& value) {
    if (value.isEmpty()) {
        return 3;
    }
    if (value.isBoolean()) {
        return 0;
    }
    if (value.type() == typeid(std::string)) {
        return 2;
    }
    return value.isNumeric() ? 1 : 3;
}

template <typename Value>
int compare(const Value& left, const Value& right) {
    return left < right ? -1 : right < left ? 1 : 0;
}

int compareSameRank(const Poco::Dynamic::Var& left, const Poco::Dynamic::Var& right, int rank) {
    switch (rank) {
        case 0:
            return compare(left.extract<bool>(), right.extract<bool>());
        case 1:
            if (left.isInteger() && right.isInteger() && left.isSigned() && right.isSigned()) {
                return compare(left.convert<Poco::Int64>(), right.convert<Poco::Int64>());
            }
            return compare(left.convert<double>(), right.convert<double>());
        case 2:
            return compare(left.extract<std::string>(), right.extract<std::string>());
        default:
            return 0;
    }
}

/// The bus path of the element that an object refers to; nothing if it is not a reference.
std::optional<BusPath> referencedPath(const Poco::JSON::Object& object) {
    const Poco::Dynamic::Var uri = object.get("uri");
    if (uri.isEmpty() || uri.type() != typeid(std::string)) {
        return std::nullopt;
    }
    try {
        return parseElementPath(uri.extract<std::string>());
    } catch (const BusError&) {
        return std::nullopt;
    }
}

/// Replaces references by the elements they refer to, down to a level.
class Expansion {
 public:
    explicit Expansion(BusModel& busModel) : model_(busModel) {}

    Poco::JSON::Object::Ptr expandFields(const Element& element, int level,
                                         const std::optional<std::set<std::string>>& keys) {
        const std::string uri = element.json->getValue<std::string>("uri");
        open_.push_back(uri);
        Poco::JSON::Object::Ptr result = new Poco::JSON::Object(*element.json);
        for (const std::string& key : result->getNames()) {
            if (!keys || keys->count(key) != 0) {
                result->set(key, expanded(result->get(key), level));
            }
        }
        open_.pop_back();
        return result;
    }

 private:
    Poco::Dynamic::Var expanded(const Poco::Dynamic::Var& value, int level) {
        if (value.type() == typeid(Poco::JSON::Object::Ptr)) {
            return expandedObject(value.extract<Poco::JSON::Object::Ptr>(), level);
        }
        if (value.type() == typeid(Poco::JSON::Array::Ptr)) {
            Poco::JSON::Array::Ptr list = new Poco::JSON::Array;
            for (const Poco::Dynamic::Var& entry : *value.extract<Poco::JSON::Array::Ptr>()) {
                const bool isObject = entry.type() == typeid(Poco::JSON::Object::Ptr);
                list->add(isObject ? expandedObject(entry.extract<Poco::JSON::Object::Ptr>(), level) : entry);
            }
            return list;
        }
        return value;
    }

    Poco::Dynamic::Var expandedObject(const Poco::JSON::Object::Ptr& object, int level) {
        const std::optional<BusPath> path = referencedPath(*object);
        Element* const target = path ? model_.findElement(*path) : nullptr;
        const bool isOpen =
            target != nullptr && std::find(open_.begin(), open_.end(), path->text()) != open_.end();
        if (target == nullptr || isOpen || left_ == 0) {
            return object;
        }
        --left_;
        return level > 1 ? expandFields(*target, level - 1, std::nullopt) : target->json;
    }

    BusModel& model_;
    std::vector<std::string> open_;  ///< being expanded; none of them is expanded inside itself
    std::size_t left_ = kMaximumExpanded;
};

}  // namespace

Query Query::forCollection(const QueryTerms& terms) {
    Query query;
    std::set<std::string> options;
    for (const auto& [key, value] : terms) {
        if (key.empty() || key.front() != '$') {
            query.filters_.emplace_back(key, value);
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
            throw BusError::filterInvalid("An element accepts only $fields and $expand, not \"" + term.first +
                                          "\"");
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

bool Query::matches(const Element& element) const {
    return std::all_of(filters_.begin(), filters_.end(), [&](const auto& filter) {
        const std::optional<std::string> text = filterText(element.json->get(filter.first));
        return text && *text == filter.second;
    });
}

bool Query::comesBefore(const Element& left, const Element& right) const {
    for (const SortKey& sortKey : sortKeys_) {
        const Poco::Dynamic::Var leftValue = left.json->get(sortKey.key);
        const Poco::Dynamic::Var rightValue = right.json->get(sortKey.key);
        const int leftRank = sortRank(leftValue);
        const int rightRank = sortRank(rightValue);
        const bool oneHasNone = (leftRank == 3) != (rightRank == 3);
        const int order = leftRank == rightRank ? compareSameRank(leftValue, rightValue, leftRank)
                                                : compare(leftRank, rightRank);
        if (order != 0) {
            return sortKey.descending && !oneHasNone ? order > 0 : order < 0;
        }
    }
    return false;
}

std::string Query::select(const Resource& resource, BusModel& model) const {
    std::vector<const Element*> selected;
    for (const Element& element : resource.elements) {
        if (matches(element)) {
            selected.push_back(&element);
        }
    }
    std::stable_sort(selected.begin(), selected.end(),
                     [&](const Element* left, const Element* right) { return comesBefore(*left, *right); });

    std::size_t begin = static_cast<std::size_t>(std::min<std::uint64_t>(offset_, selected.size()));
    if (offsetId_) {
        const auto found = std::find_if(selected.begin(), selected.end(),
                                        [&](const Element* element) { return element->id == *offsetId_; });
        if (found == selected.end()) {
            throw BusError::unavailableData("$offset: no matching element has the id " + quoted(*offsetId_));
        }
        begin = static_cast<std::size_t>(found - selected.begin()) + 1;
    }
    std::size_t end = selected.size();
    if (limit_) {
        end = begin + static_cast<std::size_t>(std::min<std::uint64_t>(*limit_, selected.size() - begin));
    }

    std::string list = "[";
    for (std::size_t index = begin; index < end; ++index) {
        list += index > begin ? "," : "";
        list += render(*selected[index], model);
    }
    return list + "]";
}

std::string Query::render(const Element& element, BusModel& model) const {
    if (!fields_ && expandLevel_ == 0) {
        return *element.text;
    }
    Poco::JSON::Object::Ptr object = element.json;
    if (expandLevel_ > 0) {
        object = Expansion(model).expandFields(element, expandLevel_, expandKeys_);
    }
    if (fields_) {
        Poco::JSON::Object::Ptr reduced = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
        for (const std::string& key : object->getNames()) {
            if (key == "id" || key == "name" || key == "uri" || fields_->count(key) != 0) {
                reduced->set(key, object->get(key));
            }
        }
        object = reduced;
    }
    return toText(*object);
}

}  // namespace zebbussim
