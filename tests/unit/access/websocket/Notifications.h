#pragma once

#include <zeb/IWebsocketManager.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "websocket/NotificationBatch.h"
#include "websocket/SubscriptionRecord.h"

namespace test_access {

inline zeb::SubscriptionRecord::Hold subscription(const std::string& path,
                                                  zeb::IWebsocketManager::DataHandler handler = nullptr) {
    return new zeb::SubscriptionRecord(path, "1", std::move(handler), nullptr);
}

/// Path and payload of each notification, in the order of delivery.
inline std::vector<std::string> deliver(zeb::NotificationBatch& batch) {
    std::vector<std::string> delivered;
    batch.deliverAll([&](const zeb::SubscriptionRecord& record, std::string_view data) {
        delivered.push_back(record.path + " " + std::string(data));
    });
    return delivered;
}

}  // namespace test_access
