#pragma once

#include <string>

namespace kelo_client {
class ConfigurationManager;
struct ConfigurationReport;
}  // namespace kelo_client

namespace clampcontrolclient {

/// What is wrong with the configuration that may be why a service cannot be connected, with the place in the
/// file: the gravest finding, and a key, a name or a mode that was probably mistyped. Empty if nothing is.
std::string configurationHint(const kelo_client::ConfigurationReport& report);

/// The same for the file that was read at the start. Reads it again; throws nothing but `std::bad_alloc`.
std::string configurationHint(const kelo_client::ConfigurationManager& configuration);

}  // namespace clampcontrolclient
