#pragma once

#include <ara/log/logging.h>
#include <csc_logging/CSCLoggingIf.h>

#include <atomic>
#include <string>

#include "CSCLogger.h"

namespace csc_logging {

/// The back end that writes through `ara::log`. Until the first InitLogging or CreateLogger it has no logger
/// and drops every message.
///
/// The writers do not check whether their level is enabled, because CSCLogging has already done so.
class CSCLoggingAralogImpl : public CSCLoggingIf {
 public:
    CSCLoggingAralogImpl() = default;
    ~CSCLoggingAralogImpl() override;
    CSCLoggingAralogImpl(const CSCLoggingAralogImpl&) = delete;
    CSCLoggingAralogImpl& operator=(const CSCLoggingAralogImpl&) = delete;

    void InitLogging(const std::string& appName, ECSCLogLevel level) override;
    bool IsLoggingEnabled(ECSCLogLevel level) override;
    void LogFatal(const std::string& message) override;
    void LogError(const std::string& message) override;
    void LogWarning(const std::string& message) override;
    void LogInfo(const std::string& message) override;
    void LogDebug(const std::string& message) override;
    void LogVerbose(const std::string& message) override;
    void CreateLogger(const std::string& name) override;

    /// The level with the same number; info if the number is not one of the seven.
    ara::log::LogLevel ConvertLogLevel(ECSCLogLevel level) const noexcept;

 private:
    void write(ara::log::LogLevel level, const std::string& message);

    /// Owned; null until there is a logger, then never replaced. Atomic because the platform's threads may
    /// already log when the application calls InitLogging.
    std::atomic<const CSCLogger*> logger_ = nullptr;
};

}  // namespace csc_logging
