#include "StepKinds.h"

#include <internal/SimilarWord.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <utility>

#include "Step.h"
#include "bus/Bus.h"
#include "json/Json.h"
#include "model/BusError.h"

namespace zebbussim {

namespace {

using std::chrono::milliseconds;

constexpr std::int64_t kMaximumCount = 1'000'000'000;
constexpr int kForbidden = 403;
constexpr int kLowestStatus = 100;
constexpr int kHighestStatus = 599;
constexpr std::int64_t kLowestCloseCode = 1000;
constexpr std::int64_t kHighestCloseCode = 4999;
constexpr std::int64_t kLargestPadding = 64 * 1024 * 1024;
constexpr std::int64_t kPause = 1000;

std::string pathOf(const Step& step) {
    return step.textOf("path", "/");
}

std::string whereOf(const Step& step) {
    return step.has("path") ? " " + pathOf(step) : std::string();
}

std::string serviceOf(const Step& step) {
    return step.has("service") ? " of " + step.textOf("service") : std::string();
}

std::string inMs(const Step& step) {
    return std::to_string(step.numberOf("ms")) + " ms";
}

std::int64_t numberBetween(const Step& step, std::string_view key, std::int64_t lowest, std::int64_t highest,
                           std::int64_t otherwise) {
    const std::int64_t number = step.numberOf(key, otherwise);
    if (number < lowest || number > highest) {
        throw BusError::badRequest('"' + step.kind() + "\": \"" + std::string(key) + "\" must be from " +
                                   std::to_string(lowest) + " to " + std::to_string(highest) + ", not " +
                                   std::to_string(number));
    }
    return number;
}

int hexDigit(char character) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto found = kDigits.find(static_cast<char>(character | ' '));
    return found == std::string_view::npos || character < '0' ? -1 : static_cast<int>(found);
}

/// The bytes that "text" or "hex" stands for.
std::string bytesOf(const Step& step) {
    if (step.has("text")) {
        return step.textOf("text");
    }
    std::string digits = step.textOf("hex");
    digits.erase(std::remove(digits.begin(), digits.end(), ' '), digits.end());
    std::string bytes;
    for (std::size_t position = 0; position < digits.size(); position += 2) {
        const int high = hexDigit(digits[position]);
        const int low = position + 1 < digits.size() ? hexDigit(digits[position + 1]) : -1;
        if (high < 0 || low < 0) {
            throw BusError::badRequest('"' + step.kind() +
                                       "\": \"hex\" must have pairs of the digits 0 to 9 and a to f");
        }
        bytes += static_cast<char>(high * 16 + low);
    }
    return bytes;
}

// ------------------------------------------------------------------------------------ the state of the bus

StepKind setKind() {
    return {"set",
            {{"path", MemberType::Text, true},
             {"data", MemberType::Object, true},
             {"unchecked", MemberType::Boolean}},
            [](Bus& bus, const Step& step) {
                bus.set(parseElementPath(step.textOf("path")), step.objectOf("data"),
                        !step.isTrue("unchecked"));
            },
            [](const Step& step) {
                return "sets " + step.textOf("path") + " to " + shortened(step.objectOf("data"));
            }};
}

StepKind addKind() {
    return {"add",
            {{"path", MemberType::Text, true},
             {"data", MemberType::Object, true},
             {"unchecked", MemberType::Boolean}},
            [](Bus& bus, const Step& step) {
                bus.add(parseElementPath(step.textOf("path")), step.objectOf("data"),
                        !step.isTrue("unchecked"));
            },
            [](const Step& step) { return "adds " + step.textOf("path"); }};
}

StepKind removeKind() {
    return {"remove",
            {{"path", MemberType::Text, true}},
            [](Bus& bus, const Step& step) { bus.remove(parseElementPath(step.textOf("path"))); },
            [](const Step& step) { return "removes " + step.textOf("path"); }};
}

StepKind serviceKind() {
    return {"service",
            {{"name", MemberType::Text, true},
             {"available", MemberType::Boolean},
             {"present", MemberType::Boolean}},
            [](Bus& bus, const Step& step) {
                const std::string name = step.textOf("name");
                step.has("available") ? bus.setServiceAvailable(name, step.isTrue("available"))
                                      : bus.setServicePresent(name, step.isTrue("present"));
            },
            [](const Step& step) {
                const bool isBack = step.isTrue("available") || step.isTrue("present");
                const std::string away = step.has("present") ? " leaves the bus" : " becomes unavailable";
                return "service " + step.textOf("name") + (isBack ? " is back" : away);
            },
            {"available", "present"}};
}

// ----------------------------------------------------------------------------------------- answers of HTTP

/// A step that begins a fault of HTTP answers.
StepKind httpKind(const std::string& name, std::vector<MemberKind> members,
                  std::function<HttpFault(const Step&)> fault,
                  std::function<std::string(const Step&)> inWords, std::vector<std::string> oneOf = {}) {
    members.insert(members.begin(), {"path", MemberType::Text, false});
    return {name, std::move(members),
            [fault = std::move(fault)](Bus& bus, const Step& step) {
                bus.beginHttpFault(step.kind(), pathOf(step), fault(step), step.inWords());
            },
            std::move(inWords), std::move(oneOf)};
}

std::vector<StepKind> httpKinds() {
    return {httpKind(
                "delay", {{"ms", MemberType::Count, true}},
                [](const Step& step) { return HttpFault::late(milliseconds(step.numberOf("ms"))); },
                [](const Step& step) { return "answers" + whereOf(step) + " after " + inMs(step); }),
            httpKind(
                "ignore", {}, [](const Step&) { return HttpFault::silence(); },
                [](const Step& step) { return "never answers" + whereOf(step); }),
            httpKind(
                "status", {{"code", MemberType::Count, true}, {"body", MemberType::Text, false}},
                [](const Step& step) {
                    return HttpFault::answer(
                        static_cast<int>(numberBetween(step, "code", kLowestStatus, kHighestStatus, 0)),
                        step.textOf("body"));
                },
                [](const Step& step) {
                    return "answers" + whereOf(step) + " with status " +
                           std::to_string(step.numberOf("code"));
                }),
            httpKind(
                "bytes", {{"text", MemberType::Text, false}, {"hex", MemberType::Text, false}},
                [](const Step& step) { return HttpFault::rawBytes(bytesOf(step)); },
                [](const Step& step) { return "answers" + whereOf(step) + " with bytes that are no answer"; },
                {"text", "hex"}),
            httpKind(
                "contentType", {{"type", MemberType::Text, true}},
                [](const Step& step) { return HttpFault::ofType(step.textOf("type")); },
                [](const Step& step) { return "answers" + whereOf(step) + " as " + step.textOf("type"); }),
            httpKind(
                "pad", {{"size", MemberType::Count, true}},
                [](const Step& step) {
                    return HttpFault::padded(
                        static_cast<std::size_t>(numberBetween(step, "size", 0, kLargestPadding, 0)));
                },
                [](const Step& step) {
                    return "answers" + whereOf(step) + " with at least " +
                           std::to_string(step.numberOf("size")) + " bytes";
                }),
            httpKind(
                "cut", {}, [](const Step&) { return HttpFault::cut(); },
                [](const Step& step) { return "answers" + whereOf(step) + " by half"; })};
}

// ------------------------------------------------------------------------------- subscriptions and messages

std::vector<StepKind> messageKinds() {
    return {{"refuse",
             {{"path", MemberType::Text, true},
              {"number", MemberType::Count, false},
              {"message", MemberType::Text, false}},
             [](Bus& bus, const Step& step) {
                 const std::string path = parseBusPath(step.textOf("path")).text();
                 const auto number = static_cast<int>(
                     numberBetween(step, "number", kLowestStatus, kHighestStatus, kForbidden));
                 bus.messageFaults().refused[path] = {number,
                                                      step.textOf("message", "The subscription is refused")};
                 bus.beginFault(step, path, [&bus, path] { bus.messageFaults().refused.erase(path); });
             },
             [](const Step& step) { return "refuses subscriptions to " + step.textOf("path"); }},
            {"withhold",
             {{"ms", MemberType::Count, false}},
             [](Bus& bus, const Step& step) {
                 bus.holdFirstNotifications(step.has("ms")
                                                ? Subscriptions::Hold{milliseconds(step.numberOf("ms"))}
                                                : Subscriptions::Hold{});
                 bus.beginFault(step, "", [&bus] { bus.releaseFirstNotifications(); });
             },
             [](const Step& step) {
                 return step.has("ms") ? "holds first notifications back for " + inMs(step)
                                       : "holds first notifications back";
             }},
            {"release",
             {},
             [](Bus& bus, const Step&) {
                 bus.releaseFirstNotifications();
                 bus.faults().ended("withhold");
             },
             [](const Step&) { return "sends the first notifications that were held back"; }},
            {"skip",
             {{"path", MemberType::Text, true}, {"count", MemberType::Count, false}},
             [](Bus& bus, const Step& step) {
                 const std::string path = parseBusPath(step.textOf("path")).text();
                 bus.messageFaults().skipped[path] =
                     static_cast<std::size_t>(numberBetween(step, "count", 1, kMaximumCount, 1));
             },
             [](const Step& step) {
                 return "omits " + std::to_string(step.numberOf("count", 1)) + " notification(s) of " +
                        step.textOf("path");
             }},
            {"twice",
             {},
             [](Bus& bus, const Step& step) {
                 bus.messageFaults().isSentTwice = true;
                 bus.beginFault(step, "", [&bus] { bus.messageFaults().isSentTwice = false; });
             },
             [](const Step&) { return "sends every message twice"; }},
            {"fragment",
             {{"size", MemberType::Count, false}},
             [](Bus& bus, const Step& step) {
                 constexpr std::int64_t kSize = 7;
                 constexpr std::int64_t kLargest = 125;
                 bus.messageFaults().fragmentSize =
                     static_cast<std::size_t>(numberBetween(step, "size", 1, kLargest, kSize));
                 bus.beginFault(step, "", [&bus] { bus.messageFaults().fragmentSize = 0; });
             },
             [](const Step&) { return "sends every message in fragments, with pings between them"; }},
            {"sameId",
             {},
             [](Bus& bus, const Step& step) {
                 bus.messageFaults().isIdRepeated = true;
                 bus.beginFault(step, "", [&bus] { bus.messageFaults().isIdRepeated = false; });
             },
             [](const Step&) { return "gives a new subscription the id of another one"; }},
            {"send",
             {{"path", MemberType::Text, true},
              {"text", MemberType::Text, false},
              {"hex", MemberType::Text, false}},
             [](Bus& bus, const Step& step) {
                 const std::string path = parseBusPath(step.textOf("path")).text();
                 step.has("text") ? bus.sendText(path, bytesOf(step)) : bus.sendBytes(path, bytesOf(step));
             },
             [](const Step& step) {
                 return "sends " + std::string(step.has("text") ? "a text" : "bytes") +
                        " to the subscribers of " + step.textOf("path");
             },
             {"text", "hex"}}};
}

// ---------------------------------------------------------------------------------------------- connections

std::vector<StepKind> connectionKinds() {
    return {{"drop",
             {{"service", MemberType::Text, false}, {"how", MemberType::Text, false}},
             [](Bus& bus, const Step& step) {
                 const std::string how = step.textOf("how", "reset");
                 if (how != "reset" && how != "end") {
                     throw BusError::badRequest("\"drop\": \"how\" must be \"reset\" or \"end\", not " +
                                                excerpt(how));
                 }
                 bus.forEachPeer(step.textOf("service"),
                                 [&how](WebSocketPeer& peer) { how == "reset" ? peer.drop() : peer.end(); });
             },
             [](const Step& step) { return "drops the WebSockets" + serviceOf(step); }},
            {"close",
             {{"service", MemberType::Text, false}, {"code", MemberType::Count, true}},
             [](Bus& bus, const Step& step) {
                 const auto code = static_cast<std::uint16_t>(
                     numberBetween(step, "code", kLowestCloseCode, kHighestCloseCode, 0));
                 bus.forEachPeer(step.textOf("service"), [code](WebSocketPeer& peer) { peer.close(code); });
             },
             [](const Step& step) {
                 return "closes the WebSockets" + serviceOf(step) + " with code " +
                        std::to_string(step.numberOf("code"));
             }},
            {"freeze",
             {{"service", MemberType::Text, false}},
             [](Bus& bus, const Step& step) {
                 bus.forEachPeer(step.textOf("service"), [](WebSocketPeer& peer) { peer.freeze(); });
             },
             [](const Step& step) { return "freezes the WebSockets" + serviceOf(step); }},
            {"stall",
             {},
             [](Bus& bus, const Step& step) {
                 bus.line().setStalled(true);
                 bus.beginFault(step, "", [&bus] { bus.line().setStalled(false); });
             },
             [](const Step&) { return "sends nothing at all"; }},
            {"slow",
             {{"bytesPerSecond", MemberType::Count, true}},
             [](Bus& bus, const Step& step) {
                 bus.line().setBytesPerSecond(
                     static_cast<std::size_t>(numberBetween(step, "bytesPerSecond", 1, kMaximumCount, 0)));
                 bus.beginFault(step, "", [&bus] { bus.line().setBytesPerSecond(0); });
             },
             [](const Step& step) {
                 return "sends " + std::to_string(step.numberOf("bytesPerSecond")) + " bytes a second";
             }},
            {"refuseConnections",
             {{"ms", MemberType::Count, false}},
             [](Bus& bus, const Step& step) {
                 bus.stopListening(
                     step.has("ms") ? std::make_optional(milliseconds(step.numberOf("ms"))) : std::nullopt,
                     step);
             },
             [](const Step& step) {
                 return "refuses connections" + (step.has("ms") ? " for " + inMs(step) : std::string());
             }},
            {"restart",
             {{"ms", MemberType::Count, false}},
             [](Bus& bus, const Step& step) {
                 bus.stopListening(milliseconds(step.numberOf("ms", kPause)), step);
             },
             [](const Step& step) {
                 return "restarts, and is away for " + std::to_string(step.numberOf("ms", kPause)) + " ms";
             }},
            {"clear",
             {{"path", MemberType::Text, false}, {"fault", MemberType::Text, false}},
             [](Bus& bus, const Step& step) {
                 if (step.has("fault")) {
                     stepKind(step.textOf("fault"));
                     bus.faults().endOfKind(step.textOf("fault"));
                 } else if (step.has("path")) {
                     bus.faults().endOfPath(step.textOf("path"));
                 } else {
                     bus.clearFaults();
                 }
             },
             [](const Step& step) {
                 return step.has("fault")
                            ? "ends the fault " + step.textOf("fault")
                            : "ends the faults" + (step.has("path") ? " of " + step.textOf("path") : "");
             }}};
}

std::vector<StepKind> allKinds() {
    std::vector<StepKind> kinds{setKind(), addKind(), removeKind(), serviceKind()};
    for (auto group : {httpKinds(), messageKinds(), connectionKinds()}) {
        std::move(group.begin(), group.end(), std::back_inserter(kinds));
    }
    return kinds;
}

const char* nameOf(MemberType type) {
    switch (type) {
        case MemberType::Text:
            return "a string";
        case MemberType::Object:
            return "an object";
        case MemberType::Boolean:
            return "true or false";
        case MemberType::Count:
            return "an integer from 0 to 1000000000";
    }
    return "";
}

bool hasType(std::string_view value, MemberType type) {
    switch (type) {
        case MemberType::Text:
            return isString(value);
        case MemberType::Object:
            return isObject(value);
        case MemberType::Boolean:
            return value == "true" || value == "false";
        case MemberType::Count:
            return countOf(value).has_value();
    }
    return false;
}

std::string orRather(const std::string& word, const std::vector<std::string>& names) {
    const std::string_view similar = internal::similarWord(word, internal::Words(names.begin(), names.end()));
    return similar.empty() ? "" : "; did you mean \"" + std::string(similar) + "\"?";
}

void checkMember(const JsonMember& member, const std::vector<MemberKind>& kinds,
                 const std::vector<std::string>& names, const std::string& what) {
    const std::string key = stringOf(member.key).value();
    const auto known =
        std::find_if(kinds.begin(), kinds.end(), [&](const MemberKind& kind) { return kind.key == key; });
    if (known == kinds.end()) {
        throw BusError::badRequest(what + ": " + excerpt(key) + " is unknown here" + orRather(key, names));
    }
    if (!hasType(member.value, known->type)) {
        throw BusError::badRequest(what + ": \"" + key + "\" must be " + nameOf(known->type) + ", not " +
                                   shortened(member.value));
    }
}

}  // namespace

std::optional<std::int64_t> countOf(std::string_view json) {
    std::int64_t count = 0;
    const auto [end, error] = std::from_chars(json.data(), json.data() + json.size(), count);
    const bool isRead = error == std::errc() && end == json.data() + json.size();
    return isRead && count >= 0 && count <= kMaximumCount ? std::make_optional(count) : std::nullopt;
}

const std::vector<StepKind>& stepKinds() {
    static const std::vector<StepKind> kinds = allKinds();
    return kinds;
}

const StepKind& stepKind(const std::string& name) {
    const auto& kinds = stepKinds();
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const StepKind& kind) { return kind.name == name; });
    if (found != kinds.end()) {
        return *found;
    }
    std::vector<std::string> names;
    std::transform(kinds.begin(), kinds.end(), std::back_inserter(names),
                   [](const StepKind& kind) { return kind.name; });
    for (const char* const ofScenarios : {"print", "wait", "expect"}) {
        names.emplace_back(ofScenarios);
    }
    throw BusError::badRequest(excerpt(name) + " is no step" + orRather(name, names));
}

void checkMembers(const JsonMembers& members, const std::vector<MemberKind>& kinds, const std::string& what) {
    std::vector<std::string> names;
    std::transform(kinds.begin(), kinds.end(), std::back_inserter(names),
                   [](const MemberKind& kind) { return kind.key; });
    for (std::size_t index = 0; index < members.size(); ++index) {
        checkMember(members[index], kinds, names, what);
    }
    for (const MemberKind& kind : kinds) {
        if (kind.isRequired && !members.find(kind.key)) {
            throw BusError::badRequest(what + ": \"" + kind.key + "\" is missing");
        }
    }
}

}  // namespace zebbussim
