#pragma once

#include <internal/EscapedText.h>
#include <zeb/IWebsocketManager.h>

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "io/ReservedPost.h"

namespace zeb {

/// One subscription, shared by its WebSocket, its queued notifications and its user. Each has a hold on it,
/// and the last to let go destroys it.
///
/// With many subscriptions, most of the additional cost of a notification is fetching memory. So the record
/// contains its own reference count, and each thread finds what it needs for a notification in one cache
/// line.
// The padding is intended.
struct SubscriptionRecord {  // NOLINT(clang-analyzer-optin.performance.Padding)
    using Hold = boost::intrusive_ptr<SubscriptionRecord>;

    static constexpr std::size_t kCacheLineSize = 64;

    /// Takes over the destruction of a record, for instance to do it on another thread.
    using Disposer = std::function<void(std::unique_ptr<SubscriptionRecord>)>;

    /// @param lastDisposer called by the last to let go; if empty, the record is destroyed right there
    SubscriptionRecord(std::string subscribedPath, std::string elementUuid,
                       IWebsocketManager::DataHandler dataHandler,
                       IWebsocketManager::EndedHandler endedHandler, Disposer lastDisposer = {})
        : handler(std::move(dataHandler)),
          ended(std::move(endedHandler)),
          path(std::move(subscribedPath)),
          uuid(std::move(elementUuid)),
          disposer(std::move(lastDisposer)) {}

    /// The path for a message. The server has chosen it: a long one must not push the rest out of the line.
    std::string shownPath() const {
        constexpr std::size_t kMostShown = 100;
        return internal::escapedText(path, kMostShown);
    }

    // Used by the executor.
    alignas(kCacheLineSize) const IWebsocketManager::DataHandler handler;
    std::atomic<bool> active = true;  ///< whether a new call of the handler may begin

    // Used by the I/O thread, except `holds`, which every thread uses.
    alignas(kCacheLineSize) std::string subscriptionId;  ///< empty until the server has accepted
    std::int64_t nextSeq = 0;
    std::uint64_t request = 0;  ///< the number of the request for it
    std::atomic<std::size_t> holds = 0;

    // Used rarely, by both.
    alignas(kCacheLineSize) const IWebsocketManager::EndedHandler ended;  ///< of the executor; may be empty
    const std::string path;
    const std::string uuid;
    Disposer disposer;
    std::atomic<bool> isUnsubscribed = false;
    std::atomic<bool> isEndedByServer = false;  ///< received, but perhaps not told yet
    ReservedPost unsubscribePost;               ///< a subscription is released at the end of the process, too
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
