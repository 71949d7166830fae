#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>

/// Prints one line per event and flushes it: as text for people, or as a JSON object
/// `{"ts":...,"event":...,"value":...}`, in which an unknown state has a "reason" in place of the value. Any
/// thread may call it.
class EventPrinter {
 public:
    enum class Format { Text, ColouredText, Json };
    using Time = std::chrono::system_clock::time_point;

    /// `stream` must outlive the printer. `clock` returns the present time. `outputLost` is called once, when
    /// a write to the stream fails, on the thread that printed the event.
    EventPrinter(std::ostream& stream, Format format, std::function<Time()> clock,
                 std::function<void()> outputLost);

    void connection(bool connected);
    void subscribed(const std::string& uuid);
    void notification();
    void clamp15(bool switchedOn);
    void unknown(const std::string& reason);
    void stopped();

 private:
    void print(const std::string& event, const std::string& jsonMember, const std::string& text,
               const char* colour);

    std::mutex mutex_;
    std::ostream& stream_;
    const Format format_;
    const std::function<Time()> clock_;
    std::function<void()> outputLost_;
};
