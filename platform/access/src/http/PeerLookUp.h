#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zeb {

/// Finds the IP addresses of one host, and waits for them no longer than it may: the system's own look-up
/// cannot be interrupted, so it is left behind when the time is over or the wait is cancelled.
///
/// Thread safety: addresses() is called by one thread at a time; any thread may call cancel().
class PeerLookUp {
 public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// @param host a name, or an IP address, which needs no look-up
    explicit PeerLookUp(std::string host);
    ~PeerLookUp();
    PeerLookUp(const PeerLookUp&) = delete;
    PeerLookUp& operator=(const PeerLookUp&) = delete;

    /// The addresses, best first; at least one.
    /// @throws ZebException if there is none, the deadline has passed, or cancel() was called
    std::vector<std::string> addresses(Deadline deadline);

    /// Ends the wait under way and all later ones.
    void cancel();

 private:
    struct State;

    const std::string host_;
    const std::shared_ptr<State> state_;  ///< shared with the look-up, which may outlive this object
};

}  // namespace zeb
