#pragma once

#include <chrono>
#include <csignal>
#include <optional>

/// The signals that the program waits for. Made before any thread, since every thread inherits which signals
/// are blocked.
class Signals {
 public:
    enum class Event {
        End,    ///< SIGINT or SIGTERM
        Stats,  ///< SIGUSR1
        Wake    ///< wake() was called
    };

    Signals();

    /// The next event, or none at the given time.
    std::optional<Event> wait(std::optional<std::chrono::steady_clock::time_point> until) const;

    /// Makes wait() return. Any thread may call it.
    static void wake();

    /// From now on a second ending signal ends the program at once. Not before half a second has passed,
    /// because timeout(1), for instance, signals both the program and its process group.
    void heedASecondOne() const;

 private:
    sigset_t ending_{};
    sigset_t awaited_{};
};
