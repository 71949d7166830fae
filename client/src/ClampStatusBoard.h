#pragma once

#include <clampcontrolclient/ClampFollower.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace zeb {
class Subscription;
}

namespace clampcontrolclient {

/// The status of terminal 15 as one follower knows it: kept here, read and awaited by any thread.
///
/// Thread safety: any thread, except takeNews(), which is for the thread that tells the handler.
class ClampStatusBoard {
 public:
    explicit ClampStatusBoard(const std::string& reason);

    /// @param source what claims it. Once that is not active any more, the state is unknown, even if nobody
    /// has
    ///               said so yet
    void setState(bool isOn, const std::shared_ptr<zeb::Subscription>& source);

    /// Without the memory for the reason, the state is unknown without one.
    void setUnknown(std::string_view reason) noexcept;

    /// The last change: whatever is set later has no effect, and nobody waits any more.
    void close(std::string_view reason) noexcept;

    /// Without the memory for the reason, it has none.
    ClampStatus status() const noexcept;
    /// As ClampFollower::waitFor().
    bool waitFor(ClampState state, std::chrono::milliseconds timeout) const;

    /// Ends every wait, now and later.
    void endWaits();

    /// The status, if it is not the one that was taken last, or the first one.
    std::optional<ClampStatus> takeNews();

 private:
    // These need the lock.
    void enter(ClampState state) const;
    void checkSource() const noexcept;
    void setReason(std::string_view reason) const noexcept;

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    mutable ClampStatus status_;
    mutable std::weak_ptr<zeb::Subscription> source_;  ///< of a state that is known
    bool isClosed_ = false;
    bool areWaitsEnded_ = false;
    /// How often each state was entered, so that a wait does not miss one that lasts for a moment.
    mutable std::array<std::uint64_t, 3> entries_{};
    // What was taken last.
    ClampState toldState_ = ClampState::Unknown;
    std::string toldReason_;
};

}  // namespace clampcontrolclient
