#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

namespace ara::log {

/// Reports a problem of the logging itself on standard error, because it cannot be logged.
void complain(std::string_view what) noexcept;

/// Writes lines of text to a file descriptor: a log file or standard error.
///
/// Every line is a single write, so that lines of several threads and processes do not mix. A line that
/// cannot be written is dropped; the first of several such failures in a row is reported on standard error.
///
/// Thread safety: `write` may be called from any thread; it holds no lock.
class TextOutput {
 public:
    /// Writes to a descriptor that is never closed. `name` appears in error reports.
    TextOutput(int descriptor, std::string name) noexcept;
    TextOutput(const TextOutput&) = delete;
    TextOutput& operator=(const TextOutput&) = delete;

    /// Appends to the file, which is created if necessary. Returns null if that fails, and reports it on
    /// standard error.
    static std::unique_ptr<TextOutput> openFile(const std::string& path);

    void write(std::string_view line) noexcept;

 private:
    const int descriptor_;
    const std::string name_;
    std::atomic<bool> failing_ = false;
};

}  // namespace ara::log
