#pragma once

#include <zebutil/JsonObject.h>

#include <cstddef>
#include <memory>
#include <string>

namespace kelo_client {

/// The most bytes that a configuration may have.
constexpr std::size_t kLargestConfiguration = 1'048'576;

/// Whether nothing is at the path. If that cannot be known, because of a loop of symbolic links for instance,
/// returns false: reading the file then tells the reason.
bool isMissing(const std::string& path) noexcept;

/// Whether a file that could not be read for this error number of the system may be read later. The number
/// then says nothing about the file.
bool mayPass(int error) noexcept;

/// Returns the content of a regular file. Never waits: whatever else is at the path is not opened.
/// @throws Poco::Exception with the path, if it is not a regular file of at most kLargestConfiguration bytes
///         that can be read; with the system's error number as code, if opening or reading it failed
std::string readConfigurationFile(const std::string& path);

/// Parses the text, which must be one JSON object.
/// @throws Poco::JSON::JSONException with line, column and reason, if it is not JSON
/// @throws Poco::BadCastException, Poco::InvalidAccessException with Poco's own texts, if it is JSON of
///         another type, or null
std::shared_ptr<const zebutil::JsonObject> parseConfiguration(const std::string& text);

}  // namespace kelo_client
