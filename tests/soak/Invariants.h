#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>

#include "Violation.h"

namespace soak {

/// Checks the calls of one client to one application by their order alone. The element's states are known to
/// alternate between on and off.
///
/// Thread safety: every function may be called from any thread. The functions named after callbacks are
/// called on the library's thread, the others on the application's.
class CallbackInvariants {
 public:
    explicit CallbackInvariants(Violation violation);

    // --- callbacks ---
    void connectionState(bool isConnected);
    void notification();
    void state(bool isOn);

    // --- what the application does ---
    void subscribeBegins();
    /// `wasRefused`: an empty uuid was returned, or an exception was thrown.
    void subscribeReturned(bool wasRefused);
    /// A call that began before unsubscribe returned may still arrive.
    void unsubscribeReturned();
    /// The library's thread has since finished what it was doing then.
    void settled();
    /// Stop or the destructor has returned: no more callbacks may come.
    void clientEnded();

    bool isConnected() const;
    /// There is a subscription, and it was made on the current connection.
    bool isSubscribed() const;
    std::optional<bool> lastState() const;
    std::uint64_t states() const;
    std::uint64_t connections() const;
    /// Calls after unsubscribe had returned, all of which had begun before.
    std::uint64_t callsInTheGap() const;

 private:
    enum class Phase { None, Subscribing, Subscribed };

    bool mayBeTold(const char* what);

    const Violation violation_;
    mutable std::mutex mutex_;
    bool isConnected_ = false;
    bool hasEnded_ = false;
    Phase phase_{Phase::None};
    bool replaces_ = false;            ///< the running subscribe replaces a subscription
    bool lostMeanwhile_ = false;       ///< the connection was lost during that subscribe
    std::uint64_t toldMeanwhile_ = 0;  ///< callbacks during that subscribe
    bool mayTellOneMore_ = false;
    bool mayBreakPair_ = false;
    bool mayBreakOrder_ = false;
    bool awaitsState_ = false;
    std::optional<bool> lastState_;
    std::uint64_t states_ = 0;
    std::uint64_t connections_ = 0;
    std::uint64_t callsInTheGap_ = 0;
};

/// Checks the values of one subscription to an element that counts up by one. Used on the library's thread,
/// except for end(), hasEnded() and last().
class CountingSubscription {
 public:
    explicit CountingSubscription(Violation violation) : violation_(std::move(violation)) {}

    void told(std::uint64_t value);
    /// From now on no more values may arrive.
    void end() { hasEnded_ = true; }
    bool hasEnded() const { return hasEnded_; }
    /// The last value, 0 before the first.
    std::uint64_t last() const { return last_; }

 private:
    const Violation violation_;
    std::atomic<bool> hasEnded_ = false;
    std::atomic<std::uint64_t> last_ = 0;
};

}  // namespace soak
