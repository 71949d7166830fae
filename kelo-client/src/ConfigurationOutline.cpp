#include "ConfigurationOutline.h"

#include <internal/EscapedText.h>
#include <internal/SimilarWord.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <utility>

#include "ConfigurationKeys.h"
#include "KnownServices.h"

namespace kelo_client {

using internal::isSameWord;
using internal::mistypedWord;
using internal::similarWord;
using internal::Words;

/// An object of the file, and the keys that are read there.
struct OutlineReader::Level {
    std::string name;
    Words keys;
};

namespace {

constexpr std::size_t kMostServices = 1000;
constexpr std::size_t kMostEntries = 1000;
constexpr std::size_t kLongestNumber = 64;

std::string quotedKey(std::string_view key) {
    return '"' + std::string(key) + '"';
}

/// The text that a string of the file stands for.
std::string stringOf(std::string_view quotedText) {
    if (quotedText.find('\\') == std::string_view::npos) {
        return std::string(quotedText.substr(1, quotedText.size() - 2));
    }
    return zebutil::JsonObject::parse("{\"\":" + std::string(quotedText) + "}")->getString("");
}

bool isKnownService(const std::string& name) {
    return std::find(kKnownServices.begin(), kKnownServices.end(), name) != kKnownServices.end();
}

}  // namespace

OutlineReader::Level OutlineReader::levelOf(Part part) {
    switch (part) {
        case Part::Root:
            return {"the outermost object", {keys::kServiceRegistrySettings, keys::kServices, keys::kSchema}};
        case Part::Registry:
            return {quotedKey(keys::kServiceRegistrySettings),
                    {keys::kMode, keys::kHttpUri, keys::kServiceSettings}};
        case Part::Entry:
            return {"an entry of " + quotedKey(keys::kServiceSettings),
                    {keys::kService, keys::kUseSeparator, keys::kWatchdogTimeout}};
        case Part::Service:
            break;
    }
    return {"the object of a service in " + quotedKey(keys::kServices),
            {keys::kServerBaseUri, keys::kServerBasePathHttp, keys::kServerBasePathWs,
             keys::kSeparatorAfterRessource, keys::kWatchdogTimeout}};
}

ConfigurationOutline OutlineReader::read() {
    ConfigurationOutline outline;
    outline.root = readMembers(places_.root(), "", Part::Root);
    if (const auto* registry = section(outline.root, "", keys::kServiceRegistrySettings, Kind::Object)) {
        outline.registry = readMembers(*registry, keys::kServiceRegistrySettings, Part::Registry);
    }
    if (const auto* entries =
            section(outline.registry, keys::kServiceRegistrySettings, keys::kServiceSettings, Kind::Array)) {
        readEntries(outline, *entries);
    }
    if (const auto* services = section(outline.root, "", keys::kServices, Kind::Object)) {
        readServices(outline, *services);
    }
    return outline;
}

const JsonPlace* OutlineReader::section(const Members& members, const std::string& path, const char* key,
                                        Kind kind) {
    const auto member = members.find(key);
    if (member == members.end()) {
        return nullptr;
    }
    const JsonPlace& value = member->second.value;
    if (value.kind != kind) {
        findings_.add(Severity::Warning, value.begin, memberPath(path, key),
                      std::string("expected ") + (kind == Kind::Array ? "an array" : "an object") +
                          ", found " + found(value) + "; it is ignored");
        return nullptr;
    }
    return &value;
}

OutlineReader::Members OutlineReader::readMembers(const JsonPlace& object, const std::string& path,
                                                  Part part) {
    const Level level = levelOf(part);
    Members members;
    places_.forEachMember(object, [&](const JsonPlace& keyPlace, const JsonPlace& value) {
        const std::size_t byte = keyPlace.begin;
        const std::string key = stringOf(text(keyPlace));
        const auto known = std::find(level.keys.begin(), level.keys.end(), key);
        if (known == level.keys.end()) {
            reportUnknownKey(byte, path, key, part);
            return;
        }
        const auto [member, isNew] = members.emplace(*known, ConfigurationOutline::Member{byte, value});
        if (!isNew) {
            reportRepeatedKey(byte, path, key, member->second);
            member->second = {byte, value};
        }
    });
    return members;
}

void OutlineReader::reportRepeatedKey(std::size_t byte, const std::string& path, const std::string& key,
                                      const ConfigurationOutline::Member& before) {
    if (!findings_.hasRoom(Severity::Warning)) {
        findings_.leaveOut();
        return;
    }
    findings_.add(Severity::Warning, byte, path,
                  "repeated key " + quoted(key) + ", which is also at " + textPlaces_.of(before.key).text() +
                      "; only the last one counts");
}

void OutlineReader::reportUnknownKey(std::size_t byte, const std::string& path, const std::string& key,
                                     Part part) {
    // A file of such keys must not take long.
    if (!findings_.hasRoom(Severity::Warning)) {
        findings_.leaveOut();
        return;
    }
    const std::string text = "unknown key " + quoted(key);
    const auto suggest = [&](std::string_view meant) {
        findings_.add(Severity::Warning, byte, path, text + "; did you mean " + quotedKey(meant) + "?");
    };
    const Level level = levelOf(part);
    if (const std::string_view mistyped = mistypedWord(key, level.keys, 1); !mistyped.empty()) {
        suggest(mistyped);
        return;
    }
    for (const Part other : {Part::Root, Part::Registry, Part::Entry, Part::Service}) {
        const Level otherLevel = levelOf(other);
        for (const std::string_view candidate : otherLevel.keys) {
            if (isSameWord(key, candidate)) {
                findings_.add(Severity::Warning, byte, path,
                              text + " here; " + quotedKey(candidate) + " belongs in " + otherLevel.name);
                return;
            }
        }
    }
    if (const std::string_view similar = similarWord(key, level.keys); !similar.empty()) {
        suggest(similar);
        return;
    }
    std::string known;
    for (const std::string_view candidate : level.keys) {
        known += (known.empty() ? "" : ", ") + quotedKey(candidate);
    }
    findings_.add(Severity::Warning, byte, path, text + "; it is ignored. The keys here are " + known);
}

void OutlineReader::readEntries(ConfigurationOutline& outline, const JsonPlace& array) {
    const std::string path = memberPath(keys::kServiceRegistrySettings, keys::kServiceSettings);
    std::size_t index = 0;
    places_.forEachElement(array, [&](const JsonPlace& value) {
        const std::string entryPath = path + "[" + std::to_string(index) + "]";
        if (++index > kMostEntries) {
            return;
        }
        if (value.kind != Kind::Object) {
            findings_.add(Severity::Warning, value.begin, entryPath,
                          "expected an object, found " + found(value) + "; this entry is skipped");
            return;
        }
        ConfigurationOutline::Entry entry;
        entry.path = entryPath;
        entry.place = value;
        entry.members = readMembers(value, entryPath, Part::Entry);
        entry.content = ServiceEntry::of(*zebutil::JsonObject::parse(text(value)));
        outline.entries.push_back(std::move(entry));
    });
    if (index > kMostEntries) {
        findings_.add(Severity::Warning, array.begin, path,
                      "only the first " + std::to_string(kMostEntries) + " of " + std::to_string(index) +
                          " entries were checked");
    }
}

void OutlineReader::readServices(ConfigurationOutline& outline, const JsonPlace& object) {
    std::map<std::string, ConfigurationOutline::Member> services;
    places_.forEachMember(object, [&](const JsonPlace& key, const JsonPlace& value) {
        const std::string name = stringOf(text(key));
        if (services.size() >= kMostServices && !isKnownService(name)) {
            ++outline.servicesLeftOut;
            return;
        }
        const auto [service, isNew] = services.emplace(name, ConfigurationOutline::Member{key.begin, value});
        if (!isNew) {
            reportRepeatedKey(key.begin, keys::kServices, name, service->second);
            service->second = {key.begin, value};
        }
    });
    for (auto& [name, place] : services) {
        ConfigurationOutline::Service service{name, place, {}};
        if (place.value.kind == Kind::Object) {
            service.members = readMembers(place.value, memberPath(keys::kServices, name), Part::Service);
        }
        outline.services.push_back(std::move(service));
    }
    if (outline.servicesLeftOut != 0) {
        findings_.add(Severity::Warning, object.begin, keys::kServices,
                      "only the first " + std::to_string(kMostServices) + " services were checked");
    }
}

std::string OutlineReader::found(const JsonPlace& value) const {
    switch (value.kind) {
        case Kind::Object:
            return "an object";
        case Kind::Array:
            return "an array";
        case Kind::String:
            return "a string";
        case Kind::Number:
            return "the number " + internal::escapedText(text(value), kLongestNumber);
        case Kind::Boolean:
        case Kind::Null:
            break;
    }
    return std::string(text(value));
}

}  // namespace kelo_client
