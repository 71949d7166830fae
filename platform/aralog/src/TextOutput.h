#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

namespace ara::log {

/// Says something about the logging itself on standard error, for want of a better place.
void complain(std::string_view what) noexcept;

/// Lines of text into a file descriptor: a log file or standard error.
///
/// Every line is a single write, so that lines of several threads and processes do not mix. A line that
/// cannot be written is dropped; the first one of a row is said on standard error.
///
/// Thread safety: `write` may be called from any thread; it keeps nothing locked.
class TextOutput {
 public:
    /// Writes to a descriptor that stays open for ever. `name` is for complaints.
    TextOutput(int descriptor, std::string name) noexcept;
    TextOutput(const TextOutput&) = delete;
    TextOutput& operator=(const TextOutput&) = delete;

    /// Appends to the file, which is made if need be. Null where that fails, which is said on standard error.
    static std::unique_ptr<TextOutput> openFile(const std::string& path);

    void write(std::string_view line) noexcept;

 private:
    const int descriptor_;
    const std::string name_;
    std::atomic<bool> failing_ = false;
};

}  // namespace ara::log
