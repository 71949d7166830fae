#pragma once

#include <exception>
#include <functional>
#include <memory>

namespace zeb {

/// The three handlers of a client that follows service `S`. All of them run on the registry's executor
/// thread. connected and disconnected strictly alternate, starting with connected. Handlers should hold their
/// object weakly, because the registry keeps them until it is stopped, or until their owner is destroyed.
template <typename S>
struct ServiceListener {
    std::function<void(std::shared_ptr<S>)> connected;
    std::function<void()> disconnected;
    std::function<void(std::exception)> error;
    /// Whose handlers these are. If it is set, the registry drops the listener some time after the owner's
    /// destruction. May be empty.
    std::weak_ptr<const void> owner = {};
};

}  // namespace zeb
