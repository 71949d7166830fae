#include "RecordingAraLog.h"

#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <stdexcept>

namespace ara::log {

struct Logger::State {
    explicit State(std::string id) : name(std::move(id)), logger(*this) {}
    const std::string name;
    Logger logger;
};

}  // namespace ara::log

namespace test_support {

namespace {

using ara::log::Logger;
using ara::log::LogLevel;

struct Recording {
    std::mutex mutex;
    std::vector<std::string> calls;
    std::vector<RecordingAraLog::Record> records;
    std::map<std::string, std::unique_ptr<Logger::State>> loggers;
    LogLevel enabledUpTo = LogLevel::kVerbose;
    bool failInitLogging = false;
};

/// Never destroyed, like the real one: the code under test may log until the process ends.
Recording& recording() {
    static Recording& instance = *new Recording;
    return instance;
}

std::string number(LogLevel level) {
    return std::to_string(static_cast<int>(level));
}

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

void recordCall(const std::string& call) {
    const std::lock_guard lock(recording().mutex);
    recording().calls.push_back(call);
}

}  // namespace

void RecordingAraLog::reset() {
    const std::lock_guard lock(recording().mutex);
    recording().calls.clear();
    recording().records.clear();
    recording().enabledUpTo = LogLevel::kVerbose;
    recording().failInitLogging = false;
}

void RecordingAraLog::enableUpTo(LogLevel level) {
    const std::lock_guard lock(recording().mutex);
    recording().enabledUpTo = level;
}

void RecordingAraLog::failNextInitLogging() {
    const std::lock_guard lock(recording().mutex);
    recording().failInitLogging = true;
}

std::vector<std::string> RecordingAraLog::calls() {
    const std::lock_guard lock(recording().mutex);
    return recording().calls;
}

std::vector<RecordingAraLog::Record> RecordingAraLog::records() {
    const std::lock_guard lock(recording().mutex);
    return recording().records;
}

void PrintTo(const RecordingAraLog::Record& record, std::ostream* stream) {
    *stream << "level " << number(record.level) << ", context " << quoted(record.context) << ": "
            << quoted(record.text);
}

}  // namespace test_support

namespace ara::log {

using test_support::number;
using test_support::quoted;
using test_support::recordCall;
using test_support::recording;

void InitLogging(std::string appId, std::string appDescription, LogLevel appDefLogLevel, LogMode logMode,
                 std::string directoryPath) {
    recordCall("InitLogging(" + quoted(appId) + ", " + quoted(appDescription) + ", " +
               number(appDefLogLevel) + ", " + std::to_string(static_cast<int>(logMode)) + ", " +
               quoted(directoryPath) + ")");
    const std::lock_guard lock(recording().mutex);
    if (recording().failInitLogging) {
        recording().failInitLogging = false;
        throw std::runtime_error("InitLogging fails as the test requested");
    }
}

Logger& CreateLogger(std::string ctxId, std::string ctxDescription) {
    recordCall("CreateLogger(" + quoted(ctxId) + ", " + quoted(ctxDescription) + ")");
    const std::lock_guard lock(recording().mutex);
    auto& state = recording().loggers[ctxId];
    if (state == nullptr) {
        state = std::make_unique<Logger::State>(ctxId);
    }
    return state->logger;
}

Logger& CreateLogger(std::string ctxId, std::string ctxDescription, LogLevel) {
    return CreateLogger(std::move(ctxId), std::move(ctxDescription));
}

bool IsLogEnabled(LogLevel level) noexcept {
    recordCall("IsLogEnabled(" + number(level) + ")");
    const std::lock_guard lock(recording().mutex);
    return level != LogLevel::kOff && level <= recording().enabledUpTo;
}

bool Logger::IsEnabled(LogLevel level) const noexcept {
    return IsLogEnabled(level);
}

LogStream::LogStream(LogLevel level, const Logger& logger) noexcept
    : logger_(logger), level_(level), enabled_(true) {
    recordCall("LogStream(" + number(level) + ", " + quoted(logger.state_.name) + ")");
}

LogStream& LogStream::operator<<(const char* text) noexcept {
    recordCall("<< " + quoted(text));
    text_ += text;
    return *this;
}

LogStream::~LogStream() {
    recordCall("~LogStream()");
    const std::lock_guard lock(recording().mutex);
    recording().records.push_back({level_, logger_.state_.name, text_});
}

}  // namespace ara::log
