#include "ClampStatusBoard.h"

#include <zeb/Subscription.h>

#include <algorithm>
#include <new>

namespace clampcontrolclient {

namespace {

using Clock = std::chrono::steady_clock;

// A longer wait would overflow the clock. Nobody can tell it from this one.
constexpr std::chrono::milliseconds kLongestWait = std::chrono::hours(24 * 365);

constexpr const char* kSourceLost = "the subscription has ended";

}  // namespace

ClampStatusBoard::ClampStatusBoard(const std::string& reason)
    : status_{ClampState::Unknown, Clock::now(), reason}, toldReason_(reason) {
    entries_.at(static_cast<std::size_t>(ClampState::Unknown)) = 1;
}

void ClampStatusBoard::enter(ClampState state) const {
    if (status_.state != state) {
        status_.state = state;
        status_.since = Clock::now();
        ++entries_.at(static_cast<std::size_t>(state));
        changed_.notify_all();
    }
}

// The thread that would say so may be busy with a callback.
void ClampStatusBoard::checkSource() const noexcept {
    if (status_.state == ClampState::Unknown) {
        return;
    }
    const auto source = source_.lock();
    if (!source || !source->isActive()) {
        enter(ClampState::Unknown);
        setReason(kSourceLost);
    }
}

void ClampStatusBoard::setReason(std::string_view reason) const noexcept {
    try {
        status_.reason = reason;
    } catch (const std::bad_alloc&) {
        status_.reason.clear();
    }
}

void ClampStatusBoard::setState(bool isOn, const std::shared_ptr<zeb::Subscription>& source) {
    const std::lock_guard lock(mutex_);
    if (isClosed_) {
        return;
    }
    source_ = source;
    // A notification that had arrived before the end is still delivered behind it.
    if (source && source->isActive()) {
        status_.reason.clear();
        enter(isOn ? ClampState::On : ClampState::Off);
    } else {
        checkSource();
    }
}

void ClampStatusBoard::setUnknown(std::string_view reason) noexcept {
    const std::lock_guard lock(mutex_);
    if (isClosed_) {
        return;
    }
    enter(ClampState::Unknown);
    setReason(reason);
}

void ClampStatusBoard::close(std::string_view reason) noexcept {
    const std::lock_guard lock(mutex_);
    if (!isClosed_) {
        enter(ClampState::Unknown);
        setReason(reason);
    }
    isClosed_ = true;
    areWaitsEnded_ = true;
    changed_.notify_all();
}

ClampStatus ClampStatusBoard::status() const noexcept {
    const std::lock_guard lock(mutex_);
    checkSource();
    try {
        return status_;
    } catch (const std::bad_alloc&) {
        return {status_.state, status_.since, {}};
    }
}

bool ClampStatusBoard::waitFor(ClampState state, std::chrono::milliseconds timeout) const {
    const auto deadline = Clock::now() + std::clamp(timeout, std::chrono::milliseconds(0), kLongestWait);
    std::unique_lock lock(mutex_);
    checkSource();
    const auto& entries = entries_.at(static_cast<std::size_t>(state));
    const auto before = entries;
    const auto isReached = [&] { return status_.state == state || entries != before; };
    changed_.wait_until(lock, deadline, [&] { return isReached() || areWaitsEnded_; });
    checkSource();
    return isReached();
}

void ClampStatusBoard::endWaits() {
    const std::lock_guard lock(mutex_);
    areWaitsEnded_ = true;
    changed_.notify_all();
}

std::optional<ClampStatus> ClampStatusBoard::takeNews() {
    const std::lock_guard lock(mutex_);
    checkSource();
    if (status_.state == toldState_ && status_.reason == toldReason_) {
        return std::nullopt;
    }
    ClampStatus news = status_;
    toldReason_ = news.reason;
    toldState_ = news.state;
    return news;
}

}  // namespace clampcontrolclient
