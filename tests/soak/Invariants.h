#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace soak {

/// Where a promise that was broken is told; may be called by any thread.
using Violation = std::function<void(const std::string&)>;

/// Judges what one client tells one application: by the order of the calls alone, with the element's states
/// known to be on and off by turns.
///
/// Thread safety: any thread may call everything; the functions named after what is told belong to the
/// library's thread, the others to the application's.
class CallbackInvariants {
 public:
    explicit CallbackInvariants(Violation violation);

    // --- what is told ---
    void connectionState(bool isConnected);
    void notification();
    void state(bool isOn);

    // --- what the application does ---
    void subscribeBegins();
    /// `wasRefused`: an empty uuid was returned, or something was thrown.
    void subscribeReturned(bool wasRefused);
    /// One call that had begun before it returned may still be told.
    void unsubscribeReturned();
    /// The library's thread has since finished what it was doing then.
    void settled();
    /// Stop or the destructor has returned: nothing is told any more.
    void clientEnded();

    bool isConnected() const;
    /// There is a subscription, and it was made on the present connection.
    bool isSubscribed() const;
    std::optional<bool> lastState() const;
    std::uint64_t states() const;
    std::uint64_t connections() const;
    /// Calls told after unsubscribe had returned, all of which had begun before.
    std::uint64_t callsInTheGap() const;

 private:
    enum class Phase { None, Subscribing, Subscribed };

    bool mayBeTold(const char* what);

    const Violation violation_;
    mutable std::mutex mutex_;
    bool isConnected_ = false;
    bool hasEnded_ = false;
    Phase phase_{Phase::None};
    bool replaces_ = false;            ///< the subscribe that runs has a subscription before it
    bool lostMeanwhile_ = false;       ///< the connection, during that subscribe
    std::uint64_t toldMeanwhile_ = 0;  ///< during that subscribe
    bool mayTellOneMore_ = false;
    bool mayBreakPair_ = false;
    bool mayBreakOrder_ = false;
    bool awaitsState_ = false;
    std::optional<bool> lastState_;
    std::uint64_t states_ = 0;
    std::uint64_t connections_ = 0;
    std::uint64_t callsInTheGap_ = 0;
};

/// Judges what one subscription is told: an element that counts up by one. Used on the library's thread, but
/// for end(), hasEnded() and last().
class CountingSubscription {
 public:
    explicit CountingSubscription(Violation violation) : violation_(std::move(violation)) {}

    void told(std::uint64_t value);
    /// From now on nothing may be told any more.
    void end() { hasEnded_ = true; }
    bool hasEnded() const { return hasEnded_; }
    /// 0 before the first.
    std::uint64_t last() const { return last_; }

 private:
    const Violation violation_;
    std::atomic<bool> hasEnded_ = false;
    std::atomic<std::uint64_t> last_ = 0;
};

}  // namespace soak
