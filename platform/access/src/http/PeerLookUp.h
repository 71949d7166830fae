#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "io/NameResolver.h"

namespace zeb {

/// Finds the IP addresses of one host, and waits for them no longer than it may: the system's own look-up
/// cannot be interrupted, so it is left behind when the time is over or the wait is cancelled.
///
/// Thread safety: addresses() is called by one thread at a time; any thread may call cancel().
class PeerLookUp {
 public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// @param host a name, or an IP address, which needs no look-up
    explicit PeerLookUp(std::string host, NameResolver& resolver = NameResolver::ofProcess());

    /// The addresses, best first; at least one.
    /// @throws ZebException if there is none, the deadline has passed, or cancel() was called
    std::vector<std::string> addresses(Deadline deadline);

    /// Ends the wait under way and all later ones.
    void cancel();

 private:
    const std::string host_;
    NameResolver& resolver_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isCancelled_ = false;
    std::optional<NameResolver::Answer> answer_;
};

}  // namespace zeb
