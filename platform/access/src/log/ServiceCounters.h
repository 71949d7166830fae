#pragma once

#include <zeb/ServiceStatus.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace zeb {

/// A number that one thread counts and any thread reads. Costs what a plain number costs.
class Counter {
 public:
    void add(std::uint64_t count = 1) { set(get() + count); }
    void raiseTo(std::uint64_t count) {
        if (count > get()) {
            set(count);
        }
    }
    std::uint64_t get() const { return value_.load(std::memory_order_relaxed); }

 private:
    void set(std::uint64_t value) { value_.store(value, std::memory_order_relaxed); }

    std::atomic<std::uint64_t> value_ = 0;
};

/// The time that pauses have taken, also of one that lasts. One thread begins and ends them, any thread
/// reads.
class PauseTimer {
 public:
    void begin() { begin_.store(now(), std::memory_order_relaxed); }
    void end() {
        total_.add(static_cast<std::uint64_t>(now() - begin_.load(std::memory_order_relaxed)));
        begin_.store(kNone, std::memory_order_relaxed);
    }
    std::chrono::microseconds total() const {
        const std::int64_t begin = begin_.load(std::memory_order_relaxed);
        const auto ended = static_cast<std::int64_t>(total_.get());
        return std::chrono::microseconds(begin == kNone ? ended : ended + now() - begin);
    }

 private:
    static constexpr std::int64_t kNone = -1;

    static std::int64_t now() {
        const auto time = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
    }

    Counter total_;
    std::atomic<std::int64_t> begin_ = kNone;
};

/// Counts what happens to the notifications and subscriptions of one service, over all its connections. Owned
/// jointly by those who deal with the service.
// The padding keeps the counters of the two threads on separate cache lines.
struct ServiceCounters {  // NOLINT(clang-analyzer-optin.performance.Padding)
    static constexpr std::size_t kCacheLineSize = 64;

    // Counted by the I/O thread.
    alignas(kCacheLineSize) Counter received;
    Counter ofNoSubscription;
    Counter repeated;
    Counter missing;
    Counter longestQueue;
    PauseTimer paused;
    Counter subscriptionsAsked;
    Counter subscriptionsMade;
    Counter subscriptionsRefused;
    Counter subscriptionsEnded;

    // Counted by the executor thread.
    alignas(kCacheLineSize) Counter delivered;
    Counter tooLate;
    Counter failed;

    ServiceStatus::Counts read() const {
        ServiceStatus::Counts counts;
        counts.received = received.get();
        counts.delivered = delivered.get();
        counts.ofNoSubscription = ofNoSubscription.get();
        counts.repeated = repeated.get();
        counts.missing = missing.get();
        counts.tooLate = tooLate.get();
        counts.failed = failed.get();
        counts.longestQueue = longestQueue.get();
        counts.paused = paused.total();
        counts.subscriptionsAsked = subscriptionsAsked.get();
        counts.subscriptionsMade = subscriptionsMade.get();
        counts.subscriptionsRefused = subscriptionsRefused.get();
        counts.subscriptionsEnded = subscriptionsEnded.get();
        return counts;
    }
};

}  // namespace zeb
