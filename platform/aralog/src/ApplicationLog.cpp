#include "ApplicationLog.h"

#include <errno.h>
#include <internal/EscapedText.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <utility>

#include "DltIds.h"
#include "DltOutput.h"
#include "LineFormat.h"

namespace ara::log {

namespace {

constexpr LogLevel kLevelBeforeInitLogging = LogLevel::kInfo;

/// How long process exit waits for records that are being handed to libdlt. That should not take any time.
constexpr std::chrono::seconds kExitLimit{1};

/// The most verbose level of any logger. Kept separately, so that a query costs one load.
std::atomic<LogLevel> mostTalkative = kLevelBeforeInitLogging;

bool includes(LogMode mode, LogMode part) noexcept {
    return (mode & part) == part;
}

std::string logFilePath(const std::string& directory, const std::string& application) {
    std::string name = application;
    std::replace(name.begin(), name.end(), '/', '_');
    if (directory.empty()) {
        return name + ".log";
    }
    return directory + (directory.back() == '/' ? "" : "/") + name + ".log";
}

}  // namespace

ApplicationLog& ApplicationLog::instance() {
    static ApplicationLog& log = *new ApplicationLog;
    return log;
}

ApplicationLog::ApplicationLog() : console_(STDERR_FILENO, "standard error") {
    // A child must not inherit a lock that is held by a thread which does not exist in the child. This
    // includes libdlt's own lock, which is only taken while the gate is held.
    pthread_atfork([] { instance().beforeFork(); }, [] { instance().afterForkInParent(); },
                   [] { instance().afterForkInChild(); });
    guardExit();
}

void ApplicationLog::beforeFork() {
    mutex_.lock();
    remoteGate_.lock();
}

void ApplicationLog::afterForkInParent() {
    remoteGate_.unlock();
    mutex_.unlock();
}

void ApplicationLog::afterForkInChild() {
    remoteGate_.unlock();
    if (remoteUsed_) {
        // libdlt refuses to work in a child process once the parent has used it.
        remoteShut_.store(true);
        lossUnsaid_.store(true);
    }
    mutex_.unlock();
}

void ApplicationLog::initialize(std::string id, std::string description, LogLevel defaultLevel, LogMode mode,
                                const std::string& directory) {
    const std::lock_guard lock(mutex_);
    initializeLocked(std::move(id), std::move(description), defaultLevel, mode, directory);
}

void ApplicationLog::initializeLocked(std::string id, std::string description, LogLevel defaultLevel,
                                      LogMode mode, const std::string& directory) {
    defaultLevel_ = defaultLevel;
    for (const auto& [name, state] : loggers_) {
        if (!state->ownLevel) {
            state->level.store(defaultLevel);
        }
    }

    const bool remote = includes(mode, LogMode::kRemote);
    if (remote) {
        registerWithDlt(id, description);
    }
    TextOutput* const file = includes(mode, LogMode::kFile) ? fileAt(logFilePath(directory, id)) : nullptr;
    TextOutput* const console = includes(mode, LogMode::kConsole) ? &console_ : nullptr;
    allDestinations_.push_back(
        std::make_unique<const Destinations>(Destinations{std::move(id), remote, file, console}));
    destinations_.store(allDestinations_.back().get(), std::memory_order_release);
    updateMostTalkative();
}

void ApplicationLog::registerWithDlt(const std::string& id, const std::string& description) {
    const std::lock_guard gate(remoteGate_);
    if (remoteShut_.load()) {
        return;
    }
    startDlt();
    for (const auto& [name, state] : loggers_) {
        dlt_output::unregisterContext(*state);
    }
    dlt_output::registerApplication(id, description);
    for (const auto& [name, state] : loggers_) {
        registerContext(*state);
    }
}

void ApplicationLog::startDlt() {
    if (std::exchange(remoteUsed_, true)) {
        return;
    }
    dlt_output::start();
    // This second guard runs before libdlt's own exit handler. The first guard is older than that handler;
    // it keeps libdlt from being started while the process exits.
    guardExit();
}

void ApplicationLog::guardExit() {
    std::atexit([] { instance().shutRemote(); });
}

void ApplicationLog::registerContext(Logger::State& state) {
    dlt_output::registerContext(
        state, [](std::string_view dltId, LogLevel level) { instance().levelChanged(dltId, level); });
}

TextOutput* ApplicationLog::fileAt(const std::string& path) {
    std::unique_ptr<TextOutput>& file = files_[path];
    if (file == nullptr) {
        file = TextOutput::openFile(path);
    }
    return file.get();
}

Logger& ApplicationLog::logger(const std::string& id, const std::string& description,
                               std::optional<LogLevel> ownLevel) {
    std::string collision;
    Logger* made = nullptr;
    {
        const std::lock_guard lock(mutex_);
        if (const auto known = loggers_.find(id); known != loggers_.end()) {
            return known->second->logger;
        }

        std::string shownId = freeDltId(id, dltIds_);
        if (const std::string usual = dltId(id); shownId != usual) {
            collision = "the context \"" + id + "\" is shown as \"" + shownId +
                        "\", since another one is shown as \"" + usual + "\"";
        }
        dltIds_.insert(shownId);
        const auto state =
            loggers_
                .emplace(id, std::make_unique<Logger::State>(id, description, std::move(shownId), ownLevel,
                                                             ownLevel.value_or(defaultLevel_)))
                .first->second.get();
        made = &state->logger;
        const Destinations* const destinations = destinations_.load(std::memory_order_relaxed);
        if (const std::lock_guard gate(remoteGate_); !remoteShut_.load()) {
            if (destinations == nullptr) {
                // The first record may start the output on any thread, even while another thread begins to
                // exit the process. Start libdlt now: if it were started only then, its exit handler could
                // run before our guard is registered.
                startDlt();
            } else if (destinations->remote) {
                registerContext(*state);
            }
        }
        updateMostTalkative();
    }
    if (!collision.empty()) {
        made->LogWarn() << collision;
    }
    return *made;
}

bool ApplicationLog::isEnabled(LogLevel level) noexcept {
    return level != LogLevel::kOff && level <= mostTalkative.load(std::memory_order_relaxed);
}

void ApplicationLog::write(Logger::State& state, LogLevel level, const std::string& text) noexcept {
    try {
        const std::size_t limit = dlt_output::longestText();
        if (internal::isPlainText(text, limit)) {
            writeSafe(state, level, text);
        } else {
            writeSafe(state, level, internal::escapedText(text, limit));
        }
    } catch (...) {
        complain("a record is lost: no memory");
    }
}

void ApplicationLog::writeSafe(Logger::State& state, LogLevel level, const std::string& text) {
    const Destinations& to = destinations();
    if (to.remote) {
        writeRemote(state, level, text);
    }
    if (to.file == nullptr && to.console == nullptr) {
        return;
    }
    const std::string line =
        formatLine(std::chrono::system_clock::now(), to.application, state.name, level, text);
    if (to.file != nullptr) {
        to.file->write(line);
    }
    if (to.console != nullptr) {
        to.console->write(line);
    }
}

const ApplicationLog::Destinations& ApplicationLog::destinations() {
    if (const Destinations* const known = destinations_.load(std::memory_order_acquire)) {
        return *known;
    }
    const std::lock_guard lock(mutex_);
    if (destinations_.load(std::memory_order_relaxed) == nullptr) {
        const std::string program = program_invocation_short_name;
        initializeLocked(program, program, kLevelBeforeInitLogging, LogMode::kRemote, "");
    }
    return *destinations_.load(std::memory_order_relaxed);
}

void ApplicationLog::writeRemote(Logger::State& state, LogLevel level, const std::string& text) noexcept {
    if (remoteShut_.load()) {
        if (lossUnsaid_.exchange(false)) {
            complain("records of a forked process do not reach DLT; they are lost");
        }
        return;
    }
    const std::lock_guard gate(remoteGate_);
    if (!remoteShut_.load()) {
        dlt_output::write(state, level, text);
    }
}

void ApplicationLog::levelChanged(std::string_view dltId, LogLevel level) {
    const std::lock_guard lock(mutex_);
    for (const auto& [name, state] : loggers_) {
        if (state->dltId == dltId) {
            state->level.store(level);
        }
    }
    updateMostTalkative();
}

void ApplicationLog::updateMostTalkative() noexcept {
    LogLevel most = loggers_.empty() ? defaultLevel_ : LogLevel::kOff;
    for (const auto& [name, state] : loggers_) {
        most = std::max(most, state->level.load());
    }
    mostTalkative.store(most, std::memory_order_relaxed);
}

void ApplicationLog::shutRemote() noexcept {
    if (!remoteShut_.load()) {
        dlt_output::waitForAnswers();
    }
    remoteShut_.store(true);
    const auto limit = std::chrono::steady_clock::now() + kExitLimit;
    while (std::chrono::steady_clock::now() < limit) {
        if (remoteGate_.try_lock()) {
            remoteGate_.unlock();
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace ara::log
