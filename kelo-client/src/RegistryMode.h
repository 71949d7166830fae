#pragma once

#include <zeb/ZebServiceRegistry.h>

#include <optional>
#include <string>

namespace kelo_client {

/// Applies when the configuration names no mode.
constexpr auto kDefaultRegistryMode = zeb::ZebServiceRegistry::Mode::DynamicOnly;

/// The mode with this name; none for any other text, such as "static" or an empty one.
std::optional<zeb::ZebServiceRegistry::Mode> registryModeOf(const std::string& name);

const std::string& nameOf(zeb::ZebServiceRegistry::Mode mode);

}  // namespace kelo_client
