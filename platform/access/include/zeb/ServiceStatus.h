#pragma once

#include <zeb/ConnectStep.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace zeb {

/// What the service registry knows about its connection to one service. A plain value.
struct ServiceStatus {
    using Clock = std::chrono::steady_clock;

    /// Of all connections since the start. A notification that was received and is in none of the other
    /// counts waits for the executor.
    struct Counts {
        std::uint64_t received = 0;   ///< notifications that are for a subscription and not repeated
        std::uint64_t delivered = 0;  ///< notifications that a handler has received
        // Notifications that no handler has received, by the reason.
        std::uint64_t ofNoSubscription = 0;  ///< for a subscription that does not exist, or not any more
        std::uint64_t repeated = 0;          ///< were received before
        std::uint64_t tooLate = 0;           ///< the subscription ended while they waited for the executor
        /// Received by a handler that has thrown, or could not be read.
        std::uint64_t failed = 0;
        std::uint64_t missing = 0;       ///< the server has left them out, by the numbers that it gives them
        std::uint64_t longestQueue = 0;  ///< the most that ever waited for the executor
        /// How long connections were not read, because too many waited.
        std::chrono::microseconds paused{0};
        std::uint64_t subscriptionsAsked = 0;
        std::uint64_t subscriptionsMade = 0;
        std::uint64_t subscriptionsRefused = 0;
        std::uint64_t subscriptionsEnded = 0;  ///< by the server
    };

    enum class State {
        Waiting,     ///< its address is not known, or cannot be used
        Connecting,  ///< a connection is being made, or the next attempt waits for its time
        Connected,
    };

    std::string service;
    State state = State::Waiting;
    Clock::time_point since = Clock::now();  ///< when `state` began
    /// Base URI and base path, of the connection or of the last attempt. Empty before the first.
    std::string address;
    /// Why the service is not connected, in words; empty while it is.
    std::string reason;
    /// Why the last connection or attempt has failed; empty if none has.
    std::string lastFailure;
    Clock::time_point lastFailureAt;  ///< only if there is a failure
    /// Which step it was; empty if it was a connection that has ended.
    std::optional<ConnectStep> lastFailedStep;
    std::uint64_t attempts = 0;     ///< to connect; also one that still waits for its time
    std::uint64_t connections = 0;  ///< attempts that have succeeded
    Counts counts;
};

}  // namespace zeb
