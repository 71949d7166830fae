#pragma once

/// \file
/// Logging for the applications of a vehicle's computer. A process is one *application*; each Logger is one
/// *context* of it. Records go to DLT, to a file, to the console, or to several of these.

#include <ara/log/common.h>
#include <ara/log/log_stream.h>
#include <ara/log/logger.h>

#include <string>

namespace ara::log {

/// Sets the identity of the application and the destinations of its records. Meant for start-up, but may be
/// called at any time and more than once: the last call counts, also for existing loggers. Until the first
/// call, the application is known by the name of its program, and records of level info and more severe ones
/// go to DLT.
///
/// `appId`: short name. DLT shows its first four characters as the application id and a longer name in the
/// description. `appDescription`: what the application is, for human readers. `appDefLogLevel`: the level of
/// every logger that was created without its own level, until that is changed from outside. `logMode`: one
/// mode, or several combined. `directoryPath`: the directory of the file in mode LogMode::kFile ("" is the
/// working directory); otherwise unused.
///
/// Failures: a destination that cannot be opened is reported once on standard error; the others still work.
/// Throws only `std::bad_alloc`.
ARA_LOG_EXPORT void InitLogging(std::string appId, std::string appDescription, LogLevel appDefLogLevel,
                                LogMode logMode, std::string directoryPath);

/// Returns the logger of the context `ctxId`. The first call with an id creates it; later calls return the
/// same logger, which keeps its first description. DLT shows the first four characters of the id. If two
/// contexts of the application share them, the second one gets a different last character, and a record says
/// so. The description contains the whole of a longer id.
///
/// May be called before InitLogging.
ARA_LOG_EXPORT Logger& CreateLogger(std::string ctxId, std::string ctxDescription);

/// The same for a logger with its own level, which InitLogging does not change.
ARA_LOG_EXPORT Logger& CreateLogger(std::string ctxId, std::string ctxDescription, LogLevel ctxDefLogLevel);

/// Whether at least one logger would write a record of this level now. This depends on the most verbose level
/// of any logger, or on the application's default level if there is no logger yet. Always false for
/// LogLevel::kOff. A level that is changed from outside (by a DLT viewer or dlt-control) takes effect at
/// once.
ARA_LOG_EXPORT bool IsLogEnabled(LogLevel level) noexcept;

}  // namespace ara::log
