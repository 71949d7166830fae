#pragma once

#include <zeb/UntypedServiceListener.h>
#include <zeb/ZebException.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "tasks/UntilThereIsMemory.h"

namespace zeb {

/// A listener of one service, and what it has been told. Shared by the registry and the tasks that call it.
class FollowingListener {
 public:
    explicit FollowingListener(UntypedServiceListener handlers) : handlers_(std::move(handlers)) {}

    const std::string& service() const { return handlers_.serviceName; }

    bool isOf(const std::weak_ptr<const void>& owner) const {
        return !handlers_.owner.owner_before(owner) && !owner.owner_before(handlers_.owner);
    }

    /// Whether it belongs to somebody who has been destroyed.
    bool isAbandoned() const { return handlers_.owner.expired() && !isOf({}); }

    /// Whether it is to be told this reason. One that has not been told of a failure does not have to be told
    /// that there is hope.
    bool listensFor(const std::string& reason, bool isHopeful) const {
        return handlers_.unavailable && unavailableBecause != reason &&
               !(isHopeful && unavailableBecause.empty());
    }

    /// No new call of a handler begins. Any thread.
    void takeBack() { isTakenBack_ = true; }
    bool isTakenBack() const { return isTakenBack_; }

    // ------------------------------------------------------------------------- on the executor thread

    void connected(const std::shared_ptr<ZebAccessor>& accessor,
                   const std::shared_ptr<IWebsocketManager>& manager) {
        isConnected_ = true;
        if (handlers_.connected && !isTakenBack_) {
            std::shared_ptr<Service> service;
            untilThereIsMemory([&] { service = handlers_.createService(accessor, manager); });
            // Meanwhile the executor may have been stopped, or the listener taken back.
            if (service && !isTakenBack_) {
                handlers_.connected(service);
            } else {
                isConnected_ = false;
            }
        }
    }

    void disconnected() {
        if (std::exchange(isConnected_, false) && handlers_.disconnected && !isTakenBack_) {
            handlers_.disconnected();
        }
    }

    void unavailable(const std::string& reason) const {
        if (!isTakenBack_) {
            handlers_.unavailable(reason);
        }
    }

    void error(const std::string& text) const {
        if (handlers_.error && !isTakenBack_) {
            handlers_.error(ZebException(text, "service registry"));
        }
    }

    // Under the registry's lock: what it has been told, or is about to be.
    bool isToldOfConnection = false;
    std::string unavailableBecause;

 private:
    const UntypedServiceListener handlers_;
    bool isConnected_ = false;  ///< for the executor thread only
    std::atomic<bool> isTakenBack_ = false;
};

}  // namespace zeb
