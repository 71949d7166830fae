#include "Scenario.h"

#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <vector>

#include "InputFile.h"
#include "json/Json.h"

namespace zebbussim {

namespace {

enum class Type { String, Object, Count, Boolean };

struct Member {
    std::string key;
    Type type;
    bool required;
};

/// The members of each kind of step. "print" has a string instead of an object.
const std::map<std::string, std::vector<Member>>& stepKinds() {
    static const std::map<std::string, std::vector<Member>> kinds{
        {"set", {{"path", Type::String, true}, {"data", Type::Object, true}}},
        {"add", {{"path", Type::String, true}, {"data", Type::Object, true}}},
        {"remove", {{"path", Type::String, true}}},
        {"service",
         {{"name", Type::String, true},
          {"available", Type::Boolean, false},
          {"present", Type::Boolean, false}}},
        {"drop", {{"service", Type::String, true}}},
        {"wait",
         {{"ms", Type::Count, false}, {"subscribers", Type::Object, false}, {"timeout", Type::Count, false}}},
        {"print", {}}};
    return kinds;
}

const std::vector<Member>& subscribersMembers() {
    static const std::vector<Member> members{{"path", Type::String, true}, {"count", Type::Count, true}};
    return members;
}

constexpr std::int64_t kMaximumCount = 1000000000;

template <typename Get>
bool canGet(Get get) {
    try {
        return get();
    } catch (const zebutil::JsonException&) {
        return false;
    }
}

bool hasType(const zebutil::JsonObject& object, const std::string& key, Type type) {
    switch (type) {
        case Type::String:
            return object.isString(key);
        case Type::Object:
            return object.isObject(key);
        case Type::Boolean:
            return canGet([&] { return object.getBool(key), true; });
        case Type::Count:
            return canGet([&] { return object.getInt64(key) >= 0 && object.getInt64(key) <= kMaximumCount; });
    }
    return false;
}

const char* nameOf(Type type) {
    switch (type) {
        case Type::String:
            return "a string";
        case Type::Object:
            return "an object";
        case Type::Boolean:
            return "true or false";
        case Type::Count:
            return "an integer from 0 to 1000000000";
    }
    return "";
}

/// Describes what is wrong with the members; empty if nothing is.
std::string problemWith(const zebutil::JsonObject& object, const std::vector<Member>& members) {
    for (const std::string& key : object.getKeys()) {
        const auto known = std::find_if(members.begin(), members.end(),
                                        [&](const Member& member) { return member.key == key; });
        if (known == members.end()) {
            return excerpt(key) + " is unknown here";
        }
        if (!hasType(object, key, known->type)) {
            return "\"" + key + "\" must be " + nameOf(known->type);
        }
    }
    for (const Member& member : members) {
        if (member.required && !object.has(member.key)) {
            return "\"" + member.key + "\" is missing";
        }
    }
    return {};
}

/// Whether a text that can be read between `{"steps":` and `}` is one value, and does not go on with others.
bool isOneValue(const std::string& json) {
    int depth = 0;
    bool inString = false;
    for (std::size_t position = 0; position < json.size(); ++position) {
        const char character = json[position];
        if (inString) {
            position += character == '\\' ? 1 : 0;
            inString = character != '"';
        } else if (character == '"') {
            inString = true;
        } else if (character == ',' && depth == 0) {
            return false;
        } else {
            depth += character == '[' || character == '{' ? 1 : 0;
            depth -= character == ']' || character == '}' ? 1 : 0;
        }
    }
    return true;
}

constexpr std::chrono::milliseconds kLookForCancelling{50};

}  // namespace

Scenario Scenario::fromFile(const std::string& fileName) {
    return fromText(readInputFile("scenario", fileName), "Scenario " + fileName);
}

Scenario Scenario::fromText(const std::string& json, const std::string& source) {
    // The reader takes objects only.
    const std::string before = "{\"steps\":";
    std::shared_ptr<zebutil::JsonObject> wrapped;
    try {
        wrapped = zebutil::JsonObject::parse(before + json + "}");
    } catch (const zebutil::JsonException& exception) {
        throw std::runtime_error(source + placeInFile(json, exception, before.size()));
    }
    if (!wrapped->isArray("steps") || !isOneValue(json)) {
        throw std::runtime_error(source + " is not a list of steps");
    }
    Scenario scenario(wrapped->getArray("steps"), source);
    for (std::size_t index = 0; index < scenario.steps_->size(); ++index) {
        scenario.check(index);
    }
    return scenario;
}

void Scenario::fail(std::size_t index, const std::string& why) const {
    throw std::runtime_error(source_ + ", step " + std::to_string(index + 1) + ": " + why);
}

void Scenario::check(std::size_t index) const {
    const auto step = steps_->isObject(index) ? steps_->getObject(index) : nullptr;
    const std::vector<std::string> kinds = step ? step->getKeys() : std::vector<std::string>();
    if (kinds.size() != 1) {
        fail(index, "a step must be an object with one member, the kind of step");
    }
    const std::string& kind = kinds.front();
    const auto known = stepKinds().find(kind);
    if (known == stepKinds().end()) {
        fail(index, excerpt(kind) + " is not one of add, drop, print, remove, service, set, wait");
    }
    if (kind == "print") {
        if (!step->isString(kind)) {
            fail(index, "\"print\" must be a string");
        }
        return;
    }
    if (!step->isObject(kind)) {
        fail(index, "\"" + kind + "\" must be an object");
    }
    const auto members = step->getObject(kind);
    std::string problem = problemWith(*members, known->second);
    if (problem.empty() && kind == "service" && members->has("available") == members->has("present")) {
        problem = "exactly one of \"available\" and \"present\" is required";
    }
    if (problem.empty() && kind == "wait" && members->has("ms") == members->has("subscribers")) {
        problem = "exactly one of \"ms\" and \"subscribers\" is required";
    }
    if (problem.empty() && kind == "wait" && members->has("ms") && members->has("timeout")) {
        problem = "\"timeout\" is for \"subscribers\" only";
    }
    if (problem.empty() && kind == "wait" && members->has("subscribers")) {
        problem = problemWith(*members->getObject("subscribers"), subscribersMembers());
    }
    if (!problem.empty()) {
        fail(index, "\"" + kind + "\": " + problem);
    }
}

void Scenario::run(BusSimulator& bus, const Print& print) {
    for (std::size_t index = 0; index < steps_->size() && !cancelled_; ++index) {
        const auto step = steps_->getObject(index);
        const std::string kind = step->getKeys().front();
        try {
            doStep(bus, kind, *step, print);
        } catch (const std::exception& exception) {
            fail(index, "\"" + kind + "\": " + exception.what());
        }
    }
}

void Scenario::cancel() {
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    cancelling_.notify_all();
}

void Scenario::doStep(BusSimulator& bus, const std::string& kind, const zebutil::JsonObject& step,
                      const Print& print) {
    if (kind == "print") {
        print(step.getString(kind));
        return;
    }
    const auto object = step.getObject(kind);
    const zebutil::JsonObject& members = *object;
    const auto text = [&](const std::string& key) { return members.getString(key); };
    if (kind == "set") {
        bus.set(text("path"), members.getObject("data")->toString());
    } else if (kind == "add") {
        bus.addElement(text("path"), members.getObject("data")->toString());
    } else if (kind == "remove") {
        bus.removeElement(text("path"));
    } else if (kind == "drop") {
        bus.dropConnections(text("service"));
    } else if (kind == "wait") {
        doWait(bus, members);
    } else if (members.has("available")) {
        bus.setServiceAvailable(text("name"), members.getBool("available"));
    } else {
        members.getBool("present") ? bus.addService(text("name")) : bus.removeService(text("name"));
    }
}

void Scenario::doWait(BusSimulator& bus, const zebutil::JsonObject& wait) {
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    if (wait.has("ms")) {
        std::unique_lock lock(mutex_);
        cancelling_.wait_for(lock, milliseconds(wait.getInt64("ms")), [this] { return cancelled_.load(); });
        return;
    }
    const auto subscribers = wait.getObject("subscribers");
    const std::string path = subscribers->getString("path");
    const auto count = static_cast<std::size_t>(subscribers->getInt64("count"));
    const bool limited = wait.has("timeout");
    const auto deadline = steady_clock::now() + milliseconds(limited ? wait.getInt64("timeout") : 0);
    // The bus wakes this thread when the subscribers arrive. The short time is only for noticing a cancel.
    while (!cancelled_ && !bus.waitForSubscribers(path, count, kLookForCancelling)) {
        if (limited && steady_clock::now() >= deadline) {
            throw std::runtime_error("the time is over: " + path + " has " +
                                     std::to_string(bus.subscriberCount(path)) + " subscribers, expected " +
                                     std::to_string(count));
        }
    }
}

}  // namespace zebbussim
