#include "JsonMembers.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace zebbussim {

JsonMembers::JsonMembers(std::string object) : text_(std::make_shared<const std::string>(std::move(object))) {
    if (text_->size() > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("A JSON object is larger than 4 GiB");
    }
    const std::vector<JsonMember> members = membersOf(*text_);
    auto places = std::make_shared<std::vector<Place>>();
    places->reserve(members.size());
    const auto placeOf = [this](const char* at) { return static_cast<std::uint32_t>(at - text_->data()); };
    for (const auto& [key, value] : members) {
        places->push_back({placeOf(key.data()), placeOf(value.data()), placeOf(value.data() + value.size())});
    }
    std::sort(places->begin(), places->end(),
              [this](const Place& left, const Place& right) { return keyAt(left) < keyAt(right); });
    places_ = std::move(places);
}

JsonMember JsonMembers::operator[](std::size_t index) const {
    const Place& place = (*places_)[index];
    return {keyAt(place), std::string_view(*text_).substr(place.value, place.end - place.value)};
}

std::optional<std::string_view> JsonMembers::find(std::string_view key) const {
    return findQuoted(quoted(key));
}

std::optional<std::string_view> JsonMembers::findQuoted(std::string_view key) const {
    const auto found =
        std::lower_bound(places_->begin(), places_->end(), key,
                         [this](const Place& place, std::string_view text) { return keyAt(place) < text; });
    if (found == places_->end() || keyAt(*found) != key) {
        return std::nullopt;
    }
    return (*this)[static_cast<std::size_t>(found - places_->begin())].value;
}

std::string_view JsonMembers::keyAt(const Place& place) const {
    return std::string_view(*text_).substr(place.key, place.value - 1 - place.key);
}

}  // namespace zebbussim
