#include <csc_logging/CSCLogging.h>
#include <kelo-client/KeloLogger.h>

namespace kelo_client {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;

KeloLogger::KeloLogger(const std::string& name) : prefix_(name + ": ") {}

void KeloLogger::trace(const std::string& message) {
    CSCLogging::LogVerbose(CSCLogEntry(prefix_) << message);
}

void KeloLogger::debug(const std::string& message) {
    CSCLogging::LogDebug(CSCLogEntry(prefix_) << message);
}

void KeloLogger::info(const std::string& message) {
    CSCLogging::LogInfo(CSCLogEntry(prefix_) << message);
}

void KeloLogger::warning(const std::string& message) {
    CSCLogging::LogWarning(CSCLogEntry(prefix_) << message);
}

void KeloLogger::error(const std::string& message) {
    CSCLogging::LogError(CSCLogEntry(prefix_) << message);
}

void KeloLogger::system(const std::string& message) {
    CSCLogging::LogVerbose(CSCLogEntry(prefix_) << message);
}

bool KeloLogger::isTrace() const {
    return true;
}

bool KeloLogger::isDebug() const {
    return true;
}

bool KeloLogger::isInfo() const {
    return true;
}

bool KeloLogger::isWarning() const {
    return true;
}

bool KeloLogger::isError() const {
    return true;
}

bool KeloLogger::isSystem() const {
    return true;
}

std::shared_ptr<zebutil::ILogger> KeloLogger::getSubFacilityLogger(const std::string& name) const {
    return std::make_shared<KeloLogger>(name);
}

}  // namespace kelo_client
