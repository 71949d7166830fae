#include "Scenario.h"

#include <internal/JsonPlaces.h>
#include <internal/TextPlaces.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "InputFile.h"
#include "json/Json.h"
#include "model/BusError.h"
#include "steps/StepKinds.h"

namespace zebbussim {

namespace {

using std::chrono::milliseconds;
using Kind = Scenario::Entry::Kind;

constexpr std::string_view kBefore = "{\"steps\":";  // the reader takes objects only
constexpr std::size_t kMostProblems = 20;

std::optional<milliseconds> timeOf(const JsonMembers& members, std::string_view key) {
    const auto value = members.find(key);
    if (!value) {
        return std::nullopt;
    }
    const auto count = countOf(*value);
    if (!count) {
        throw BusError::badRequest('"' + std::string(key) +
                                   "\" must be a number of milliseconds from 0 to 1000000000, not " +
                                   shortened(*value));
    }
    return milliseconds(*count);
}

/// @param limit the key of the limit of a condition
void requireConditionMembers(const JsonMembers& members, const std::string& limit) {
    std::vector<MemberKind> kinds{{limit, MemberType::Count, false}};
    for (const std::string& name : Condition::names()) {
        kinds.push_back({name, MemberType::Object, false});
    }
    if (limit == "timeout") {
        kinds.push_back({"ms", MemberType::Count, false});
    }
    checkMembers(members, kinds, limit == "timeout" ? "\"wait\"" : "\"expect\"");
}

Scenario::Entry waitOf(const JsonMembers& members) {
    requireConditionMembers(members, "timeout");
    Scenario::Entry entry;
    if (members.find("ms")) {
        if (members.size() != 1) {
            throw BusError::badRequest("\"wait\": beside \"ms\" there must be nothing else");
        }
        entry.kind = Kind::Pause;
        entry.time = timeOf(members, "ms");
        return entry;
    }
    entry.kind = Kind::Wait;
    entry.time = timeOf(members, "timeout");
    entry.condition.emplace(members, Condition::Count::AtLeast);
    return entry;
}

Scenario::Entry expectOf(const JsonMembers& members) {
    requireConditionMembers(members, "within");
    Scenario::Entry entry;
    entry.kind = Kind::Expect;
    entry.time = timeOf(members, "within");
    entry.condition.emplace(members, Condition::Count::Exact);
    return entry;
}

Scenario::Entry entryOf(const std::string& kind, std::string_view value) {
    if (kind == "print") {
        if (!isString(value)) {
            throw BusError::badRequest("\"print\" must be a string");
        }
        Scenario::Entry entry;
        entry.kind = Kind::Print;
        entry.text = stringOf(value).value();
        return entry;
    }
    const bool isCondition = kind == "wait" || kind == "expect";
    if (!isCondition) {
        stepKind(kind);  // an unknown kind is the first problem
    }
    if (!isObject(value)) {
        throw BusError::badRequest('"' + kind + "\" must be an object");
    }
    if (isCondition) {
        const JsonMembers members{std::string(value)};
        return kind == "wait" ? waitOf(members) : expectOf(members);
    }
    Scenario::Entry entry;
    entry.step.emplace(kind, value);
    return entry;
}

Scenario::Entry readEntry(std::string_view text) {
    const JsonMembers members(readJsonObject(text, "A step"));
    std::vector<JsonMember> kinds;
    for (std::size_t index = 0; index < members.size(); ++index) {
        if (members[index].key != "\"at\"") {
            kinds.push_back(members[index]);
        }
    }
    if (kinds.size() != 1) {
        throw BusError::badRequest(
            "a step must be an object with one member, the kind of step, and perhaps \"at\"");
    }
    Scenario::Entry entry = entryOf(stringOf(kinds[0].key).value(), kinds[0].value);
    entry.at = timeOf(members, "at");
    return entry;
}

/// Collects the lines of the problems.
class Problems {
 public:
    void add(const std::string& place, const std::string& problem) {
        if (++count_ <= kMostProblems) {
            text_ += (text_.empty() ? "" : "\n") + place + ": " + problem;
        }
    }
    void throwIfAny() const {
        if (count_ > 0) {
            const std::size_t more = count_ - std::min(count_, kMostProblems);
            throw std::runtime_error(text_ + (more == 0 ? "" : "\nand " + std::to_string(more) + " more"));
        }
    }

 private:
    std::string text_;
    std::size_t count_ = 0;
};

/// The places in a text that stands behind `kBefore`.
class Places {
 public:
    Places(std::string_view json, std::string source) : lines_(json), source_(std::move(source)) {}

    std::string of(std::size_t byteOfWrapped) const {
        const std::size_t before = kBefore.size();
        const internal::TextPlace place =
            lines_.inCharacters(byteOfWrapped < before ? 0 : byteOfWrapped - before);
        return source_ + ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
    }

 private:
    const internal::TextPlaces lines_;
    const std::string source_;
};

}  // namespace

Scenario Scenario::fromFile(const std::string& fileName) {
    return fromText(readInputFile("scenario", fileName), fileName);
}

Scenario Scenario::fromText(const std::string& json, const std::string& source) {
    const std::string wrapped = std::string(kBefore) + json + "}";
    const Places places(json, source);
    try {
        zebutil::JsonObject::parse(wrapped);
    } catch (const zebutil::JsonException& exception) {
        throw std::runtime_error(places.of(exception.byte().value_or(0)) + ": " +
                                 std::string(exception.reason()));
    }
    const internal::JsonPlaces values(wrapped);
    std::vector<internal::JsonPlace> members;
    values.forEachMember(values.root(), [&](const internal::JsonPlace&, const internal::JsonPlace& value) {
        members.push_back(value);
    });
    if (members.size() != 1 || members[0].kind != internal::JsonPlace::Kind::Array) {
        throw std::runtime_error(places.of(0) + ": a scenario must be one JSON list of steps");
    }
    std::vector<Entry> entries;
    Problems problems;
    values.forEachElement(members[0], [&](const internal::JsonPlace& value) {
        const std::string place = places.of(value.begin);
        try {
            if (value.kind != internal::JsonPlace::Kind::Object) {
                throw BusError::badRequest("a step must be an object with one member, the kind of step");
            }
            Entry entry = readEntry(values.text(value));
            entry.place = place;
            entries.push_back(std::move(entry));
        } catch (const BusError& problem) {
            problems.add(place, problem.what());
        }
    });
    problems.throwIfAny();
    return Scenario(std::move(entries));
}

}  // namespace zebbussim
