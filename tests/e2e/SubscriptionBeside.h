#pragma once

#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <kelo-client/ClientServiceBase.h>
#include <zeb/IServiceRegistry.h>
#include <zeb/Service.h>
#include <zeb/ServiceListener.h>
#include <zeb/Subscription.h>

#include <functional>
#include <memory>
#include <utility>

namespace e2e {

/// Follows a clamp beside the client, on the same connection, to see more of each value than the client
/// reports. Subscribes whenever the service is connected. Its functions are called on the library's thread.
class SubscriptionBeside {
 public:
    using Clamp = zebobjects_ZEB::ClampcontrolService::Clamp;

    struct Events {
        std::function<void()> connected = [] {};
        std::function<void()> disconnected = [] {};
        std::function<void(const Clamp&)> told = [](const Clamp&) {};
    };

    /// Call it after the client was created.
    explicit SubscriptionBeside(Events events) : state_(std::make_shared<State>()) {
        state_->events = std::move(events);
        zeb::ServiceListener<zebobjects_ZEB::ClampcontrolService> listener;
        listener.connected = [state = state_](const auto& service) {
            state->events.connected();
            zebobjects_ZEB::ClampcontrolService::ClampDescriptor descriptor;
            descriptor.setId("1");
            try {
                state->subscription = service->template subscribeElement<Clamp>(
                    descriptor, [events = &state->events](const std::shared_ptr<const Clamp>& clamp) {
                        if (clamp) {
                            events->told(*clamp);
                        }
                    });
            } catch (const std::exception&) {
                // Already lost again; the next connection makes the next attempt.
            }
        };
        listener.disconnected = [state = state_] {
            state->subscription.reset();
            state->events.disconnected();
        };
        kelo_client::ClientServiceBase::getInstance()->getServiceRegistry()->registerServiceListener(
            listener);
    }

 private:
    struct State {
        Events events;
        std::shared_ptr<zeb::Subscription> subscription;
    };
    std::shared_ptr<State> state_;
};

}  // namespace e2e
