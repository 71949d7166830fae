#include "TextOutput.h"

#include <fcntl.h>
#include <internal/SafeWrite.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace ara::log {

namespace {

std::string errorText(int error) {
    return std::system_category().message(error);
}

/// Returns the error number, 0 for success. Goes on writing after a short write.
int writeAll(int descriptor, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t written = internal::writeWithoutSignal(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

void complain(std::string_view what) noexcept {
    try {
        writeAll(STDERR_FILENO, std::string("ara::log: ").append(what).append(1, '\n'));
    } catch (...) {
        // Without memory for a single line nothing can be reported.
    }
}

TextOutput::TextOutput(int descriptor, std::string name) noexcept
    : descriptor_(descriptor), name_(std::move(name)) {}

std::unique_ptr<TextOutput> TextOutput::openFile(const std::string& path) {
    // O_NONBLOCK: a named pipe without a reader must not block the application.
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0644);
    if (descriptor < 0) {
        complain("the log file \"" + path + "\" cannot be opened (" + errorText(errno) +
                 "); records will not be written to a file");
        return nullptr;
    }
    return std::make_unique<TextOutput>(descriptor, path);
}

void TextOutput::write(std::string_view line) noexcept {
    const int error = writeAll(descriptor_, line);
    if (error == 0) {
        failing_.store(false, std::memory_order_relaxed);
        return;
    }
    if (failing_.exchange(true, std::memory_order_relaxed)) {
        return;
    }
    try {
        complain("writing to \"" + name_ + "\" failed (" + errorText(error) +
                 "); records are lost until it works again");
    } catch (...) {
        complain("writing failed, and there is no memory to report the cause");
    }
}

}  // namespace ara::log
