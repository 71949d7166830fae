#pragma once

#include <zebutil/ILogger.h>
#include <zebutil/LoggerFactory.h>

#include <memory>
#include <string>

namespace fuzz {

/// Has every text made, and writes none.
class SilentLogger : public zebutil::ILogger {
 public:
    void trace(const std::string&) override {}
    void debug(const std::string&) override {}
    void info(const std::string&) override {}
    void warning(const std::string&) override {}
    void error(const std::string&) override {}
    void system(const std::string&) override {}
    bool isTrace() const override { return true; }
    bool isDebug() const override { return true; }
    bool isInfo() const override { return true; }
    bool isWarning() const override { return true; }
    bool isError() const override { return true; }
    bool isSystem() const override { return true; }
    std::shared_ptr<ILogger> getSubFacilityLogger(const std::string&) const override {
        return std::make_shared<SilentLogger>();
    }
};

/// Gives the platform silent loggers in this process.
class SilentLoggerFactory : public zebutil::LoggerFactory {
 public:
    static void use() {
        static const bool isUsed = setDefaultLoggerFactoryOnce(std::make_shared<SilentLoggerFactory>());
        static_cast<void>(isUsed);
    }

    std::unique_ptr<zebutil::ILogger> createLogger(const std::string&) override {
        return std::make_unique<SilentLogger>();
    }
};

}  // namespace fuzz
