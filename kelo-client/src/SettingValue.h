#pragma once

#include <Poco/Dynamic/Var.h>
#include <zebutil/JsonObject.h>

#include <cstdint>
#include <string>

namespace kelo_client {

/// The value of the key, which must exist, as Poco's parser would give it. An object or an array is empty:
/// only its type counts.
Poco::Dynamic::Var pocoValue(const zebutil::JsonObject& object, const std::string& key);

/// The value of a setting that the section of `service` has.
/// @throws Poco::BadCastException with Poco's own message if the value has another type
/// @throws Poco::InvalidAccessException with Poco's own message if it is null
///
/// The `what()` of either names the service, the key, what was expected and what was found.
std::string stringSetting(const zebutil::JsonObject& section, const std::string& service,
                          const std::string& key);
std::int64_t integerSetting(const zebutil::JsonObject& section, const std::string& service,
                            const std::string& key);

}  // namespace kelo_client
