#pragma once

#include <clampcontrolclient/Export.h>
#include <csc_logging/CSCLogEntry.h>
#include <csc_logging/ECSCLogLevel.h>

#include <string>

namespace csc_logging {

/// The one way to log, for the whole process. Messages go to `ara::log`, as application "CSC" ("Core Service
/// Component"), in the one context whose id the first InitLogging or CreateLogger gives; what is logged
/// before that is dropped. docs/logging.md says how to see the messages.
///
/// A message of a level that is not enabled costs some 15 ns, most of it for the text, which is built all the
/// same. A message ends at its first NUL character.
///
/// Failures: none is reported; a message that cannot be written is dropped. An exception out of
/// `ara::log::InitLogging` ends the process.
///
/// Thread safety: the Log functions may be called from any thread, at any time: also by threads that outlive
/// the process's static objects, whose messages are dropped then. Call InitLogging and CreateLogger at
/// start-up, before other threads log: which of two concurrent calls gives the context its id is a matter of
/// luck.
class CLAMPCONTROL_EXPORT CSCLogging {
 public:
    CSCLogging() = delete;

    /// InitLogging with level kDebug.
    static void InitLogging(const std::string& appName);
    /// Initialises `ara::log` with the default level `level` (info if it is none of the enumerators) and
    /// makes the logger with context id `appName`, unless there is one already: then it keeps its context id.
    static void InitLogging(const std::string& appName, ECSCLogLevel level);
    /// Makes the logger with context id `name`, unless there is one already.
    static void CreateLogger(const std::string& name);

    static void LogFatal(const std::string& message);
    static void LogError(const std::string& message);
    static void LogWarning(const std::string& message);
    static void LogInfo(const std::string& message);
    static void LogDebug(const std::string& message);
    static void LogVerbose(const std::string& message);

    static void LogFatal(const CSCLogEntry& entry);
    static void LogError(const CSCLogEntry& entry);
    static void LogWarning(const CSCLogEntry& entry);
    static void LogInfo(const CSCLogEntry& entry);
    static void LogDebug(const CSCLogEntry& entry);
    static void LogVerbose(const CSCLogEntry& entry);
};

}  // namespace csc_logging
