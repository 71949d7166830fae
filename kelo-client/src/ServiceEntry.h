#pragma once

#include <zebutil/JsonObject.h>

#include <cstdint>
#include <optional>
#include <string>

namespace kelo_client {

/// The string under the key; none if the key is missing or has a value of another type.
std::optional<std::string> findString(const zebutil::JsonObject& object, const std::string& key);

/// An entry of "serviceSettings" as it is in the file. What is missing, or has a value of another type, is
/// empty.
struct ServiceEntry {
    static ServiceEntry of(const zebutil::JsonObject& object);

    /// Whether the entry counts. Any other is skipped.
    bool isComplete() const { return service && useSeparator && watchdogTimeout; }

    std::optional<std::string> service;
    std::optional<bool> useSeparator;
    std::optional<std::int64_t> watchdogTimeout;
};

}  // namespace kelo_client
