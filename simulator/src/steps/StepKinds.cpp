#include "StepKinds.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "Step.h"
#include "bus/Bus.h"
#include "json/Json.h"
#include "model/BusError.h"

namespace zebbussim {

namespace {

using std::chrono::milliseconds;

constexpr std::int64_t kForbidden = 403;
constexpr std::int64_t kLowestStatus = 100;
constexpr std::int64_t kHighestStatus = 599;
constexpr std::int64_t kLowestWithBody = 200;
constexpr std::int64_t kLowestCloseCode = 1000;
constexpr std::int64_t kHighestCloseCode = 4999;
constexpr std::int64_t kFragment = 7;
constexpr std::int64_t kLargestFragment = 125;
constexpr std::int64_t kLargestPadding = 64 * 1024 * 1024;
constexpr std::int64_t kPause = 1000;

/// Without a "/" at the end.
std::string pathOf(const Step& step) {
    std::string path = step.textOf("path", "/");
    if (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
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

/// The bytes that "text" or "hex" stands for.
std::string bytesOf(const Step& step) {
    return step.has("text") ? step.textOf("text") : bytesOfHex(step.textOf("hex")).value();
}

/// A fault of a service that does not exist would never show. Throws `BusError` 404.
void requireService(Bus& bus, const std::string& path) {
    const std::vector<std::string> segments = splitPath(path);
    if (!segments.empty()) {
        bus.model().known(segments[0]);
    }
}

// ------------------------------------------------------------------------------------ the state of the bus

StepKind setKind() {
    return {"set",
            {{"path", MemberType::ElementPath, true},
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
            {{"path", MemberType::ElementPath, true},
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
            {{"path", MemberType::ElementPath, true}},
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
    members.insert(members.begin(), {"path", MemberType::Place, false});
    return {name, std::move(members),
            [fault = std::move(fault)](Bus& bus, const Step& step) {
                requireService(bus, pathOf(step));
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
                "status",
                {{"code", MemberType::Count, true, kLowestStatus, kHighestStatus},
                 {"body", MemberType::Text, false}},
                [](const Step& step) {
                    const std::int64_t code = step.numberOf("code");
                    const std::string body = step.textOf("body");
                    if (!body.empty() && (code < kLowestWithBody || code == 204 || code == 304)) {
                        throw BusError::badRequest("\"status\": an answer with \"code\" " +
                                                   std::to_string(code) + " has no \"body\"");
                    }
                    return HttpFault::answer(static_cast<int>(code), body);
                },
                [](const Step& step) {
                    return "answers" + whereOf(step) + " with status " +
                           std::to_string(step.numberOf("code"));
                }),
            httpKind(
                "bytes", {{"text", MemberType::Text, false}, {"hex", MemberType::Hex, false}},
                [](const Step& step) { return HttpFault::rawBytes(bytesOf(step)); },
                [](const Step& step) { return "answers" + whereOf(step) + " with bytes that are no answer"; },
                {"text", "hex"}),
            httpKind(
                "contentType", {{"type", MemberType::HeaderValue, true}},
                [](const Step& step) { return HttpFault::ofType(step.textOf("type")); },
                [](const Step& step) { return "answers" + whereOf(step) + " as " + step.textOf("type"); }),
            httpKind(
                "pad", {{"size", MemberType::Count, true, 0, kLargestPadding}},
                [](const Step& step) {
                    return HttpFault::padded(static_cast<std::size_t>(step.numberOf("size")));
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

/// The path of a step, of a service that exists. Throws `BusError` 404 otherwise.
std::string subscribablePath(Bus& bus, const Step& step) {
    const BusPath path = parseBusPath(step.textOf("path"));
    bus.model().known(path.service);
    return path.text();
}

std::vector<StepKind> messageKinds() {
    return {{"refuse",
             {{"path", MemberType::Path, true},
              {"number", MemberType::Count, false, kLowestStatus, kHighestStatus},
              {"message", MemberType::Text, false}},
             [](Bus& bus, const Step& step) {
                 const std::string path = subscribablePath(bus, step);
                 bus.messageFaults().refused[path] = {static_cast<int>(step.numberOf("number", kForbidden)),
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
             {{"path", MemberType::Path, true}, {"count", MemberType::Count, false, 1}},
             [](Bus& bus, const Step& step) {
                 bus.messageFaults().skipped[subscribablePath(bus, step)] =
                     static_cast<std::size_t>(step.numberOf("count", 1));
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
             {{"size", MemberType::Count, false, 1, kLargestFragment}},
             [](Bus& bus, const Step& step) {
                 bus.messageFaults().fragmentSize =
                     static_cast<std::size_t>(step.numberOf("size", kFragment));
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
             {{"path", MemberType::Path, true},
              {"text", MemberType::Text, false},
              {"hex", MemberType::Hex, false}},
             [](Bus& bus, const Step& step) {
                 const std::string path = subscribablePath(bus, step);
                 step.has("text") ? bus.sendText(path, bytesOf(step)) : bus.sendBytes(path, bytesOf(step));
             },
             [](const Step& step) {
                 return "sends " + std::string(step.has("text") ? "a text" : "bytes") +
                        " to the subscribers of " + step.textOf("path");
             },
             {"text", "hex"}}};
}

// ---------------------------------------------------------------------------------------------- connections

/// Throws `BusError` 400 for what is no fault or does not last.
void requireLastingFault(const std::string& name) {
    stepKind(name);
    for (const char* const atOnce :
         {"set", "add", "remove", "service", "release", "skip", "send", "drop", "close", "freeze", "clear"}) {
        if (name == atOnce) {
            throw BusError::badRequest("\"clear\": " + excerpt(name) + " is no fault that lasts");
        }
    }
}

std::vector<StepKind> connectionKinds() {
    return {{"drop",
             {{"service", MemberType::Text, false}, {"how", MemberType::Text, false, 0, 0, {"reset", "end"}}},
             [](Bus& bus, const Step& step) {
                 const bool isEnd = step.textOf("how") == "end";
                 bus.forEachPeer(step.textOf("service"),
                                 [isEnd](WebSocketPeer& peer) { isEnd ? peer.end() : peer.drop(); });
             },
             [](const Step& step) { return "drops the WebSockets" + serviceOf(step); }},
            {"close",
             {{"service", MemberType::Text, false},
              {"code", MemberType::Count, true, kLowestCloseCode, kHighestCloseCode}},
             [](Bus& bus, const Step& step) {
                 const auto code = static_cast<std::uint16_t>(step.numberOf("code"));
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
             {{"bytesPerSecond", MemberType::Count, true, 1}},
             [](Bus& bus, const Step& step) {
                 bus.line().setBytesPerSecond(static_cast<std::size_t>(step.numberOf("bytesPerSecond")));
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
             {{"path", MemberType::Place, false}, {"fault", MemberType::Text, false}},
             [](Bus& bus, const Step& step) {
                 if (step.has("fault") && step.has("path")) {
                     throw BusError::badRequest("\"clear\": \"path\" and \"fault\" exclude each other");
                 }
                 if (step.has("fault")) {
                     requireLastingFault(step.textOf("fault"));
                     bus.faults().endOfKind(step.textOf("fault"));
                 } else if (step.has("path")) {
                     bus.faults().endOfPath(pathOf(step));
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

}  // namespace

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
        if (name == ofScenarios) {
            throw BusError::badRequest(excerpt(name) + " is possible in scenarios only");
        }
        names.emplace_back(ofScenarios);
    }
    throw BusError::badRequest(excerpt(name) + " is no step" + didYouMean(name, names));
}

}  // namespace zebbussim
