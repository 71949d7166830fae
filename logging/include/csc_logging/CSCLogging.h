#pragma once

#include <clampcontrolclient/Export.h>
#include <csc_logging/CSCLogEntry.h>
#include <csc_logging/ECSCLogLevel.h>

#include <string>

namespace csc_logging {

/// The logging interface of the whole process. Messages go to `ara::log` as application "CSC" ("Core Service
/// Component"), in a single context. The first InitLogging or CreateLogger gives that context its id;
/// messages logged before that are dropped. docs/logging.md says how to see the messages.
///
/// A message whose level is not enabled costs about 15 ns, mostly for its text, which is built in any case. A
/// message ends at its first NUL character.
///
/// Failures: none is reported; a message that cannot be written is dropped. An exception from
/// `ara::log::InitLogging` ends the process.
///
/// Thread safety: the Log functions may be called from any thread at any time, even by threads that outlive
/// the process's static objects; their messages are then dropped. Call InitLogging and CreateLogger at
/// start-up, before other threads log: if two such calls run concurrently, either may give the context its
/// id.
class CLAMPCONTROL_EXPORT CSCLogging {
 public:
    CSCLogging() = delete;

    /// The same as InitLogging with level kDebug.
    static void InitLogging(const std::string& appName);
    /// Initialises `ara::log` with the default level `level` (info if it is not one of the enumerators) and
    /// creates the logger with context id `appName`. If there is a logger already, it keeps its context id.
    static void InitLogging(const std::string& appName, ECSCLogLevel level);
    /// Creates the logger with context id `name`, unless there is one already.
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
