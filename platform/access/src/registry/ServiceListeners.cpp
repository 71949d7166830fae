#include "ServiceListeners.h"

#include <algorithm>
#include <utility>

namespace zeb {

void ServiceListeners::add(const std::shared_ptr<FollowingListener>& listener) {
    if (std::find(listeners_.begin(), listeners_.end(), listener) == listeners_.end()) {
        listeners_.push_back(listener);
    }
}

template <typename IsGone>
std::vector<std::shared_ptr<FollowingListener>> ServiceListeners::takeThose(IsGone isGone) {
    const auto gone = std::stable_partition(listeners_.begin(), listeners_.end(),
                                            [&](const auto& listener) { return !isGone(*listener); });
    std::vector<std::shared_ptr<FollowingListener>> taken(gone, listeners_.end());
    listeners_.erase(gone, listeners_.end());
    for (const auto& listener : taken) {
        listener->takeBack();
    }
    return taken;
}

std::vector<std::shared_ptr<FollowingListener>> ServiceListeners::takeAbandoned() {
    if (listeners_.size() < mostUnchecked_) {
        return {};
    }
    auto abandoned = takeThose([](const FollowingListener& listener) { return listener.isAbandoned(); });
    mostUnchecked_ = std::max(kFew, 2 * listeners_.size());
    return abandoned;
}

std::vector<std::shared_ptr<FollowingListener>> ServiceListeners::take(
    const std::weak_ptr<const void>& owner) {
    return takeThose([&owner](const FollowingListener& listener) { return listener.isOf(owner); });
}

void ServiceListeners::tellConnected(const std::shared_ptr<ZebAccessor>& accessor,
                                     const std::shared_ptr<IWebsocketManager>& manager) {
    for (const auto& listener : listeners_) {
        if (!listener->isToldOfConnection) {
            execute_("service connected",
                     [listener, accessor, manager] { listener->connected(accessor, manager); });
            listener->isToldOfConnection = true;
            listener->unavailableBecause.clear();
        }
    }
}

void ServiceListeners::tellDisconnected() {
    for (const auto& listener : listeners_) {
        if (listener->isToldOfConnection) {
            execute_("service disconnected", [listener] { listener->disconnected(); });
            listener->isToldOfConnection = false;
        }
    }
}

void ServiceListeners::tellUnavailable(const LinkStatus& status) {
    for (const auto& listener : listeners_) {
        const std::string& reason = status.get().reason;
        if (listener->listensFor(reason, status.isHopeful())) {
            execute_("service unavailable", [listener, reason] { listener->unavailable(reason); });
            listener->unavailableBecause = reason;
        }
    }
}

void ServiceListeners::tellError(const std::string& text) {
    for (const auto& listener : listeners_) {
        execute_("service error", [listener, text] { listener->error(text); });
    }
}

}  // namespace zeb
