#pragma once

#include <ara/log/logging.h>

#include <string>
#include <vector>

namespace test_support {

/// Access to the `ara::log` that replaces the real one: it writes nothing and records every call, in order.
///
/// Thread safety: every function may be called from any thread.
class RecordingAraLog {
 public:
    /// One log record.
    struct Record {
        ara::log::LogLevel level;
        std::string context;
        std::string text;

        bool operator==(const Record& other) const {
            return level == other.level && context == other.context && text == other.text;
        }
    };

    RecordingAraLog() = delete;

    /// Forgets all calls and enables every level. The loggers stay.
    static void reset();

    /// The highest level for which `IsLogEnabled` returns true from now on.
    static void enableUpTo(ara::log::LogLevel level);

    /// Makes the next InitLogging throw std::runtime_error.
    static void failNextInitLogging();

    /// Every call as a text: `InitLogging("CSC", "Core Service Component", 5, 1, "")`, `CreateLogger("A",
    /// "B")`, `IsLogEnabled(4)`, `LogStream(4, "A")`, `<< "text"`, `~LogStream()`.
    static std::vector<std::string> calls();

    static std::vector<Record> records();
};

/// For messages of failed expectations.
void PrintTo(const RecordingAraLog::Record& record, std::ostream* stream);

}  // namespace test_support
