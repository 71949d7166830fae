#pragma once

/// \file
/// Logging for the applications of a vehicle's computer. A process is one *application*, each Logger one
/// *context* of it. Records go to DLT, to a file, to the console, or to several of them.

#include <ara/log/common.h>
#include <ara/log/log_stream.h>
#include <ara/log/logger.h>

#include <string>

namespace ara::log {

/// Says who the application is and where its records go. Meant for start-up, but allowed at any time and
/// again: the last call counts, for loggers that are there already as well. Until the first call the
/// application is known by the name of its program, and records of level info and more severe ones go to DLT.
///
/// `appId`: short name. DLT shows its first four characters as application id, the whole of it in the
/// description. `appDescription`: what the application is, for people. `appDefLogLevel`: the level of every
/// logger without one of its own, until it is changed from outside. `logMode`: one mode or several combined.
/// `directoryPath`: where the file goes in mode LogMode::kFile ("" is the working directory); otherwise
/// unused.
///
/// Failures: a destination that cannot be opened is said once on standard error; the others still work.
/// Throws `std::bad_alloc` only.
ARA_LOG_EXPORT void InitLogging(std::string appId, std::string appDescription, LogLevel appDefLogLevel,
                                LogMode logMode, std::string directoryPath);

/// The logger of the context `ctxId`, made by the first call with that id; later calls return the same one
/// and keep its first description. DLT shows the first four characters of the id; where two contexts of the
/// application share them, the second gets another last character, and a record says so. The whole of a
/// longer id is in the description.
///
/// May be called before InitLogging.
ARA_LOG_EXPORT Logger& CreateLogger(std::string ctxId, std::string ctxDescription);

/// The same for a logger with a level of its own, which InitLogging leaves alone.
ARA_LOG_EXPORT Logger& CreateLogger(std::string ctxId, std::string ctxDescription, LogLevel ctxDefLogLevel);

/// Whether a record of this level would be written by at least one logger, now: by the level of the most
/// talkative logger, or by the application's default while there is none. Never true for LogLevel::kOff. A
/// level that is changed from outside (a DLT viewer, dlt-control) counts at once.
ARA_LOG_EXPORT bool IsLogEnabled(LogLevel level) noexcept;

}  // namespace ara::log
