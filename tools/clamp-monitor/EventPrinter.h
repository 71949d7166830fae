#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>

/// Writes one line per event, flushed at once: for people, or as JSON objects
/// `{"ts":...,"event":...,"value":...}`. Any thread may call it.
class EventPrinter {
 public:
    enum class Format { Text, ColouredText, Json };
    using Time = std::chrono::system_clock::time_point;

    /// `stream` has to live as long as the printer. `clock` says what time it is. `outputLost` is called
    /// once, when the stream cannot be written any more, on the thread that has found out.
    EventPrinter(std::ostream& stream, Format format, std::function<Time()> clock,
                 std::function<void()> outputLost);

    void connection(bool connected);
    void subscribed(const std::string& uuid);
    void notification();
    void clamp15(bool switchedOn);
    void stopped();

 private:
    void print(const std::string& event, const std::string& jsonValue, const std::string& text,
               const char* colour);

    std::mutex mutex_;
    std::ostream& stream_;
    const Format format_;
    const std::function<Time()> clock_;
    std::function<void()> outputLost_;
};
