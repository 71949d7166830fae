#pragma once

#include <array>
#include <string_view>

namespace kelo_client {

/// The service that the client follows.
constexpr std::string_view kClampControl = "ClampControl";

/// The services that have data objects. Constants, because the names that the data objects give are destroyed
/// at exit.
constexpr std::array<std::string_view, 4> kKnownServices = {kClampControl, "Immobilizer", "AuthenticTime",
                                                            "servicemanagement"};

}  // namespace kelo_client
