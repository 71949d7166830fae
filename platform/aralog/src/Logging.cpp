#include <ara/log/logging.h>

#include <utility>

#include "ApplicationLog.h"

namespace ara::log {

void InitLogging(std::string appId, std::string appDescription, LogLevel appDefLogLevel, LogMode logMode,
                 std::string directoryPath) {
    ApplicationLog::instance().initialize(std::move(appId), std::move(appDescription), appDefLogLevel,
                                          logMode, directoryPath);
}

Logger& CreateLogger(std::string ctxId, std::string ctxDescription) {
    return ApplicationLog::instance().logger(ctxId, ctxDescription, std::nullopt);
}

Logger& CreateLogger(std::string ctxId, std::string ctxDescription, LogLevel ctxDefLogLevel) {
    return ApplicationLog::instance().logger(ctxId, ctxDescription, ctxDefLogLevel);
}

bool IsLogEnabled(LogLevel level) noexcept {
    return ApplicationLog::isEnabled(level);
}

bool Logger::IsEnabled(LogLevel level) const noexcept {
    return level != LogLevel::kOff && level <= state_.level.load(std::memory_order_relaxed);
}

}  // namespace ara::log
