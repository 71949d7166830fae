#include "ModelCheck.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>
#include <unordered_set>

#include "BusError.h"
#include "ProblemText.h"
#include "json/Json.h"

namespace zebbussim {

namespace {

using internal::JsonPlace;
using internal::JsonPlaces;
using internal::Words;
using Kind = JsonPlace::Kind;

constexpr std::array<std::string_view, 3> kKeysOfAll = {"id", "name", "uri"};

Words keysOf(const ResourceModel& model) {
    Words keys;
    for (const FieldModel& field : model.fields) {
        keys.push_back(field.key);
    }
    keys.insert(keys.end(), kKeysOfAll.begin(), kKeysOfAll.end());
    return keys;
}

enum class Integer { None, TooLarge, Right };

Integer integerIn(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size()) {
        return Integer::None;
    }
    return error == std::errc::result_out_of_range ? Integer::TooLarge
           : error == std::errc()                  ? Integer::Right
                                                   : Integer::None;
}

bool isElementPath(const std::string& text) {
    if (text.empty() || text.front() != '/' || std::count(text.begin(), text.end(), '/') != 3) {
        return false;
    }
    const std::vector<std::string> segments = splitPath(text);
    return segments.size() == 3 && std::all_of(segments.begin(), segments.end(), isName);
}

}  // namespace

void ModelCheck::check(const JsonPlace& element, const std::string& collection, const ResourceModel* model) {
    std::unordered_set<std::string> names;
    places_.forEachMember(element, [&](const JsonPlace& key, const JsonPlace& value) {
        const std::string name = contentOf(places_.text(key));
        if (model != nullptr && !names.insert(name).second) {
            problems_.add(key.begin, [&] { return "The field " + inQuotes(name) + " is repeated."; });
        }
        if (std::find(kKeysOfAll.begin(), kKeysOfAll.end(), name) != kKeysOfAll.end()) {
            checkString(inQuotes(name), value);
        } else if (model != nullptr) {
            checkField(key, name, value, collection, *model);
        }
    });
}

void ModelCheck::checkField(const JsonPlace& key, const std::string& name, const JsonPlace& value,
                            const std::string& collection, const ResourceModel& model) {
    if (const FieldModel* const field = model.find(name)) {
        checkValue(*field, value);
        return;
    }
    problems_.add(key.begin, [&] {
        return collection + " has no field " + inQuotes(name) + "." +
               suggestion(name, keysOf(model), "Its fields are");
    });
}

void ModelCheck::checkValue(const FieldModel& field, const JsonPlace& value) {
    const std::string name = inQuotes(field.key);
    switch (field.kind) {
        case FieldKind::Bool:
            if (value.kind != Kind::Boolean) {
                const std::string_view text = places_.text(value);
                const bool isQuoted = text == "\"true\"" || text == "\"false\"";
                addWrongKind(name, "true or false", value, isQuoted ? " Leave out the quotes." : "");
            }
            break;
        case FieldKind::Integer:
            checkInteger(name, value);
            break;
        case FieldKind::String:
            checkString(name, value);
            break;
        case FieldKind::Enumeration:
            checkLiteral(name, field, value);
            break;
        case FieldKind::Strings:
            checkEntries(field, value, [this](const std::string& what, const JsonPlace& entry) {
                checkString(what, entry);
            });
            break;
        case FieldKind::Enumerations:
            checkEntries(field, value, [&](const std::string& what, const JsonPlace& entry) {
                checkLiteral(what, field, entry);
            });
            break;
        case FieldKind::Reference:
            checkReference(name, value, true);
            break;
        case FieldKind::References:
            checkEntries(field, value, [this](const std::string& what, const JsonPlace& entry) {
                checkReference(what, entry, false);
            });
            break;
    }
}

void ModelCheck::checkString(const std::string& what, const JsonPlace& value) {
    if (value.kind != Kind::String) {
        const bool isWord = value.kind == Kind::Number || value.kind == Kind::Boolean;
        addWrongKind(what, "a string", value, isWord ? " Put it in quotes." : "");
    }
}

void ModelCheck::checkInteger(const std::string& what, const JsonPlace& value) {
    const std::string_view text = places_.text(value);
    if (value.kind == Kind::Number) {
        const Integer found = integerIn(text);
        if (found != Integer::Right) {
            const bool isTooLarge = found == Integer::TooLarge;
            addWrongKind(what, isTooLarge ? "an integer of at most 64 bits" : "an integer", value);
        }
        return;
    }
    const bool isQuoted =
        value.kind == Kind::String && integerIn(text.substr(1, text.size() - 2)) == Integer::Right;
    addWrongKind(what, "an integer", value, isQuoted ? " Leave out the quotes." : "");
}

void ModelCheck::checkLiteral(const std::string& what, const FieldModel& field, const JsonPlace& value) {
    if (value.kind != Kind::String) {
        addWrongKind(what, "one of the texts " + listed(field.literals, " or "), value);
        return;
    }
    const std::string text = contentOf(places_.text(value));
    if (std::find(field.literals.begin(), field.literals.end(), text) == field.literals.end()) {
        problems_.add(value.begin, [&] {
            return what + " cannot be " + inQuotes(text) + "." +
                   suggestion(text, field.literals, "Its values are");
        });
    }
}

void ModelCheck::checkReference(const std::string& what, const JsonPlace& value, bool mayBeNull) {
    if (mayBeNull && value.kind == Kind::Null) {
        return;
    }
    if (value.kind != Kind::Object) {
        addWrongKind(what,
                     std::string("a reference, an object with the \"uri\" of an element") +
                         (mayBeNull ? ", or null" : ""),
                     value);
        return;
    }
    bool hasPath = false;
    std::size_t byte = value.begin;
    places_.forEachMember(value, [&](const JsonPlace& key, const JsonPlace& member) {
        if (contentOf(places_.text(key)) == "uri") {
            byte = member.begin;
            hasPath = member.kind == Kind::String && isElementPath(contentOf(places_.text(member)));
        }
    });
    if (!hasPath) {
        problems_.add(byte, [&] {
            return what + " needs a \"uri\" that is the path of an element: /<service>/<resource>/<id>.";
        });
    }
}

template <typename CheckEntry>
void ModelCheck::checkEntries(const FieldModel& field, const JsonPlace& list, CheckEntry checkEntry) {
    const std::string name = inQuotes(field.key);
    if (list.kind != Kind::Array) {
        addWrongKind(name, "a list", list);
        return;
    }
    std::size_t number = 0;
    places_.forEachElement(list, [&](const JsonPlace& entry) {
        checkEntry("Entry " + std::to_string(++number) + " of " + name, entry);
    });
}

void ModelCheck::addWrongKind(const std::string& what, const std::string& expected, const JsonPlace& value,
                              std::string_view advice) {
    problems_.add(value.begin, [&] {
        return (what + " must be " + expected + ", but is " + foundText(places_, value) + ".").append(advice);
    });
}

DataProblems elementProblems(const BusPath& path, std::string_view json) {
    DataProblems problems;
    if (const ResourceModel* const model = findResourceModel(path.service, path.resource)) {
        ModelCheck(json, problems).check(JsonPlaces(json).root(), path.collectionText(), model);
    }
    return problems;
}

void requireModelled(const BusPath& path, std::string_view json) {
    const DataProblems problems = elementProblems(path, json);
    if (!problems.empty()) {
        throw BusError::badRequest(problems.sentences());
    }
}

std::vector<DataProblem> scenarioDataProblems(const std::string& path, std::string_view data,
                                              std::size_t offset) {
    std::vector<DataProblem> problems;
    try {
        problems = elementProblems(parseElementPath(path), data).kept();
    } catch (const BusError&) {
        return {};  // the step fails for its path
    }
    for (DataProblem& problem : problems) {
        problem.byte += offset;
    }
    return problems;
}

}  // namespace zebbussim
