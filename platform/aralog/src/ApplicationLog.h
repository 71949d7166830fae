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

/// All that `ara::log` knows of the application: who it is, its loggers, and where its records go.
///
/// Made by the first use and never destroyed, since threads may log for as long as there are any. What must
/// not be used to the last is libdlt, which frees itself when the process exits: a guard that is registered
/// after libdlt's own exit handler, and so runs before it, shuts the way to it and waits for records that are
/// on it.
///
/// Thread safety: every function may be called from any thread.
class ApplicationLog {
 public:
    static ApplicationLog& instance();

    void initialize(std::string id, std::string description, LogLevel defaultLevel, LogMode mode,
                    const std::string& directory);

    Logger& logger(const std::string& id, const std::string& description, std::optional<LogLevel> ownLevel);

    /// Whether some logger writes records of the level.
    static bool isEnabled(LogLevel level) noexcept;

    /// Writes a record, whatever its level, wherever records go at present.
    void write(Logger::State& state, LogLevel level, const std::string& text) noexcept;

 private:
    /// Where records go, and the name that they carry there.
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
    /// Where records go; by default, if InitLogging has not said so.
    const Destinations& destinations();
    TextOutput* fileAt(const std::string& path);
    void levelChanged(std::string_view dltId, LogLevel level);
    void updateMostTalkative() noexcept;
    void writeRemote(Logger::State& state, LogLevel level, const std::string& text) noexcept;
    void guardExit();
    void shutRemote() noexcept;

    std::mutex mutex_;  ///< for the members down to the gap
    LogLevel defaultLevel_ = LogLevel::kInfo;
    std::map<std::string, std::unique_ptr<Logger::State>> loggers_;  ///< by the context's name
    std::set<std::string> dltIds_;
    std::map<std::string, std::unique_ptr<TextOutput>> files_;  ///< by path
    TextOutput console_;
    /// Present and former ones: a record may still be on its way to a former one.
    std::vector<std::unique_ptr<const Destinations>> allDestinations_;
    bool remoteUsed_ = false;

    std::atomic<const Destinations*> destinations_ = nullptr;
    std::mutex remoteGate_;  ///< held in every call of libdlt; taken after mutex_ where both are needed
    std::atomic<bool> remoteShut_ = false;
    std::atomic<bool> lossUnsaid_{
        false};  ///< in a forked process, until it has been said that records are lost
};

}  // namespace ara::log
