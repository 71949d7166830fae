#pragma once

#include <zebutil/ILogger.h>
#include <zebutil/LoggerFactory.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

/// What the platform logged, from any thread, as "level facility: message" lines that a test can wait for.
class RecordedLog {
 public:
    void add(std::string line) {
        {
            const std::lock_guard lock(mutex_);
            lines_.push_back(std::move(line));
        }
        changed_.notify_all();
    }

    std::vector<std::string> lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

    /// Whether `times` lines that contain `part` are there, at the latest after `limit`.
    bool waitFor(const std::string& part, std::chrono::milliseconds limit = std::chrono::seconds(10),
                 std::size_t times = 1) const {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, limit, [&] { return countUnlocked(part) >= times; });
    }

    bool contains(const std::string& part) const { return count(part) > 0; }

    /// Lines that contain `part`.
    std::size_t count(const std::string& part) const {
        const std::lock_guard lock(mutex_);
        return countUnlocked(part);
    }

 private:
    std::size_t countUnlocked(const std::string& part) const {
        std::size_t found = 0;
        for (const std::string& line : lines_) {
            found += line.find(part) == std::string::npos ? 0 : 1;
        }
        return found;
    }

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> lines_;
};

class RecordingLogger : public zebutil::ILogger {
 public:
    RecordingLogger(std::shared_ptr<RecordedLog> log, std::string facility)
        : log_(std::move(log)), facility_(std::move(facility)) {}

    void trace(const std::string& message) override { add("trace", message); }
    void debug(const std::string& message) override { add("debug", message); }
    void info(const std::string& message) override { add("info", message); }
    void warning(const std::string& message) override { add("warning", message); }
    void error(const std::string& message) override { add("error", message); }
    void system(const std::string& message) override { add("system", message); }
    bool isTrace() const override { return true; }
    bool isDebug() const override { return true; }
    bool isInfo() const override { return true; }
    bool isWarning() const override { return true; }
    bool isError() const override { return true; }
    bool isSystem() const override { return true; }
    std::shared_ptr<zebutil::ILogger> getSubFacilityLogger(const std::string& name) const override {
        return std::make_shared<RecordingLogger>(log_, name);
    }

 private:
    void add(const std::string& level, const std::string& message) {
        log_->add(level + " " + facility_ + ": " + message);
    }

    const std::shared_ptr<RecordedLog> log_;
    const std::string facility_;
};

class RecordingLoggerFactory : public zebutil::LoggerFactory {
 public:
    explicit RecordingLoggerFactory(std::shared_ptr<RecordedLog> log) : log_(std::move(log)) {}

    std::unique_ptr<zebutil::ILogger> createLogger(const std::string& name) override {
        return std::make_unique<RecordingLogger>(log_, name);
    }

 private:
    const std::shared_ptr<RecordedLog> log_;
};

}  // namespace test_support
