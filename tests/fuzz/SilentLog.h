#pragma once

#include <RecordingLogger.h>
#include <zebutil/ILogger.h>
#include <zebutil/LoggerFactory.h>

#include <memory>

namespace fuzz {

/// A log for every logger of this process. The loggers make the text of each message; nothing is kept.
inline std::shared_ptr<test_support::RecordedLog> silentLog() {
    using test_support::RecordedLog;
    static const auto log = std::make_shared<RecordedLog>(RecordedLog::Keep::Nothing);
    return log;
}

inline std::shared_ptr<zebutil::ILogger> silentLogger() {
    return std::make_shared<test_support::RecordingLogger>(silentLog(), "Fuzz");
}

/// Makes the default loggers of this process silent.
inline void silenceDefaultLoggers() {
    static const bool isSilent = zebutil::LoggerFactory::setDefaultLoggerFactoryOnce(
        std::make_shared<test_support::RecordingLoggerFactory>(silentLog()));
    static_cast<void>(isSilent);
}

}  // namespace fuzz
