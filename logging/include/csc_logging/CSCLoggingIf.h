#pragma once

#include <clampcontrolclient/Export.h>
#include <csc_logging/ECSCLogLevel.h>

#include <string>

namespace csc_logging {

/// A logging back end.
///
/// Thread safety: InitLogging and CreateLogger are meant for start-up; every other function may be called
/// from any thread. No function reports an error: a back end that cannot write drops the message.
class CLAMPCONTROL_EXPORT CSCLoggingIf {
 public:
    virtual ~CSCLoggingIf() = default;

    /// Starts the output under the application's name. Messages up to `level` are written.
    virtual void InitLogging(const std::string& appName, ECSCLogLevel level) = 0;
    /// Whether a message of `level` would be written now.
    virtual bool IsLoggingEnabled(ECSCLogLevel level) = 0;
    virtual void LogFatal(const std::string& message) = 0;
    virtual void LogError(const std::string& message) = 0;
    virtual void LogWarning(const std::string& message) = 0;
    virtual void LogInfo(const std::string& message) = 0;
    virtual void LogDebug(const std::string& message) = 0;
    virtual void LogVerbose(const std::string& message) = 0;
    /// Creates the one logger, named `name`, unless there is one already.
    virtual void CreateLogger(const std::string& name) = 0;
};

}  // namespace csc_logging
