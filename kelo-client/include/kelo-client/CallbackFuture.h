#pragma once

#include <clampcontrolclient/Export.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>

namespace kelo_client {

/// Hands one value from a callback to a thread that waits for it. One-shot: only the first value counts.
///
/// The waiting thread must own it, usually sharing it with the callback (see SubscribeSync), so that it is
/// never destroyed while a thread waits.
///
/// Thread safety: any thread may call Set, and one thread at a time WaitFor or Get. WaitFor and Get block, so
/// a thread that is to call Set must not call them.
class CLAMPCONTROL_EXPORT CallbackFuture {
 public:
    /// The outcome of a callback. Zero is reserved and means that no value is known yet. The code that sets
    /// and reads the other values decides what they mean.
    enum class FutureValue : std::int32_t { Unknown = 0 };

    CallbackFuture();
    CallbackFuture(const CallbackFuture&) = delete;
    CallbackFuture& operator=(const CallbackFuture&) = delete;
    ~CallbackFuture() = default;

    /// Makes `value`, which must not be zero, the result. Does nothing if there is a result already.
    void Set(FutureValue value);

    /// Waits until there is a result, but not longer than `timeout`. Returns whether there is one. Throws
    /// `std::future_error` (no_state) if an earlier Get had to wait for the result: that Get has taken it out
    /// of the future.
    bool WaitFor(std::chrono::milliseconds timeout);

    /// Returns the result; waits for it without limit. Every further call returns the same value. Throws
    /// `std::future_error` (no_state) if an earlier Get has taken the result out of the future and it was
    /// zero, which Set must not be given.
    FutureValue Get();

 private:
    /// Atomic because Set writes it on one thread and Get reads it on another. A lock is not needed.
    std::atomic<FutureValue> value_{FutureValue::Unknown};
    /// Before the future, which is thus destroyed first: a promise that nobody can wait for any more needs no
    /// memory for an exception that says that it was broken.
    std::promise<FutureValue> promise_;
    std::future<FutureValue> future_;
};

}  // namespace kelo_client
