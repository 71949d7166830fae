#pragma once

#include <zebutil/TlsContextQuestion.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

namespace zebutil {

/// Waits for the TLS context of a service, no longer than it may: the files behind it are left to be read
/// when the time is over or the wait is cancelled.
///
/// Thread safety: get() is called by one thread at a time; any thread may call the others.
class TlsContextWait {
 public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// None if the deadline has passed, or cancel() was called.
    /// @throws std::runtime_error if the environment's variables contradict each other
    std::optional<TlsContextAnswer> get(const std::string& service, Deadline deadline);

    /// Ends the wait under way and all later ones.
    void cancel();
    bool isCancelled() const;

 private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool isCancelled_ = false;
    std::optional<TlsContextAnswer> answer_;
};

}  // namespace zebutil
