#pragma once

#include <clampcontrolclient/Export.h>
#include <zebutil/ILogger.h>

#include <memory>
#include <string>

namespace kelo_client {

/// Writes the platform's messages to csc_logging::CSCLogging, each prefixed with the name of its facility and
/// ": ". The levels keep their names, except that `trace` and `system` become verbose. Nothing becomes fatal.
///
/// Owned by the platform object that logs. Thread safety: every function may be called from any thread.
class CLAMPCONTROL_EXPORT KeloLogger : public zebutil::ILogger {
 public:
    /// `name` is the name of the facility.
    explicit KeloLogger(const std::string& name);

    void trace(const std::string& message) override;
    void debug(const std::string& message) override;
    void info(const std::string& message) override;
    void warning(const std::string& message) override;
    void error(const std::string& message) override;
    void system(const std::string& message) override;

    /// All of these return true, because CSCLogging drops messages whose level is not enabled.
    bool isTrace() const override;
    bool isDebug() const override;
    bool isInfo() const override;
    bool isWarning() const override;
    bool isError() const override;
    bool isSystem() const override;

    /// Returns a logger for the facility `name` alone; this logger's own name is not part of it.
    std::shared_ptr<zebutil::ILogger> getSubFacilityLogger(const std::string& name) const override;

 private:
    const std::string prefix_;
};

}  // namespace kelo_client
