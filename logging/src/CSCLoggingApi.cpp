#include <csc_logging/CSCLoggingApi.h>

#include "CSCLoggingAralogImpl.h"

namespace csc_logging {

CSCLoggingApi::CSCLoggingApi() : backend_(std::make_unique<CSCLoggingAralogImpl>()) {}

CSCLoggingApi::~CSCLoggingApi() = default;

void CSCLoggingApi::InitLogging(const std::string& appName, ECSCLogLevel level) {
    backend_->InitLogging(appName, level);
}

bool CSCLoggingApi::IsLoggingEnabled(ECSCLogLevel level) {
    return backend_->IsLoggingEnabled(level);
}

void CSCLoggingApi::LogFatal(const std::string& message) {
    backend_->LogFatal(message);
}

void CSCLoggingApi::LogError(const std::string& message) {
    backend_->LogError(message);
}

void CSCLoggingApi::LogWarning(const std::string& message) {
    backend_->LogWarning(message);
}

void CSCLoggingApi::LogInfo(const std::string& message) {
    backend_->LogInfo(message);
}

void CSCLoggingApi::LogDebug(const std::string& message) {
    backend_->LogDebug(message);
}

void CSCLoggingApi::LogVerbose(const std::string& message) {
    backend_->LogVerbose(message);
}

void CSCLoggingApi::CreateLogger(const std::string& name) {
    backend_->CreateLogger(name);
}

}  // namespace csc_logging
