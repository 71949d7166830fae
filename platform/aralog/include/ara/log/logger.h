#pragma once

#include <ara/log/common.h>
#include <ara/log/log_stream.h>

namespace ara::log {

/// One context of the application: the part of it that a record comes from, with a level of its own.
///
/// Made by CreateLogger and kept by `ara::log` until the process ends, and beyond: a reference never dangles.
///
/// Thread safety: every function may be called from any thread, at any time, also while the process exits.
class ARA_LOG_EXPORT Logger final {
 public:
    struct State;

    /// For the library itself: `state` outlives the logger.
    explicit Logger(State& state) noexcept : state_(state) {}

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;
    ~Logger() = default;

    /// Whether a record of this level would be written now. Never true for LogLevel::kOff.
    bool IsEnabled(LogLevel level) const noexcept;

    /// A record of the level, written when the returned stream is destroyed.
    LogStream WithLevel(LogLevel level) const { return LogStream(level, *this); }
    LogStream LogFatal() const { return WithLevel(LogLevel::kFatal); }
    LogStream LogError() const { return WithLevel(LogLevel::kError); }
    LogStream LogWarn() const { return WithLevel(LogLevel::kWarn); }
    LogStream LogInfo() const { return WithLevel(LogLevel::kInfo); }
    LogStream LogDebug() const { return WithLevel(LogLevel::kDebug); }
    LogStream LogVerbose() const { return WithLevel(LogLevel::kVerbose); }

 private:
    friend class LogStream;

    State& state_;
};

}  // namespace ara::log
