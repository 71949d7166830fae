#include "Scenario.h"

#include <internal/JsonHint.h>
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
#include "model/DataProblems.h"
#include "model/ModelCheck.h"
#include "steps/StepKinds.h"

namespace zebbussim {

namespace {

using std::chrono::milliseconds;
using Entry = Scenario::Entry;
using Kind = Entry::Kind;

constexpr std::string_view kBefore = "{\"steps\":";  // the reader takes objects only

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
    if (text.front() != '{') {
        throw BusError::badRequest("a step must be an object with one member, the kind of step");
    }
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

using internal::JsonPlace;
using internal::JsonPlaces;

/// The only member of a step that is not its time.
std::optional<JsonPlace> valueOf(const JsonPlaces& places, const JsonPlace& step) {
    std::optional<JsonPlace> found;
    places.forEachMember(step, [&](const JsonPlace& key, const JsonPlace& value) {
        if (places.text(key) != "\"at\"") {
            found = value;
        }
    });
    return found;
}

std::optional<JsonPlace> memberOf(const JsonPlaces& places, const JsonPlace& object, std::string_view name) {
    std::optional<JsonPlace> found;
    places.forEachMember(object, [&](const JsonPlace& key, const JsonPlace& value) {
        if (places.text(key) == name) {
            found = value;
        }
    });
    return found;
}

/// Where an object, or an object in it, has this key; the first place.
std::optional<std::size_t> keyIn(const JsonPlaces& places, const JsonPlace& object, const std::string& name) {
    std::optional<std::size_t> found;
    places.forEachMember(object, [&](const JsonPlace& key, const JsonPlace& value) {
        if (!found && places.text(key) == name) {
            found = key.begin;
        } else if (!found && value.kind == JsonPlace::Kind::Object) {
            found = keyIn(places, value, name);
        }
    });
    return found;
}

/// The object with the path and the data of an element: of a step that changes it, or of a condition.
std::optional<JsonPlace> elementOf(const JsonPlaces& places, const JsonPlace& entry, const Entry& read) {
    const auto value = valueOf(places, entry);
    if (read.condition) {
        return memberOf(places, value.value(), "\"element\"");
    }
    const bool isChange = read.step && (read.step->kind() == "set" || read.step->kind() == "add");
    return isChange ? value : std::nullopt;
}

/// Adds what no element of this path can have. Keys with escapes are not found, and not checked.
void checkData(const JsonPlaces& places, const JsonPlace& element, DataProblems& problems) {
    const auto path = memberOf(places, element, "\"path\"");
    const auto data = memberOf(places, element, "\"data\"");
    const auto unchecked = memberOf(places, element, "\"unchecked\"");
    if (!path || !data || (unchecked && places.text(*unchecked) == "true")) {
        return;
    }
    for (const DataProblem& problem : scenarioDataProblems(contentOf(places.text(*path)), places.text(*data),
                                                           data->begin - kBefore.size())) {
        problems.add(problem.byte, [&problem] { return problem.message; });
    }
}

/// The text as a list. Throws `BusError` if it is none.
JsonPlace listOf(const std::string& wrapped, const JsonPlaces& places) {
    std::vector<JsonPlace> members;
    places.forEachMember(places.root(),
                         [&](const JsonPlace&, const JsonPlace& value) { members.push_back(value); });
    if (members.size() != 1 || members[0].kind != JsonPlace::Kind::Array ||
        members[0].begin < kBefore.size() || wrapped.empty()) {
        throw BusError::badRequest("a scenario must be one JSON list of steps");
    }
    return members[0];
}

void throwIfAny(const DataProblems& problems, const std::string& source, std::string_view json) {
    if (problems.empty()) {
        return;
    }
    std::string text;
    for (const std::string& line : problems.lines(source, json)) {
        text += (text.empty() ? "" : "\n") + line;
    }
    throw std::runtime_error(text);
}

}  // namespace

Scenario Scenario::fromFile(const std::string& fileName, Strictness strictness) {
    return fromText(readInputFile("scenario", fileName), fileName, strictness);
}

Scenario Scenario::fromText(const std::string& json, const std::string& source, Strictness strictness) {
    const std::string wrapped = std::string(kBefore) + json + "}";
    const internal::TextPlaces lines(json);
    std::vector<Entry> entries;
    DataProblems problems;
    try {
        zebutil::JsonObject::parse(wrapped);
        const JsonPlaces places(wrapped);
        places.forEachElement(listOf(wrapped, places), [&](const JsonPlace& place) {
            const std::size_t byte = place.begin - kBefore.size();
            try {
                Entry entry = readEntry(places.text(place));
                const internal::TextPlace at = lines.inCharacters(byte);
                entry.place = source + ":" + std::to_string(at.line) + ":" + std::to_string(at.column);
                if (const auto element = elementOf(places, place, entry);
                    element && strictness == Strictness::Strict) {
                    checkData(places, *element, problems);
                }
                entries.push_back(std::move(entry));
            } catch (const MemberError& problem) {
                const std::size_t key = keyIn(places, place, problem.key).value_or(place.begin);
                problems.add(key - kBefore.size(), [&problem] { return std::string(problem.what()); });
            } catch (const BusError& problem) {
                problems.add(byte, [&problem] { return std::string(problem.what()); });
            }
        });
    } catch (const zebutil::JsonException& exception) {
        const std::size_t wrappedByte = exception.byte().value_or(0);
        const std::size_t byte = wrappedByte < kBefore.size() ? 0 : wrappedByte - kBefore.size();
        problems.add(byte, [&] { return std::string(exception.reason()) + internal::jsonHint(json, byte); });
    } catch (const BusError& problem) {
        problems.add(0, [&problem] { return std::string(problem.what()); });
    }
    throwIfAny(problems, source, json);
    return Scenario(std::move(entries));
}

}  // namespace zebbussim
