#include "ServiceEntry.h"

#include <zebutil/JsonException.h>

#include "ConfigurationKeys.h"

namespace kelo_client {

using zebutil::JsonObject;

namespace {

/// The value that the strict getter returns; none if the key is missing or has another type. An exception
/// takes some microseconds, so a missing key is found without one.
template <typename Value>
std::optional<Value> find(const JsonObject& object, const std::string& key,
                          Value (JsonObject::*get)(const std::string&) const) {
    if (!object.has(key)) {
        return std::nullopt;
    }
    try {
        return (object.*get)(key);
    } catch (const zebutil::JsonException&) {
        return std::nullopt;
    }
}

}  // namespace

std::optional<std::string> findString(const JsonObject& object, const std::string& key) {
    if (!object.isString(key)) {
        return std::nullopt;
    }
    return object.getString(key);
}

ServiceEntry ServiceEntry::of(const JsonObject& object) {
    ServiceEntry entry;
    entry.service = findString(object, keys::kService);
    entry.useSeparator = find(object, keys::kUseSeparator, &JsonObject::getBool);
    entry.watchdogTimeout = find(object, keys::kWatchdogTimeout, &JsonObject::getInt64);
    return entry;
}

}  // namespace kelo_client
