#include <internal/EscapedText.h>
#include <internal/SafeWrite.h>
#include <unistd.h>
#include <zebutil/LoggerFactory.h>

#include <mutex>
#include <stdexcept>
#include <utility>

namespace zebutil {

namespace {

class StandardErrorLogger : public ILogger {
 public:
    explicit StandardErrorLogger(std::string facility) : facility_(std::move(facility)) {}

    void trace(const std::string& message) override { write("trace", message); }
    void debug(const std::string& message) override { write("debug", message); }
    void info(const std::string& message) override { write("info", message); }
    void warning(const std::string& message) override { write("warning", message); }
    void error(const std::string& message) override { write("error", message); }
    void system(const std::string& message) override { write("system", message); }

    bool isTrace() const override { return true; }
    bool isDebug() const override { return true; }
    bool isInfo() const override { return true; }
    bool isWarning() const override { return true; }
    bool isError() const override { return true; }
    bool isSystem() const override { return true; }

    std::shared_ptr<ILogger> getSubFacilityLogger(const std::string& name) const override {
        return std::make_shared<StandardErrorLogger>(name);
    }

 private:
    void write(const char* level, const std::string& message) const {
        // The message may quote text from outside.
        const std::string line = facility_ + ": " + level + ": " + internal::escapedText(message) + "\n";
        // A single call, so that the lines of several threads do not mix. A line that cannot be written is
        // lost.
        static_cast<void>(internal::writeWithoutSignal(STDERR_FILENO, line.data(), line.size()));
    }

    const std::string facility_;
};

class StandardErrorLoggerFactory : public LoggerFactory {
 public:
    std::unique_ptr<ILogger> createLogger(const std::string& name) override {
        return std::make_unique<StandardErrorLogger>(name);
    }
};

struct DefaultFactory {
    std::mutex mutex;
    std::shared_ptr<LoggerFactory> factory = std::make_shared<StandardErrorLoggerFactory>();
    bool isSet = false;
};

/// Never destroyed, because data objects may be filled, and may log, in the destructors of static objects.
DefaultFactory& defaultFactory() {
    static auto& instance = *new DefaultFactory;
    return instance;
}

}  // namespace

std::shared_ptr<LoggerFactory> LoggerFactory::getDefaultLoggerFactory() {
    DefaultFactory& instance = defaultFactory();
    const std::lock_guard lock(instance.mutex);
    return instance.factory;
}

bool LoggerFactory::setDefaultLoggerFactoryOnce(std::shared_ptr<LoggerFactory> factory) {
    if (!factory) {
        throw std::invalid_argument("the default logger factory must not be null");
    }
    DefaultFactory& instance = defaultFactory();
    const std::lock_guard lock(instance.mutex);
    if (!instance.isSet) {
        instance.factory = std::move(factory);
        instance.isSet = true;
        return true;
    }
    return instance.factory == factory;
}

}  // namespace zebutil
