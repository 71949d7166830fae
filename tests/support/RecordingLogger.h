#pragma once

#include <zebutil/ILogger.h>
#include <zebutil/LoggerFactory.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

/// What the platform logged, as "level facility: message" lines that a test can wait for, and which loggers
/// it made. Shared by the test and the loggers.
///
/// Thread safety: every operation may be called from any thread.
class RecordedLog {
 public:
    /// Whether the lines are kept. A test that runs for long, or measures memory, keeps nothing.
    enum class Keep { Everything, Nothing };

    explicit RecordedLog(Keep keep = Keep::Everything) : keep_(keep) {}

    void add(const char* level, const std::string& facility, const std::string& message) {
        if (keep_ == Keep::Nothing) {
            return;
        }
        {
            const std::lock_guard lock(mutex_);
            lines_.push_back(std::string(level) + " " + facility + ": " + message);
        }
        changed_.notify_all();
    }

    void addCreated(const std::string& facility) {
        if (keep_ == Keep::Nothing) {
            return;
        }
        const std::lock_guard lock(mutex_);
        created_.push_back(facility);
    }

    void addReleased() { ++released_; }

    std::vector<std::string> lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

    /// The facilities of the loggers that a factory made, in that order.
    std::vector<std::string> created() const {
        const std::lock_guard lock(mutex_);
        return created_;
    }

    /// How many loggers were destroyed.
    std::size_t released() const { return released_; }

    /// Forgets all of the above.
    void clear() {
        const std::lock_guard lock(mutex_);
        lines_.clear();
        created_.clear();
        released_ = 0;
    }

    /// Waits until `times` lines contain `part`. Returns false when they do not within `limit`.
    bool waitFor(const std::string& part, std::chrono::milliseconds limit = std::chrono::seconds(10),
                 std::size_t times = 1) const {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, limit, [&] { return countUnlocked(part) >= times; });
    }

    bool contains(const std::string& part) const { return count(part) > 0; }

    /// How many lines contain `part`.
    std::size_t count(const std::string& part) const {
        const std::lock_guard lock(mutex_);
        return countUnlocked(part);
    }

    /// What the loggers answer to `isWarning()`. A warning is recorded in any case.
    std::atomic<bool> areWarningsWanted = true;

 private:
    std::size_t countUnlocked(const std::string& part) const {
        std::size_t found = 0;
        for (const std::string& line : lines_) {
            found += line.find(part) == std::string::npos ? 0 : 1;
        }
        return found;
    }

    const Keep keep_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> lines_;
    std::vector<std::string> created_;
    std::atomic<std::size_t> released_ = 0;
};

class RecordingLogger : public zebutil::ILogger {
 public:
    RecordingLogger(std::shared_ptr<RecordedLog> log, std::string facility)
        : log_(std::move(log)), facility_(std::move(facility)) {}
    ~RecordingLogger() override { log_->addReleased(); }

    RecordingLogger(const RecordingLogger&) = delete;
    RecordingLogger& operator=(const RecordingLogger&) = delete;

    void trace(const std::string& message) override { log_->add("trace", facility_, message); }
    void debug(const std::string& message) override { log_->add("debug", facility_, message); }
    void info(const std::string& message) override { log_->add("info", facility_, message); }
    void warning(const std::string& message) override { log_->add("warning", facility_, message); }
    void error(const std::string& message) override { log_->add("error", facility_, message); }
    void system(const std::string& message) override { log_->add("system", facility_, message); }
    bool isTrace() const override { return true; }
    bool isDebug() const override { return true; }
    bool isInfo() const override { return true; }
    bool isWarning() const override { return log_->areWarningsWanted; }
    bool isError() const override { return true; }
    bool isSystem() const override { return true; }
    std::shared_ptr<zebutil::ILogger> getSubFacilityLogger(const std::string& name) const override {
        return std::make_shared<RecordingLogger>(log_, name);
    }

 private:
    const std::shared_ptr<RecordedLog> log_;
    const std::string facility_;
};

class RecordingLoggerFactory : public zebutil::LoggerFactory {
 public:
    explicit RecordingLoggerFactory(std::shared_ptr<RecordedLog> log) : log_(std::move(log)) {}

    std::unique_ptr<zebutil::ILogger> createLogger(const std::string& name) override {
        whenOneIsMade();
        log_->addCreated(name);
        return std::make_unique<RecordingLogger>(log_, name);
    }

    /// Called before a logger is made; may throw. Set it only while no thread makes a logger.
    std::function<void()> whenOneIsMade = [] {};

 private:
    const std::shared_ptr<RecordedLog> log_;
};

}  // namespace test_support
