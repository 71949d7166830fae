#include "Condition.h"

#include <algorithm>
#include <iterator>

#include "Tally.h"
#include "bus/Bus.h"
#include "json/Json.h"
#include "model/BusError.h"
#include "steps/MemberKind.h"

namespace zebbussim {

namespace {

const std::vector<MemberKind>& membersOfCondition(const std::string& name) {
    static const std::vector<MemberKind> ofPath{{"path", MemberType::Path, true},
                                                {"count", MemberType::Count, true}};
    static const std::vector<MemberKind> ofService{{"service", MemberType::Text, true},
                                                   {"count", MemberType::Count, true}};
    static const std::vector<MemberKind> ofElement{{"path", MemberType::ElementPath, true},
                                                   {"data", MemberType::Object, true},
                                                   {"unchecked", MemberType::Boolean}};
    static const std::vector<MemberKind> ofViolations{{"count", MemberType::Count, true}};
    if (name == "webSockets") {
        return ofService;
    }
    if (name == "element") {
        return ofElement;
    }
    return name == "violations" ? ofViolations : ofPath;
}

std::string inQuotes(const std::string& text) {
    return '"' + text + '"';
}

std::string allNames() {
    std::string text;
    for (const std::string& name : Condition::names()) {
        text += (text.empty() ? "" : ", ") + inQuotes(name);
    }
    return text;
}

/// "1 subscriber", "2 subscribers"
std::string counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string nounOf(const std::string& name) {
    if (name == "subscribers") {
        return "subscriber";
    }
    if (name == "subscribed") {
        return "new subscription";
    }
    if (name == "requests") {
        return "request";
    }
    return name == "webSockets" ? "WebSocket" : "violation";
}

}  // namespace

const std::vector<std::string>& Condition::names() {
    static const std::vector<std::string> names{"subscribers", "subscribed", "requests",
                                                "webSockets",  "element",    "violations"};
    return names;
}

Condition::Condition(const JsonMembers& members, Count count) : countMode_(count) {
    for (const std::string& name : names()) {
        if (members.find(name)) {
            if (!name_.empty()) {
                throw BusError::badRequest("only one condition is possible, not both " + inQuotes(name_) +
                                           " and " + inQuotes(name));
            }
            name_ = name;
        }
    }
    if (name_.empty()) {
        throw BusError::badRequest("a condition is missing: one of " + allNames());
    }
    const std::string_view value = members.find(name_).value();
    if (!isObject(value)) {
        throw BusError::badRequest(inQuotes(name_) + " must be an object");
    }
    const JsonMembers own{std::string(value)};
    checkMembers(own, membersOfCondition(name_), inQuotes(name_));
    if (const auto path = own.find("path")) {
        const std::string text = stringOf(*path).value();
        subject_ = parseBusPath(text).text();
    } else if (const auto service = own.find("service")) {
        subject_ = stringOf(*service).value();
    }
    if (const auto number = own.find("count")) {
        count_ = static_cast<std::size_t>(countOf(*number).value());
    }
    if (const auto data = own.find("data")) {
        data_ = *data;
    }
}

std::string Condition::inWords() const {
    if (name_ == "element") {
        return subject_ + " with " + shortened(data_);
    }
    const std::string where = name_ == "requests" || name_ == "subscribed" ? " to " : " of ";
    return counted(count_, nounOf(name_)) + (subject_.empty() ? std::string() : where + subject_);
}

std::string Condition::problem(Bus& bus, const Tally& tally) const {
    requireSubject(bus);
    if (name_ == "element") {
        return problemOfElement(bus);
    }
    const std::size_t now = present(bus, tally);
    const bool isExact = countMode_ == Count::Exact || count_ == 0;
    if (isExact ? now == count_ : now >= count_) {
        return {};
    }
    const std::string where = name_ == "requests" || name_ == "subscribed" ? " to " : " of ";
    return "there " + std::string(now == 1 ? "is " : "are ") + counted(now, nounOf(name_)) +
           (subject_.empty() ? std::string() : where + subject_) + ", expected " +
           (isExact ? "" : "at least ") + std::to_string(count_);
}

void Condition::requireSubject(Bus& bus) const {
    // Clients may ask for anything; and what they do wrong has no subject.
    if (name_ == "requests" || name_ == "violations") {
        return;
    }
    if (name_ == "webSockets") {
        bus.model().known(subject_);
        return;
    }
    const BusPath path = parseBusPath(subject_);
    const auto& resources = bus.model().known(path.service).resources;
    if (resources.count(path.resource) == 0) {
        std::vector<std::string> names;
        std::transform(resources.begin(), resources.end(), std::back_inserter(names),
                       [](const auto& resource) { return resource.first; });
        throw BusError::invalidPath("There is no resource " + excerpt(path.resource) + " in " + path.service +
                                    didYouMean(path.resource, names));
    }
}

std::size_t Condition::present(Bus& bus, const Tally& tally) const {
    using Numbers = Observations::Numbers;
    if (name_ == "subscribers") {
        return bus.observations().count(&Numbers::subscribers, subject_);
    }
    if (name_ == "subscribed") {
        return tally.subscribed(subject_);
    }
    if (name_ == "requests") {
        return bus.observations().count(&Numbers::requests, subject_);
    }
    if (name_ == "webSockets") {
        return bus.observations().count(&Numbers::webSockets, subject_);
    }
    return tally.violations();
}

std::string Condition::problemOfElement(Bus& bus) const {
    const Element* const element = bus.model().findElement(parseElementPath(subject_));
    if (element == nullptr) {
        return "there is no element " + subject_;
    }
    for (const auto& [key, expected] : membersOf(data_)) {
        const auto present = element->members.findQuoted(key);
        if (present != std::optional<std::string_view>(expected)) {
            return subject_ + " has " + std::string(key) + " " + (present ? shortened(*present) : "missing") +
                   ", expected " + shortened(expected);
        }
    }
    return {};
}

}  // namespace zebbussim
