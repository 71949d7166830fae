#include <kelo-client/CallbackFuture.h>

#include <algorithm>

namespace kelo_client {

namespace {

/// Longer than any real wait, and short enough not to overflow the clock's arithmetic.
constexpr std::chrono::hours kLongestWait{24 * 365};

void requireState(const std::future<CallbackFuture::FutureValue>& future) {
    if (!future.valid()) {
        throw std::future_error(std::future_errc::no_state);
    }
}

}  // namespace

CallbackFuture::CallbackFuture() : promise_(), future_(promise_.get_future()) {}

void CallbackFuture::Set(FutureValue value) {
    if (value_.load() != FutureValue::Unknown) {
        return;
    }
    try {
        promise_.set_value(value);
    } catch (const std::future_error&) {
        return;  // another thread was faster
    }
    value_.store(value);
}

bool CallbackFuture::WaitFor(std::chrono::milliseconds timeout) {
    requireState(future_);
    return future_.wait_for(std::min<std::chrono::milliseconds>(timeout, kLongestWait)) ==
           std::future_status::ready;
}

CallbackFuture::FutureValue CallbackFuture::Get() {
    if (const FutureValue known = value_.load(); known != FutureValue::Unknown) {
        return known;
    }
    requireState(future_);
    const FutureValue value = future_.get();
    value_.store(value);
    return value;
}

}  // namespace kelo_client
