#pragma once

#include <clampcontrolclient/Export.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>

namespace kelo_client {

/// Hands one value from a callback to a thread that waits for it. One-shot: the first value counts.
///
/// Owned by whoever waits, usually shared with the callback (see SubscribeSync). Destroying it before a value
/// was set leaves no one waiting: whoever waits must own it.
///
/// Thread safety: one thread at a time may call Set, and one thread at a time WaitFor and Get; the two may be
/// different threads. WaitFor and Get block, so the thread that is to call Set must not call them.
class CLAMPCONTROL_EXPORT CallbackFuture {
 public:
    /// The outcome of a callback. Zero is reserved: no value is known yet. What the others mean is up to
    /// those who set and read them.
    enum class FutureValue : std::int32_t { Unknown = 0 };

    CallbackFuture();
    CallbackFuture(const CallbackFuture&) = delete;
    CallbackFuture& operator=(const CallbackFuture&) = delete;
    ~CallbackFuture() = default;

    /// Makes `value`, which is not zero, the result. Does nothing when there is one already.
    void Set(FutureValue value);

    /// Waits until there is a result, but not longer than `timeout`. Returns whether there is one. Throws
    /// `std::future_error` (no_state) after a Get that had to fetch the result itself.
    bool WaitFor(std::chrono::milliseconds timeout);

    /// The result; waits for it, without limit. Every further call returns the same. Throws
    /// `std::future_error` (no_state) when the result was fetched and is not known all the same.
    FutureValue Get();

 private:
    /// Atomic, since Set writes it on one thread and Get reads it on another; no lock is needed.
    std::atomic<FutureValue> value_{FutureValue::Unknown};
    std::future<FutureValue> future_;
    std::promise<FutureValue> promise_;
};

}  // namespace kelo_client
