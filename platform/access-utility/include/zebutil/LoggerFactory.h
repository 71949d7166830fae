#pragma once

#include <zebutil/Export.h>
#include <zebutil/ILogger.h>

#include <memory>
#include <string>

namespace zebutil {

/// Creates the loggers of the platform's facilities. Implemented by the application or the client library,
/// and shared by every platform object that logs.
///
/// Thread safety: every operation may be called from any thread.
class ZEBUTIL_EXPORT LoggerFactory {
 public:
    virtual ~LoggerFactory() = default;

    /// Returns a new logger for the facility `name`, owned by the caller.
    virtual std::unique_ptr<ILogger> createLogger(const std::string& name) = 0;

    /// The factory for code that is not given one, such as the data objects. Until
    /// `setDefaultLoggerFactoryOnce` has set another, its loggers write one line per message to standard
    /// error. Never null; may be called at any time, even in the destructors of static objects.
    static std::shared_ptr<LoggerFactory> getDefaultLoggerFactory();

    /// Makes `factory` the default of this process for good. The first call wins; later calls change nothing.
    /// Returns whether `factory` is the default now. Throws `std::invalid_argument` if it is null.
    static bool setDefaultLoggerFactoryOnce(std::shared_ptr<LoggerFactory> factory);
};

}  // namespace zebutil
