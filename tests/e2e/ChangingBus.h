#pragma once

#include <TemporaryDirectory.h>

#include <string>

namespace e2e {

/// A bus with the element "c15" of terminal 15.
constexpr const char* kChangingBus =
    R"({"services":{"ClampControl":{"clamps":[{"id":"c15","type":"Clamp15","isSwitchedOn":true}]}}})";

/// Starts that bus in this process and returns its base URI. Its terminal 15 changes endlessly. Like a real
/// bus, it does not end with the process's statics.
std::string startChangingBus();

/// Makes the process's client-service base with a configuration that names this bus. It applies to all
/// clients of the process.
void configureClients(const test_support::TemporaryDirectory& directory, const std::string& baseUri);

}  // namespace e2e
