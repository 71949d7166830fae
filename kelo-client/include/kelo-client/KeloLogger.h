#pragma once

#include <clampcontrolclient/Export.h>
#include <csc_logging/ECSCLogLevel.h>
#include <zebutil/ILogger.h>

#include <cstdint>
#include <memory>
#include <string>

namespace kelo_client {

class LogLimit;

/// Writes the platform's messages to csc_logging::CSCLogging, each prefixed with the name of its facility and
/// ": ". The levels keep their names, except that `trace` and `system` become verbose. Nothing becomes fatal.
///
/// The platform's messages quote what services, registries and the network have sent. This is the one place
/// through which all of them go, whatever platform and whatever `ara::log` the vehicle brings. So a message
/// is made safe here: what must not stand in a line (control characters, invalid UTF-8, characters that turn
/// the direction of the text) becomes an escape sequence, a message of more than 1,000 bytes is cut and says
/// by how much, and of a flood of messages only the first ones are written, with the number of the others. An
/// ordinary message is written as it is.
///
/// Owned by the platform object that logs. Thread safety: every function may be called from any thread.
class CLAMPCONTROL_EXPORT KeloLogger : public zebutil::ILogger {
 public:
    /// `name` is the name of the facility.
    explicit KeloLogger(const std::string& name);
    /// Tells how many messages were suppressed, if that has not been told yet.
    ~KeloLogger() override;
    KeloLogger(const KeloLogger&) = delete;
    KeloLogger& operator=(const KeloLogger&) = delete;

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
    void write(csc_logging::ECSCLogLevel level, const std::string& message);
    void tellSuppressed(csc_logging::ECSCLogLevel level, std::uint64_t count);

    const std::string prefix_;
    LogLimit& limit_;
};

}  // namespace kelo_client
