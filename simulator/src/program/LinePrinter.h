#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace zebbussim {

/// Prints lines to standard output on a thread of its own, so that nobody waits for a reader that does not
/// read. Lines for which there is no room are left out, and their number is printed. On a terminal, a status
/// may stand below the lines.
///
/// Thread safety: any thread.
class LinePrinter {
 public:
    /// @param failed called once, on the thread of this object, if the output cannot be written for another
    /// reason than that its reader has gone
    explicit LinePrinter(std::function<void()> failed);
    /// Prints what standard output takes without delay.
    ~LinePrinter();
    LinePrinter(const LinePrinter&) = delete;
    LinePrinter& operator=(const LinePrinter&) = delete;

    /// A line that is not left out.
    void print(const std::string& text);
    /// A line that may be left out.
    void printIfThereIsRoom(const std::string& text);
    /// What is under way. Replaces the status before; does nothing if the output is no terminal.
    void showStatus(const std::string& text);

 private:
    void add(std::string line);
    void run();
    bool write(const std::string& line);

    const std::function<void()> failed_;
    const bool isTerminal_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> lines_;
    std::string status_;
    bool hasNewStatus_ = false;
    std::size_t leftOut_ = 0;
    bool isEnding_ = false;
    std::thread thread_;
};

}  // namespace zebbussim
