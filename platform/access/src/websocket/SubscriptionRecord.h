#pragma once

#include <zeb/IWebsocketManager.h>

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace zeb {

/// One subscription, as its WebSocket, its queued notifications and its user share it: each has a hold on it,
/// and the last to let go destroys it.
///
/// With many subscriptions, what a notification costs more is the memory that it has to fetch. So a record
/// counts its holds itself, and what each thread needs of it for a notification is in one cache line.
// The padding is meant.
struct SubscriptionRecord {  // NOLINT(clang-analyzer-optin.performance.Padding)
    using Hold = boost::intrusive_ptr<SubscriptionRecord>;

    static constexpr std::size_t kCacheLineSize = 64;

    /// Destroys it in a place of its choice.
    using Disposer = std::function<void(std::unique_ptr<SubscriptionRecord>)>;

    /// @param lastDisposer what the last to let go calls; if empty, that one destroys it itself
    SubscriptionRecord(std::string subscribedPath, std::string elementUuid,
                       IWebsocketManager::DataHandler dataHandler,
                       IWebsocketManager::EndedHandler endedHandler, Disposer lastDisposer = {})
        : handler(std::move(dataHandler)),
          ended(std::move(endedHandler)),
          path(std::move(subscribedPath)),
          uuid(std::move(elementUuid)),
          disposer(std::move(lastDisposer)) {}

    // Of the executor.
    alignas(kCacheLineSize) const IWebsocketManager::DataHandler handler;
    std::atomic<bool> active = true;  ///< whether a new call of the handler may begin

    // Of the I/O thread, but for the last.
    alignas(kCacheLineSize) std::string subscriptionId;  ///< empty until the server has accepted
    std::int64_t nextSeq = 0;
    std::atomic<std::size_t> holds = 0;

    // Of both, now and then.
    alignas(kCacheLineSize) const IWebsocketManager::EndedHandler ended;  ///< of the executor; may be empty
    const std::string path;
    const std::string uuid;
    Disposer disposer;
};

inline void intrusive_ptr_add_ref(SubscriptionRecord* record) noexcept {
    record->holds.fetch_add(1, std::memory_order_relaxed);
}

inline void intrusive_ptr_release(SubscriptionRecord* record) {
    if (record->holds.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        const auto disposer = std::move(record->disposer);
        std::unique_ptr<SubscriptionRecord> last(record);
        if (disposer) {
            disposer(std::move(last));
        }
    }
}

}  // namespace zeb
