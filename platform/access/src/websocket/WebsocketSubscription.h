#pragma once

#include <zeb/Subscription.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "SubscriptionRecord.h"
#include "WebsocketManager.h"

namespace zeb {

/// The user's end of a subscription. Any thread may use it. The connection keeps the record, and may end
/// before this object.
class WebsocketSubscription : public Subscription {
 public:
    WebsocketSubscription(std::weak_ptr<WebsocketManager> manager,
                          std::shared_ptr<const std::atomic<bool>> isConnectionOpen,
                          SubscriptionRecord::Hold record)
        : manager_(std::move(manager)),
          isConnectionOpen_(std::move(isConnectionOpen)),
          record_(std::move(record)) {}
    ~WebsocketSubscription() override { WebsocketSubscription::unsubscribe(); }
    WebsocketSubscription(const WebsocketSubscription&) = delete;
    WebsocketSubscription& operator=(const WebsocketSubscription&) = delete;

    std::string getUuidOfElement() const override { return record_->uuid; }

    void unsubscribe() override {
        record_->active = false;
        if (const auto manager = manager_.lock()) {
            manager->unsubscribe(record_);
        }
    }

    bool isActive() const override {
        return *isConnectionOpen_ && record_->active && !record_->isEndedByServer;
    }

 private:
    const std::weak_ptr<WebsocketManager> manager_;
    const std::shared_ptr<const std::atomic<bool>> isConnectionOpen_;
    const SubscriptionRecord::Hold record_;
};

}  // namespace zeb
