#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "NotificationBatch.h"

namespace zeb {

/// The notifications that one WebSocket has received and its executor has not delivered yet. The I/O thread
/// pushes them one by one and hands over everything that one read has brought in one step. The executor takes
/// everything that was handed over in one step. Otherwise the threads share no memory that is written for
/// each notification: fetching such a cache line from the other processor costs more than the notification
/// itself.
///
/// The queue never refuses a notification. Its user stops reading when it is full.
// The padding keeps the data of the two threads on separate cache lines.
class NotificationQueue {  // NOLINT(clang-analyzer-optin.performance.Padding)
 public:
    // On the I/O thread.

    void push(const SubscriptionRecord::Hold& subscription, std::string_view data) {
        incoming_.push(subscription, data);
        ++mostCount_;
        mostBytes_ += data.size();
    }

    /// Makes what was pushed available to the executor.
    /// @return whether the executor has to be woken up, because the queue was empty before
    bool handOver() {
        if (incoming_.isEmpty()) {
            return false;
        }
        const std::lock_guard lock(mutex_);
        const std::size_t count = incoming_.count();
        const std::size_t bytes = incoming_.bytes();
        const bool nothingWaited = waiting_.isEmpty();
        if (nothingWaited) {
            std::swap(waiting_, incoming_);
        } else {
            waiting_.append(incoming_);
        }
        longest_ = std::max(longest_, count_ += count);
        bytes_ += bytes;
        return nothingWaited;
    }

    /// The most notifications that ever waited.
    std::size_t longest() const { return longest_; }

    bool isFull() {
        if (isTooMuch()) {
            // The upper bounds do not yet take into account what was delivered since the last look.
            mostCount_ = count_ + incoming_.count();
            mostBytes_ = bytes_ + incoming_.bytes();
        }
        return isTooMuch();
    }

    /// Forgets everything that nobody has taken, and gives its memory back.
    void discard() {
        NotificationBatch incoming;
        NotificationBatch waiting;
        std::swap(incoming, incoming_);
        {
            const std::lock_guard lock(mutex_);
            std::swap(waiting, waiting_);
            count_ -= waiting.count();
            bytes_ -= waiting.bytes();
        }
    }

    // On the executor thread.

    /// Moves everything that was handed over to `batch`, in order. `batch` must be empty; its storage is
    /// reused.
    void takeAll(NotificationBatch& batch) {
        const std::lock_guard lock(mutex_);
        std::swap(batch, waiting_);
    }

    /// One of the notifications that were taken has been delivered.
    void delivered() { --count_; }

    /// The memory of a batch of `bytes` bytes that was taken has been freed.
    void released(std::size_t bytes) { bytes_ -= bytes; }

    // On both threads. Counts only what was handed over.

    bool hasRoom() const { return count_ < kLowCount && bytes_ < kLowBytes; }

 private:
    static constexpr std::size_t kHighCount = 1024;
    static constexpr std::size_t kLowCount = 256;
    // A second limit, because a thousand large elements are too much.
    static constexpr std::size_t kHighBytes = std::size_t{4} * 1024 * 1024;
    static constexpr std::size_t kLowBytes = std::size_t{1} * 1024 * 1024;

    bool isTooMuch() const { return mostCount_ > kHighCount || mostBytes_ > kHighBytes; }

    // Each half starts on a cache line of its own.
    static constexpr std::size_t kCacheLineSize = 64;

    // Used by the I/O thread only: what was pushed and not handed over, and upper bounds of what is
    // undelivered.
    alignas(kCacheLineSize) NotificationBatch incoming_;
    std::size_t mostCount_ = 0;
    std::size_t mostBytes_ = 0;
    std::size_t longest_ = 0;

    alignas(kCacheLineSize) std::mutex mutex_;
    NotificationBatch waiting_;
    // What was handed over and is not yet delivered or freed, whether taken or not.
    std::atomic<std::size_t> count_ = 0;
    std::atomic<std::size_t> bytes_ = 0;
};

}  // namespace zeb
