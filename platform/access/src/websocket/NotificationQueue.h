#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "SubscriptionRecord.h"

namespace zeb {

/// What one WebSocket has received and its executor has not delivered yet. Filled on the I/O thread, emptied
/// in batches on the executor thread. It never refuses: whoever fills it stops reading when it is full.
class NotificationQueue {
 public:
    struct Notification {
        std::shared_ptr<SubscriptionRecord> subscription;
        std::string data;
    };

    /// @return whether the executor has to be told, since the queue was empty
    bool push(Notification notification) {
        count_.fetch_add(1);
        bytes_.fetch_add(notification.data.size());
        const std::lock_guard<std::mutex> lock(mutex_);
        waiting_.push_back(std::move(notification));
        return waiting_.size() == 1;
    }

    /// Everything that waits, in order. `batch` has to be empty; its storage is used again.
    void takeAll(std::vector<Notification>& batch) {
        const std::lock_guard<std::mutex> lock(mutex_);
        batch.swap(waiting_);
    }

    /// One notification of `size` bytes that was taken has been dealt with.
    void delivered(std::size_t size) {
        count_.fetch_sub(1);
        bytes_.fetch_sub(size);
    }

    bool isFull() const { return count_ > HIGH_COUNT || bytes_ > HIGH_BYTES; }
    bool hasRoom() const { return count_ < LOW_COUNT && bytes_ < LOW_BYTES; }

 private:
    static constexpr std::size_t HIGH_COUNT = 1024;
    static constexpr std::size_t LOW_COUNT = 256;
    // Large elements would make a thousand of them large too.
    static constexpr std::size_t HIGH_BYTES = std::size_t{4} * 1024 * 1024;
    static constexpr std::size_t LOW_BYTES = std::size_t{1} * 1024 * 1024;

    std::mutex mutex_;
    std::vector<Notification> waiting_;
    // Both count what was pushed and not yet delivered, taken or not.
    std::atomic<std::size_t> count_{0};
    std::atomic<std::size_t> bytes_{0};
};

}  // namespace zeb
