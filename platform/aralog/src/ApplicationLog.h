#pragma once

#include <ara/log/common.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "LoggerState.h"
#include "TextOutput.h"

namespace ara::log {

/// Everything that `ara::log` knows about the application: its identity, its loggers, and where its records
/// go.
///
/// Created by the first use and never destroyed, because threads may log for as long as they exist. Only
/// libdlt must not be used to the very end, because it frees itself when the process exits. A guard is
/// registered after libdlt's own exit handler and therefore runs before it. It closes the way to libdlt and
/// waits for records that are being handed to it.
///
/// Thread safety: every function may be called from any thread.
class ApplicationLog {
 public:
    static ApplicationLog& instance();

    void initialize(std::string id, std::string description, LogLevel defaultLevel, LogMode mode,
                    const std::string& directory);

    Logger& logger(const std::string& id, const std::string& description, std::optional<LogLevel> ownLevel);

    /// Whether any logger writes records of this level.
    static bool isEnabled(LogLevel level) noexcept;

    /// Writes a record to the current destinations, whatever its level. What must not stand in a line becomes
    /// an escape sequence, and a text that is longer than a DLT message is cut, with a mark. This happens
    /// once, before all destinations, so that a record reads the same everywhere.
    void write(Logger::State& state, LogLevel level, const std::string& text) noexcept;

 private:
    /// Where records go, and the name of the application that they carry there.
    struct Destinations {
        std::string application;
        bool remote;
        TextOutput* file;     ///< null: none
        TextOutput* console;  ///< null: none
    };

    ApplicationLog();

    void beforeFork();
    void afterForkInParent();
    void afterForkInChild();
    void initializeLocked(std::string id, std::string description, LogLevel defaultLevel, LogMode mode,
                          const std::string& directory);
    void registerWithDlt(const std::string& id, const std::string& description);
    void startDlt();
    void registerContext(Logger::State& state);
    /// The current destinations. Sets the default ones if InitLogging has not set any.
    const Destinations& destinations();
    TextOutput* fileAt(const std::string& path);
    void levelChanged(std::string_view dltId, LogLevel level);
    void updateMostTalkative() noexcept;
    void writeSafe(Logger::State& state, LogLevel level, const std::string& text);
    void writeRemote(Logger::State& state, LogLevel level, const std::string& text) noexcept;
    void guardExit();
    void shutRemote() noexcept;

    std::mutex mutex_;  ///< protects the members down to the blank line
    LogLevel defaultLevel_ = LogLevel::kInfo;
    std::map<std::string, std::unique_ptr<Logger::State>> loggers_;  ///< keyed by the context's name
    std::set<std::string> dltIds_;
    std::map<std::string, std::unique_ptr<TextOutput>> files_;  ///< keyed by path
    TextOutput console_;
    /// Current and former ones: a record may still be on its way to a former one.
    std::vector<std::unique_ptr<const Destinations>> allDestinations_;
    bool remoteUsed_ = false;

    std::atomic<const Destinations*> destinations_ = nullptr;
    std::mutex remoteGate_;  ///< held during every call of libdlt; locked after mutex_ if both are needed
    std::atomic<bool> remoteShut_ = false;
    std::atomic<bool> lossUnsaid_{
        false};  ///< true in a forked process until the loss of records has been reported
};

}  // namespace ara::log
