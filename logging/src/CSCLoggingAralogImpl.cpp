#include "CSCLoggingAralogImpl.h"

#include <memory>

namespace csc_logging {

namespace {

/// An application that cannot start its logging must not run unobserved. Therefore this function is noexcept:
/// an exception ends the process.
void initializeAraLog(ara::log::LogLevel level) noexcept {
    ara::log::InitLogging("CSC", "Core Service Component", level, ara::log::LogMode::kRemote, "");
}

}  // namespace

CSCLoggingAralogImpl::~CSCLoggingAralogImpl() {
    delete logger_.load(std::memory_order_acquire);
}

void CSCLoggingAralogImpl::InitLogging(const std::string& appName, ECSCLogLevel level) {
    initializeAraLog(ConvertLogLevel(level));
    CreateLogger(appName);
}

void CSCLoggingAralogImpl::CreateLogger(const std::string& name) {
    if (logger_.load(std::memory_order_acquire) != nullptr) {
        return;
    }
    auto created = std::make_unique<const CSCLogger>(name);
    const CSCLogger* none = nullptr;
    if (logger_.compare_exchange_strong(none, created.get(), std::memory_order_acq_rel)) {
        static_cast<void>(created.release());
    }
}

bool CSCLoggingAralogImpl::IsLoggingEnabled(ECSCLogLevel level) {
    return logger_.load(std::memory_order_acquire) != nullptr &&
           ara::log::IsLogEnabled(ConvertLogLevel(level));
}

void CSCLoggingAralogImpl::LogFatal(const std::string& message) {
    write(ara::log::LogLevel::kFatal, message);
}

void CSCLoggingAralogImpl::LogError(const std::string& message) {
    write(ara::log::LogLevel::kError, message);
}

void CSCLoggingAralogImpl::LogWarning(const std::string& message) {
    write(ara::log::LogLevel::kWarn, message);
}

void CSCLoggingAralogImpl::LogInfo(const std::string& message) {
    write(ara::log::LogLevel::kInfo, message);
}

void CSCLoggingAralogImpl::LogDebug(const std::string& message) {
    write(ara::log::LogLevel::kDebug, message);
}

void CSCLoggingAralogImpl::LogVerbose(const std::string& message) {
    write(ara::log::LogLevel::kVerbose, message);
}

ara::log::LogLevel CSCLoggingAralogImpl::ConvertLogLevel(ECSCLogLevel level) const noexcept {
    constexpr auto levels = static_cast<unsigned int>(kVerbose) + 1;
    const auto value = static_cast<unsigned int>(level);
    return value < levels ? static_cast<ara::log::LogLevel>(value) : ara::log::LogLevel::kInfo;
}

void CSCLoggingAralogImpl::write(ara::log::LogLevel level, const std::string& message) {
    const CSCLogger* const logger = logger_.load(std::memory_order_acquire);
    if (logger == nullptr) {
        return;
    }
    ara::log::LogStream(level, logger->GetLogger()) << message.c_str();
}

}  // namespace csc_logging
