#pragma once

#include <optional>
#include <string_view>

namespace zebbussim {

/// A file that is part of the program: the control panel ("panel/index.html") and the vehicle of --demo
/// ("bus/vehicle.json"). Nothing if there is none of this name. simulator/CMakeLists.txt lists them.
std::optional<std::string_view> embeddedFile(std::string_view name);

}  // namespace zebbussim
