#pragma once

#include <clampcontrolclient/Export.h>
#include <csc_logging/CSCLoggingIf.h>

#include <memory>
#include <string>

namespace csc_logging {

/// Owns the logging back end, which writes through `ara::log`, and forwards every call to it unchanged. The
/// process has one instance, behind CSCLogging; applications log through CSCLogging.
///
/// Thread safety: that of the back end; see CSCLoggingIf.
class CLAMPCONTROL_EXPORT CSCLoggingApi : public CSCLoggingIf {
 public:
    CSCLoggingApi();
    ~CSCLoggingApi() override;
    CSCLoggingApi(const CSCLoggingApi&) = delete;
    CSCLoggingApi& operator=(const CSCLoggingApi&) = delete;

    void InitLogging(const std::string& appName, ECSCLogLevel level) override;
    bool IsLoggingEnabled(ECSCLogLevel level) override;
    void LogFatal(const std::string& message) override;
    void LogError(const std::string& message) override;
    void LogWarning(const std::string& message) override;
    void LogInfo(const std::string& message) override;
    void LogDebug(const std::string& message) override;
    void LogVerbose(const std::string& message) override;
    void CreateLogger(const std::string& name) override;

 private:
    std::unique_ptr<CSCLoggingIf> backend_;
};

}  // namespace csc_logging
