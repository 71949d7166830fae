#pragma once

#include <ZebDataObjects_ZEB/Clampcontrol.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zeb {
class DefaultWebsocketManagerFactory;
class IServiceRegistry;
class Subscription;
}  // namespace zeb
namespace zebutil {
class SingleThreadAsyncTaskExecutor;
}

namespace scale {

/// A client that follows any number of elements of the clamp service over one WebSocket. It sets up the
/// platform as the client framework does, with typed data objects on top. Owned by main(), whose thread calls
/// it.
class Client {
 public:
    using Clamp = zebobjects_ZEB::ClampcontrolService::Clamp;
    /// Receives the number of the subscription. Always called on the same thread of the platform.
    using Handler = std::function<void(std::size_t subscription, const Clamp& clamp)>;

    /// Returns once the service is connected.
    explicit Client(const std::string& serverBaseUri);
    /// No handler runs after it has returned.
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Subscribes to the elements "1" to `count`. Does not wait for their states.
    void subscribe(std::size_t count, Handler handler);

 private:
    const std::shared_ptr<zeb::DefaultWebsocketManagerFactory> websockets_;
    const std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> zebExecutor_;
    const std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> httpExecutor_;
    std::shared_ptr<zeb::IServiceRegistry> registry_;
    std::shared_ptr<zebobjects_ZEB::ClampcontrolService> service_;
    Handler handler_;
    std::vector<std::shared_ptr<zeb::Subscription>> subscriptions_;
};

}  // namespace scale
