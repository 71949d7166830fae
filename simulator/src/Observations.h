#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace zebbussim {

/// What clients do, counted by the bus's thread and waited for on others.
class Observations {
 public:
    using Counts = std::map<std::string, std::size_t>;

    struct Numbers {
        Counts subscribers;  ///< by path
        Counts webSockets;   ///< open ones, by service
        Counts handshakes;   ///< by service
        Counts requests;     ///< by path
        bool stopped = false;

        static std::size_t of(const Counts& counts, const std::string& key) {
            const auto found = counts.find(key);
            return found == counts.end() ? 0 : found->second;
        }
    };

    /// Changes the numbers and wakes those who wait.
    template <typename Change>
    void update(Change change) {
        const std::lock_guard lock(mutex_);
        change(numbers_);
        changed_.notify_all();
    }

    template <typename Read>
    auto read(Read function) const {
        const std::lock_guard lock(mutex_);
        return function(numbers_);
    }

    /// Waits until `condition` of the numbers holds. False when the time is over or the simulator has
    /// stopped.
    template <typename Condition>
    bool wait(Condition condition, std::chrono::milliseconds timeout) const {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, timeout, [&] { return numbers_.stopped || condition(numbers_); });
        return condition(numbers_);
    }

    /// Messages that wait to be sent. Counted apart, and told only when none is left, since it changes twice
    /// per message.
    void addUnsent(std::size_t messages) { unsent_ += messages; }
    void removeUnsent(std::size_t messages) {
        if (messages > 0 && (unsent_ -= messages) == 0) {
            update([](Numbers&) {});
        }
    }
    std::size_t unsentMessages() const { return unsent_; }

    /// Counts a request; paths beyond the ten thousandth are not told apart, so that memory stays bounded.
    void countRequest(const std::string& path) {
        constexpr std::size_t maximumPaths = 10000;
        update([&](Numbers& present) {
            const bool isNew = present.requests.count(path) == 0;
            ++present.requests[isNew && present.requests.size() >= maximumPaths ? "" : path];
        });
    }

 private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    Numbers numbers_;
    std::atomic<std::size_t> unsent_ = 0;
};

/// Whether there are at least so many, or none when none are wanted.
inline bool reached(std::size_t present, std::size_t wanted) {
    return wanted == 0 ? present == 0 : present >= wanted;
}

}  // namespace zebbussim
