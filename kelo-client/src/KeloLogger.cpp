#include <csc_logging/CSCLogging.h>
#include <internal/EscapedText.h>
#include <kelo-client/KeloLogger.h>

#include <chrono>
#include <cstddef>

#include "LogLimit.h"

namespace kelo_client {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using csc_logging::ECSCLogLevel;

namespace {

void log(ECSCLogLevel level, const CSCLogEntry& entry) {
    switch (level) {
        case csc_logging::kError:
            CSCLogging::LogError(entry);
            break;
        case csc_logging::kWarning:
            CSCLogging::LogWarning(entry);
            break;
        case csc_logging::kInfo:
            CSCLogging::LogInfo(entry);
            break;
        case csc_logging::kDebug:
            CSCLogging::LogDebug(entry);
            break;
        default:
            CSCLogging::LogVerbose(entry);
            break;
    }
}

}  // namespace

KeloLogger::KeloLogger(const std::string& name)
    : prefix_(internal::escapedText(name) + ": "), limit_(LogLimit::of(name)) {}

KeloLogger::~KeloLogger() {
    try {
        for (const auto level : {csc_logging::kError, csc_logging::kWarning, csc_logging::kInfo,
                                 csc_logging::kDebug, csc_logging::kVerbose}) {
            tellSuppressed(level, limit_.takeSuppressed(static_cast<std::size_t>(level),
                                                        std::chrono::steady_clock::now()));
        }
    } catch (...) {
        // There is no memory for the line.
    }
}

void KeloLogger::write(ECSCLogLevel level, const std::string& message) {
    const auto verdict =
        limit_.admit(static_cast<std::size_t>(level), message, std::chrono::steady_clock::now());
    if (!verdict.isAdmitted) {
        return;
    }
    tellSuppressed(level, verdict.suppressedBefore);
    if (internal::isPlainText(message, internal::kTextFromOutside)) {
        log(level, CSCLogEntry(prefix_) << message);
    } else {
        log(level, CSCLogEntry(prefix_) << internal::escapedText(message));
    }
}

void KeloLogger::tellSuppressed(ECSCLogLevel level, std::uint64_t count) {
    if (count > 0) {
        log(level, CSCLogEntry(prefix_)
                       << std::to_string(count)
                       << " messages suppressed, because there were too many or they were the same");
    }
}

void KeloLogger::trace(const std::string& message) {
    write(csc_logging::kVerbose, message);
}

void KeloLogger::debug(const std::string& message) {
    write(csc_logging::kDebug, message);
}

void KeloLogger::info(const std::string& message) {
    write(csc_logging::kInfo, message);
}

void KeloLogger::warning(const std::string& message) {
    write(csc_logging::kWarning, message);
}

void KeloLogger::error(const std::string& message) {
    write(csc_logging::kError, message);
}

void KeloLogger::system(const std::string& message) {
    write(csc_logging::kVerbose, message);
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
