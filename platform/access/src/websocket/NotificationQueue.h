#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "NotificationBatch.h"

namespace zeb {

/// What one WebSocket has received and its executor has not delivered yet. The I/O thread pushes, and hands
/// over what one read has brought at once; the executor takes all that was handed over at once. In between
/// the two threads share nothing that either writes for each notification: fetching that from the other
/// processor costs more than a notification does. It never refuses: whoever fills it stops reading when it is
/// full.
// The padding keeps the halves apart.
class NotificationQueue {  // NOLINT(clang-analyzer-optin.performance.Padding)
 public:
    // On the I/O thread.

    void push(const SubscriptionRecord::Hold& subscription, std::string_view data) {
        incoming_.push(subscription, data);
        ++mostCount_;
        mostBytes_ += data.size();
    }

    /// Puts what was pushed within the executor's reach.
    /// @return whether the executor has to be told, since nothing waited for it
    bool handOver() {
        if (incoming_.isEmpty()) {
            return false;
        }
        const std::lock_guard lock(mutex_);
        count_ += incoming_.count();
        bytes_ += incoming_.bytes();
        const bool nothingWaited = waiting_.isEmpty();
        if (nothingWaited) {
            std::swap(waiting_, incoming_);
        } else {
            waiting_.append(incoming_);
        }
        return nothingWaited;
    }

    bool isFull() {
        if (isTooMuch()) {
            // That is without what was delivered since.
            mostCount_ = count_ + incoming_.count();
            mostBytes_ = bytes_ + incoming_.bytes();
        }
        return isTooMuch();
    }

    // On the executor thread.

    /// Everything that was handed over, in order. `batch` has to be empty; its storage is used again.
    void takeAll(NotificationBatch& batch) {
        const std::lock_guard lock(mutex_);
        std::swap(batch, waiting_);
    }

    /// One notification that was taken has been dealt with.
    void delivered() { --count_; }

    /// A batch that was taken, of so many bytes, is no more.
    void released(std::size_t bytes) { bytes_ -= bytes; }

    // On both; of what was handed over.

    bool hasRoom() const { return count_ < kLowCount && bytes_ < kLowBytes; }

 private:
    static constexpr std::size_t kHighCount = 1024;
    static constexpr std::size_t kLowCount = 256;
    // Large elements would make a thousand of them large too.
    static constexpr std::size_t kHighBytes = std::size_t{4} * 1024 * 1024;
    static constexpr std::size_t kLowBytes = std::size_t{1} * 1024 * 1024;

    bool isTooMuch() const { return mostCount_ > kHighCount || mostBytes_ > kHighBytes; }

    // Whatever else stands around, each half has cache lines of its own.
    static constexpr std::size_t kCacheLineSize = 64;

    // Of the I/O thread alone: what was pushed and not handed over, and what is undelivered at most.
    alignas(kCacheLineSize) NotificationBatch incoming_;
    std::size_t mostCount_ = 0;
    std::size_t mostBytes_ = 0;

    alignas(kCacheLineSize) std::mutex mutex_;
    NotificationBatch waiting_;
    // What was handed over and not yet delivered or released, taken or not.
    std::atomic<std::size_t> count_ = 0;
    std::atomic<std::size_t> bytes_ = 0;
};

}  // namespace zeb
