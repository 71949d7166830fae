#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zeb {

/// Finds the IP addresses of one host for a thread that waits for them, with the NameResolver: no longer than
/// until a deadline, and not after a cancel().
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
    const std::shared_ptr<State> state_;  ///< shared with the question to the resolver
};

}  // namespace zeb
