#pragma once

#include <zeb/Subscription.h>

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
    WebsocketSubscription(std::weak_ptr<WebsocketManager> manager, SubscriptionRecord::Hold record)
        : manager_(std::move(manager)), record_(std::move(record)) {}
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

 private:
    const std::weak_ptr<WebsocketManager> manager_;
    const SubscriptionRecord::Hold record_;
};

}  // namespace zeb
