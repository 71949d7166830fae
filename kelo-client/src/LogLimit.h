#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace kelo_client {

/// How many lines one facility of the platform may log at each level. Whoever can make the platform complain
/// could otherwise fill the log with it. There are two ceilings: for the same text (20 lines at once, then
/// one per second), and for all texts together (100 lines at once, then 10 per second). Lines above a ceiling
/// are counted. The count is told with the next line that is let through, or when a logger is destroyed, but
/// at most once per second; there is no timer.
///
/// All loggers of one name share a limit, because the platform makes a logger for each connection, and the
/// data objects make one for each message.
///
/// Thread safety: any thread.
class LogLimit {
 public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr std::size_t kLevels = 7;

    struct Verdict {
        bool isAdmitted = false;
        /// The lines that were suppressed before this one and are to be told now. Only with an admitted line.
        std::uint64_t suppressedBefore = 0;
    };

    /// The limit of all loggers with that name. Lives as long as the process.
    static LogLimit& of(const std::string& facility);

    LogLimit() = default;
    LogLimit(const LogLimit&) = delete;
    LogLimit& operator=(const LogLimit&) = delete;

    /// Decides about one line. `level` is below kLevels.
    Verdict admit(std::size_t level, std::string_view text, Time now);

    /// Takes the number of the level's suppressed lines that are still to be told. Zero if a number was told
    /// less than a second ago; they are kept then.
    std::uint64_t takeSuppressed(std::size_t level, Time now);

 private:
    /// Lets `burst` lines through at once, and then one per `interval`. Keeps the time at which it would be
    /// full again instead of a count, so it needs no upkeep.
    class Bucket {
     public:
        bool take(Time now, std::chrono::nanoseconds interval, int burst);

     private:
        Time empty_;
    };

    struct SameText {
        std::size_t hash = 0;
        Bucket bucket;
    };

    struct Level {
        Bucket all;
        Bucket counts;
        /// The texts seen last, by a part of their hash. A text that displaces another one starts afresh.
        std::array<SameText, 16> texts;
        std::uint64_t suppressed = 0;
    };

    static std::uint64_t takeSuppressed(Level& lines, Time now);

    std::mutex mutex_;
    std::array<Level, kLevels> levels_;
};

}  // namespace kelo_client
