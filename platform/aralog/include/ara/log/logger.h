#pragma once

#include <ara/log/common.h>
#include <ara/log/log_stream.h>

namespace ara::log {

/// One context of the application: the part that a record comes from, with its own level.
///
/// Created by CreateLogger and never destroyed: a reference never dangles, even while the process exits.
///
/// Thread safety: every function may be called from any thread at any time, even while the process exits.
class ARA_LOG_EXPORT Logger final {
 public:
    struct State;

    /// For use by the library only. `state` must outlive the logger.
    explicit Logger(State& state) noexcept : state_(state) {}

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;
    ~Logger() = default;

    /// Whether a record of this level would be written now. Always false for LogLevel::kOff.
    bool IsEnabled(LogLevel level) const noexcept;

    /// Starts a record of this level, which is written when the returned stream is destroyed.
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
