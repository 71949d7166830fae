#include "Scenario.h"

#include <Poco/JSON/Object.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

#include "BusError.h"
#include "Json.h"

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

bool hasType(const Poco::Dynamic::Var& value, Type type) {
    switch (type) {
        case Type::String:
            return value.type() == typeid(std::string);
        case Type::Object:
            return value.type() == typeid(Poco::JSON::Object::Ptr);
        case Type::Boolean:
            return value.isBoolean();
        case Type::Count:
            return value.isInteger() && !value.isBoolean() && value.convert<Poco::Int64>() >= 0 &&
                   value.convert<Poco::Int64>() <= 1000000000;
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
            return "an integer of 0 or more";
    }
    return "";
}

/// Describes what is wrong with the members; empty if nothing is.
std::string problemWith(const Poco::JSON::Object& object, const std::vector<Member>& members) {
    for (const std::string& key : object.getNames()) {
        const auto known = std::find_if(members.begin(), members.end(),
                                        [&](const Member& member) { return member.key == key; });
        if (known == members.end()) {
            return "\"" + key + "\" is unknown here";
        }
        const Poco::Dynamic::Var value = object.get(key);
        if (value.isEmpty() || !hasType(value, known->type)) {
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

constexpr std::chrono::milliseconds kLookForCancelling{50};

}  // namespace

Scenario Scenario::fromFile(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) {
        throw std::runtime_error("Cannot read the scenario " + fileName);
    }
    return fromText(text, "Scenario " + fileName);
}

Scenario Scenario::fromText(const std::string& json, const std::string& source) {
    Poco::JSON::Object::Ptr wrapped;
    try {
        wrapped = parseJsonObject("{\"steps\":" + json + "}", source);
    } catch (const BusError& error) {
        throw std::runtime_error(error.what());
    }
    if (!wrapped->isArray("steps")) {
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
    const Poco::JSON::Object::Ptr step = steps_->getObject(static_cast<unsigned int>(index));
    if (step.isNull() || step->size() != 1) {
        fail(index, "a step must be an object with one member, the kind of step");
    }
    const std::string kind = step->getNames().front();
    const auto known = stepKinds().find(kind);
    if (known == stepKinds().end()) {
        fail(index, "\"" + kind + "\" is not one of add, drop, print, remove, service, set, wait");
    }
    if (kind == "print") {
        if (!hasType(step->get(kind), Type::String)) {
            fail(index, "\"print\" must be a string");
        }
        return;
    }
    if (!step->isObject(kind)) {
        fail(index, "\"" + kind + "\" must be an object");
    }
    const Poco::JSON::Object::Ptr members = step->getObject(kind);
    std::string problem = problemWith(*members, known->second);
    if (problem.empty() && kind == "service" && members->has("available") == members->has("present")) {
        problem = "exactly one of \"available\" and \"present\" is required";
    }
    if (problem.empty() && kind == "wait" && members->has("ms") == members->has("subscribers")) {
        problem = "exactly one of \"ms\" and \"subscribers\" is required";
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
        const Poco::JSON::Object::Ptr step = steps_->getObject(static_cast<unsigned int>(index));
        const std::string kind = step->getNames().front();
        try {
            doStep(bus, kind, step->get(kind), print);
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

void Scenario::doStep(BusSimulator& bus, const std::string& kind, const Poco::Dynamic::Var& value,
                      const Print& print) {
    if (kind == "print") {
        print(value.extract<std::string>());
        return;
    }
    const Poco::JSON::Object& members = *value.extract<Poco::JSON::Object::Ptr>();
    const auto text = [&](const std::string& key) { return members.getValue<std::string>(key); };
    if (kind == "set") {
        bus.set(text("path"), toText(*members.getObject("data")));
    } else if (kind == "add") {
        bus.addElement(text("path"), toText(*members.getObject("data")));
    } else if (kind == "remove") {
        bus.removeElement(text("path"));
    } else if (kind == "drop") {
        bus.dropConnections(text("service"));
    } else if (kind == "wait") {
        doWait(bus, members);
    } else if (members.has("available")) {
        bus.setServiceAvailable(text("name"), members.getValue<bool>("available"));
    } else {
        members.getValue<bool>("present") ? bus.addService(text("name")) : bus.removeService(text("name"));
    }
}

void Scenario::doWait(BusSimulator& bus, const Poco::JSON::Object& wait) {
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    if (wait.has("ms")) {
        std::unique_lock lock(mutex_);
        cancelling_.wait_for(lock, milliseconds(wait.getValue<int>("ms")),
                             [this] { return cancelled_.load(); });
        return;
    }
    const Poco::JSON::Object& subscribers = *wait.getObject("subscribers");
    const std::string path = subscribers.getValue<std::string>("path");
    const auto count = static_cast<std::size_t>(subscribers.getValue<int>("count"));
    const bool limited = wait.has("timeout");
    const auto deadline = steady_clock::now() + milliseconds(limited ? wait.getValue<int>("timeout") : 0);
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
