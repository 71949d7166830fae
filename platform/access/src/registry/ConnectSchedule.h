#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "ReconnectBackoff.h"

namespace zeb {

/// When one service is to be tried next. Whatever has ended the last attempt or connection, the pauses grow:
/// a refusal, a loss, a service that leaves the registry and comes back. Only an address that was not tried
/// lately is tried at once, and even that a few times only, because a registry may name any number of them.
///
/// Owned by the link to the service and used under its lock.
class ConnectSchedule {
 public:
    using Clock = std::chrono::steady_clock;

    explicit ConnectSchedule(std::uint32_t seed = std::random_device{}()) : backoff_(seed) {}

    /// When to try `address`. The plan stays the same until over(), unless a new address is named.
    Clock::time_point plan(const std::string& address, Clock::time_point now) {
        const bool isNew = noteTried(address);
        if (isNew && takeImmediate(now)) {
            planned_ = now;
        } else if (!planned_) {
            planned_ = now + backoff_.next();
        }
        return *planned_;
    }

    /// Whether the attempt that was planned has begun.
    bool hasBegun(Clock::time_point now) const { return planned_ && *planned_ <= now; }

    /// The attempt has failed, or its connection has ended.
    void over() { planned_.reset(); }

    /// The connection to `address` has proved stable: the pauses start over.
    void settle(const std::string& address) {
        backoff_.reset();
        tried_.assign(1, address);
        immediates_ = kMostImmediates;
    }

    static constexpr int kMostImmediates = 4;
    static constexpr std::chrono::seconds kImmediateInterval{5};

 private:
    static constexpr std::size_t kRemembered = 16;

    // Whether the address was not known.
    bool noteTried(const std::string& address) {
        const auto found = std::find(tried_.begin(), tried_.end(), address);
        if (found != tried_.end()) {
            std::rotate(found, found + 1, tried_.end());
            return false;
        }
        if (tried_.size() == kRemembered) {
            tried_.erase(tried_.begin());
        }
        tried_.push_back(address);
        return true;
    }

    bool takeImmediate(Clock::time_point now) {
        if (immediates_ < kMostImmediates && now - lastImmediate_ >= kImmediateInterval) {
            ++immediates_;
        }
        if (immediates_ == 0) {
            return false;
        }
        --immediates_;
        lastImmediate_ = now;
        return true;
    }

    ReconnectBackoff backoff_;
    std::optional<Clock::time_point> planned_;
    std::vector<std::string> tried_;  ///< the last is the latest
    int immediates_ = kMostImmediates;
    Clock::time_point lastImmediate_;
};

}  // namespace zeb
