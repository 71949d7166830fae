#pragma once

#include <zeb/IWebsocketManager.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace zeb {

/// One subscription, as its WebSocket, its queued notifications and its user share it.
// The padding is meant: see its end.
struct SubscriptionRecord {  // NOLINT(clang-analyzer-optin.performance.Padding)
    SubscriptionRecord(std::string subscribedPath, std::string elementUuid,
                       IWebsocketManager::DataHandler dataHandler,
                       IWebsocketManager::EndedHandler endedHandler)
        : handler(std::move(dataHandler)),
          ended(std::move(endedHandler)),
          path(std::move(subscribedPath)),
          uuid(std::move(elementUuid)) {}

    // What every notification needs of it on the executor, in one cache line: with many subscriptions,
    // fetching those is what a notification costs more.
    alignas(64) const IWebsocketManager::DataHandler handler;  ///< called on the executor thread only
    std::atomic<bool> active{true};  ///< whether a new call of the handler may begin

    const IWebsocketManager::EndedHandler ended;  ///< called as the handler is; may be empty
    const std::string path;
    const std::string uuid;

    // Of the I/O thread alone, and not in one cache line with what the executor reads.
    alignas(64) std::string subscriptionId;  ///< empty until the server has accepted
    std::int64_t nextSeq{0};
};

}  // namespace zeb
