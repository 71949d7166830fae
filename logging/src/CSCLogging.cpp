#include <csc_logging/CSCLogging.h>

#include "ProcessLogging.h"

namespace csc_logging {

namespace {

void logIfEnabled(ECSCLogLevel level, void (CSCLoggingApi::*write)(const std::string&),
                  const std::string& message) {
    ProcessLogging::with([&](ProcessLoggingObject& logging) {
        if (logging.api.IsLoggingEnabled(level)) {
            (logging.api.*write)(message);
        }
    });
}

}  // namespace

void CSCLogging::InitLogging(const std::string& appName) {
    InitLogging(appName, kDebug);
}

void CSCLogging::InitLogging(const std::string& appName, ECSCLogLevel level) {
    ProcessLogging::with([&](ProcessLoggingObject& logging) { logging.api.InitLogging(appName, level); });
}

void CSCLogging::CreateLogger(const std::string& name) {
    ProcessLogging::with([&](ProcessLoggingObject& logging) { logging.api.CreateLogger(name); });
}

void CSCLogging::LogFatal(const std::string& message) {
    logIfEnabled(kFatal, &CSCLoggingApi::LogFatal, message);
}

void CSCLogging::LogError(const std::string& message) {
    logIfEnabled(kError, &CSCLoggingApi::LogError, message);
}

void CSCLogging::LogWarning(const std::string& message) {
    logIfEnabled(kWarning, &CSCLoggingApi::LogWarning, message);
}

void CSCLogging::LogInfo(const std::string& message) {
    logIfEnabled(kInfo, &CSCLoggingApi::LogInfo, message);
}

void CSCLogging::LogDebug(const std::string& message) {
    logIfEnabled(kDebug, &CSCLoggingApi::LogDebug, message);
}

void CSCLogging::LogVerbose(const std::string& message) {
    logIfEnabled(kVerbose, &CSCLoggingApi::LogVerbose, message);
}

void CSCLogging::LogFatal(const CSCLogEntry& entry) {
    LogFatal(entry.Get());
}

void CSCLogging::LogError(const CSCLogEntry& entry) {
    LogError(entry.Get());
}

void CSCLogging::LogWarning(const CSCLogEntry& entry) {
    LogWarning(entry.Get());
}

void CSCLogging::LogInfo(const CSCLogEntry& entry) {
    LogInfo(entry.Get());
}

void CSCLogging::LogDebug(const CSCLogEntry& entry) {
    LogDebug(entry.Get());
}

void CSCLogging::LogVerbose(const CSCLogEntry& entry) {
    LogVerbose(entry.Get());
}

}  // namespace csc_logging
