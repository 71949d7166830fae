#pragma once

#include <zebutil/Export.h>

#include <memory>
#include <string>

namespace zebutil {

/// Writes the messages of one part of the platform, called a facility. Created by a `LoggerFactory` and owned
/// by the object that asked for it. Implemented by the application or the client library.
///
/// Thread safety: an implementation must allow every operation from any thread at any time.
class ZEBUTIL_EXPORT ILogger {
 public:
    virtual ~ILogger() = default;

    /// Each writes one message at its level.
    virtual void trace(const std::string& message) = 0;
    virtual void debug(const std::string& message) = 0;
    virtual void info(const std::string& message) = 0;
    virtual void warning(const std::string& message) = 0;
    virtual void error(const std::string& message) = 0;
    virtual void system(const std::string& message) = 0;

    /// Whether a message at this level would be written. A caller can use this to avoid building the text.
    virtual bool isTrace() const = 0;
    virtual bool isDebug() const = 0;
    virtual bool isInfo() const = 0;
    virtual bool isWarning() const = 0;
    virtual bool isError() const = 0;
    virtual bool isSystem() const = 0;

    /// Returns a logger for the part `name` of this facility.
    virtual std::shared_ptr<ILogger> getSubFacilityLogger(const std::string& name) const = 0;
};

}  // namespace zebutil
