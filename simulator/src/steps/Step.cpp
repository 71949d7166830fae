#include "Step.h"

#include <optional>

#include "StepKinds.h"
#include "json/Json.h"
#include "model/BusError.h"

namespace zebbussim {

Step::Step(std::string kind, std::string_view value) : kind_(std::move(kind)), members_(std::string(value)) {
    const StepKind& known = stepKind(kind_);
    checkMembers(members_, known.members, '"' + kind_ + '"');
    if (!known.oneOf.empty()) {
        std::size_t count = 0;
        std::string names;
        for (const std::string& key : known.oneOf) {
            count += has(key) ? 1 : 0;
            names += (names.empty() ? "\"" : " and \"") + key + '"';
        }
        if (count != 1) {
            throw BusError::badRequest('"' + kind_ + "\": exactly one of " + names + " is required");
        }
    }
}

Step Step::fromText(std::string_view json) {
    const std::vector<JsonMember> members = membersOf(json);
    if (members.size() != 1) {
        throw BusError::badRequest("a step must be an object with one member, the kind of step");
    }
    const std::string kind = stringOf(members[0].key).value();
    stepKind(kind);
    if (!isObject(members[0].value)) {
        throw BusError::badRequest('"' + kind + "\" must be an object");
    }
    return {kind, members[0].value};
}

std::string Step::text() const {
    return "{" + quoted(kind_) + ":" + *members_.text() + "}";
}

std::string Step::inWords() const {
    return stepKind(kind_).inWords(*this);
}

std::string Step::textOf(std::string_view key, const std::string& otherwise) const {
    const std::optional<std::string_view> value = members_.find(key);
    return value ? stringOf(*value).value() : otherwise;
}

std::int64_t Step::numberOf(std::string_view key, std::int64_t otherwise) const {
    const std::optional<std::string_view> value = members_.find(key);
    return value ? countOf(*value).value() : otherwise;
}

bool Step::isTrue(std::string_view key) const {
    return members_.find(key) == std::optional<std::string_view>("true");
}

void Step::perform(Bus& bus) const {
    stepKind(kind_).perform(bus, *this);
}

}  // namespace zebbussim
