#pragma once

namespace kelo_client {
class ClientServiceBase;
}

namespace clampcontrolclient {

/// The file that configures the clients of a process, unless the application has named another one first.
constexpr auto kConfigurationPath = "/var/run/csc/config/kelo-client/ClientConfig.json";

/// Logs an error if the base was stopped: a client that is made then never does anything.
void complainIfStopped(const kelo_client::ClientServiceBase& base);

}  // namespace clampcontrolclient
