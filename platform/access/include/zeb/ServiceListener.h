#pragma once

#include <exception>
#include <functional>
#include <memory>

namespace zeb {

/// The three handlers of a client that follows service `S`. All of them run on the registry's executor
/// thread. connected and disconnected strictly alternate, starting with connected. Handlers should hold their
/// object weakly, because the registry keeps them until it is stopped.
template <typename S>
struct ServiceListener {
    std::function<void(std::shared_ptr<S>)> connected;
    std::function<void()> disconnected;
    std::function<void(std::exception)> error;
};

}  // namespace zeb
