#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <string>

namespace zeb {

/// The handlers of a client that follows service `S`. All of them run on the registry's executor thread.
/// connected and disconnected strictly alternate, starting with connected. Handlers should hold their object
/// weakly, because the registry keeps them until it is stopped, until their owner is destroyed, or until they
/// are taken back with IServiceRegistry::removeServiceListeners().
template <typename S>
struct ServiceListener {
    std::function<void(std::shared_ptr<S>)> connected;
    std::function<void()> disconnected;
    std::function<void(std::exception)> error;
    /// Whose handlers these are. If it is set, the registry drops the listener some time after the owner's
    /// destruction. May be empty.
    std::weak_ptr<const void> owner = {};
    /// Why the service is not connected, in words that follow its name: "not reachable at http://[::1]:80:
    /// Connection refused". Called for each new reason from the first failure on until the service is
    /// connected; when a connection is lost, just before disconnected. May be empty. A platform that does not
    /// know the reason never calls it.
    std::function<void(const std::string& reason)> unavailable = {};
};

}  // namespace zeb
