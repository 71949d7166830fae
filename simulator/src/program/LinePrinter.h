#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace zebbussim {

/// Prints lines to standard output on a thread of its own, so that nobody waits for a reader that does not
/// read. Lines for which there is no room are left out, and their number is printed.
///
/// Thread safety: any thread.
class LinePrinter {
 public:
    LinePrinter();
    /// Prints what standard output takes without delay.
    ~LinePrinter();
    LinePrinter(const LinePrinter&) = delete;
    LinePrinter& operator=(const LinePrinter&) = delete;

    /// A line that is not left out.
    void print(const std::string& text);
    /// A line that may be left out.
    void printIfThereIsRoom(const std::string& text);

 private:
    void add(std::string line);
    void run();
    bool write(const std::string& line);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> lines_;
    std::size_t leftOut_ = 0;
    bool isEnding_ = false;
    std::thread thread_;
};

}  // namespace zebbussim
