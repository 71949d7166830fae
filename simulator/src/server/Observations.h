#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace zebbussim {

/// Counts of what clients do. The bus's thread changes them; any thread may read them and wait for them.
class Observations {
 public:
    using Counts = std::map<std::string, std::size_t>;

    struct Numbers {
        Counts subscribers;  ///< by path
        Counts webSockets;   ///< open ones, by service
        Counts handshakes;   ///< by service
        Counts requests;     ///< by path
        bool stopped = false;
    };
    /// One kind of numbers, for instance `&Numbers::subscribers`.
    using Kind = Counts Numbers::*;

    /// Changes the numbers and wakes the threads that wait.
    template <typename Change>
    void update(Change change) {
        const std::lock_guard lock(mutex_);
        change(numbers_);
        changed_.notify_all();
    }

    std::size_t count(Kind kind, const std::string& key) const {
        const std::lock_guard lock(mutex_);
        return present(kind, key);
    }

    /// Waits until the count is at least `wanted`, or 0 if that is wanted. Returns false when the time is
    /// over or the simulator stops.
    bool waitForCount(Kind kind, const std::string& key, std::size_t wanted,
                      std::chrono::milliseconds timeout) const {
        return wait(
            [&] {
                const std::size_t counted = present(kind, key);
                return wanted == 0 ? counted == 0 : counted >= wanted;
            },
            timeout);
    }

    /// Waits until no message waits to be sent. Returns false as `waitForCount()` does.
    bool waitUntilSent(std::chrono::milliseconds timeout) const {
        return wait([this] { return unsent_ == 0; }, timeout);
    }

    /// Messages that wait to be sent. They are counted apart from the other numbers, because the count
    /// changes twice per message; the waiting threads are woken only when it reaches 0.
    void addUnsent(std::size_t messages) { unsent_ += messages; }
    void removeUnsent(std::size_t messages) {
        if (messages > 0 && (unsent_ -= messages) == 0) {
            update([](Numbers&) {});
        }
    }

    /// Counts a request. Later paths share one count, which bounds the memory.
    void countRequest(const std::string& path) {
        constexpr std::size_t kMaximumPaths = 10000;
        constexpr std::size_t kMaximumBytes = 1024 * 1024;
        update([&](Numbers& numbers) {
            const bool isNew = numbers.requests.count(path) == 0;
            const bool isFull =
                numbers.requests.size() >= kMaximumPaths || requestPathBytes_ + path.size() > kMaximumBytes;
            requestPathBytes_ += isNew && !isFull ? path.size() : 0;
            ++numbers.requests[isNew && isFull ? "" : path];
        });
    }

 private:
    template <typename Condition>
    bool wait(Condition condition, std::chrono::milliseconds timeout) const {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, timeout, [&] { return numbers_.stopped || condition(); });
        return condition();
    }

    /// Called with the mutex locked.
    std::size_t present(Kind kind, const std::string& key) const {
        const Counts& counts = numbers_.*kind;
        const auto found = counts.find(key);
        return found == counts.end() ? 0 : found->second;
    }

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    Numbers numbers_;
    std::size_t requestPathBytes_ = 0;
    std::atomic<std::size_t> unsent_ = 0;
};

}  // namespace zebbussim
