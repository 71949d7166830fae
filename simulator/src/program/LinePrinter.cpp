#include "LinePrinter.h"

#include <internal/BlockedSignals.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

namespace zebbussim {

namespace {

constexpr std::size_t kMostLines = 10'000;
/// Goes to the begin of the line and clears it.
constexpr const char* kBeginOfLine = "\r\x1b[K";
constexpr int kLastWaitMs = 200;
/// A pipe that can be written takes so many bytes at least.
constexpr std::size_t kPieceSize = 4096;

}  // namespace

LinePrinter::LinePrinter(std::function<void()> failed)
    : failed_(std::move(failed)), isTerminal_(::isatty(STDOUT_FILENO) == 1) {
    const internal::BlockedSignals blocked;
    thread_ = std::thread([this] { run(); });
}

LinePrinter::~LinePrinter() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void LinePrinter::print(const std::string& text) {
    const std::lock_guard lock(mutex_);
    add("zeb-bus-sim: " + text + "\n");
}

void LinePrinter::printIfThereIsRoom(const std::string& text) {
    const std::lock_guard lock(mutex_);
    if (lines_.size() >= kMostLines) {
        ++leftOut_;
    } else {
        if (leftOut_ > 0) {
            add("zeb-bus-sim: " + std::to_string(std::exchange(leftOut_, 0)) + " lines are left out here\n");
        }
        add("zeb-bus-sim: " + text + "\n");
    }
}

void LinePrinter::showStatus(const std::string& text) {
    const std::lock_guard lock(mutex_);
    if (isTerminal_ && text != status_) {
        status_ = text;
        hasNewStatus_ = true;
        changed_.notify_one();
    }
}

// With the mutex.
void LinePrinter::add(std::string line) {
    lines_.push_back(std::move(line));
    changed_.notify_one();
}

void LinePrinter::run() {
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return isEnding_ || hasNewStatus_ || !lines_.empty(); });
        if (lines_.empty() && !hasNewStatus_) {
            return;
        }
        std::string line = isTerminal_ ? kBeginOfLine : "";
        if (!lines_.empty()) {
            line += lines_.front();
            lines_.pop_front();
        }
        // The status follows the last line that is there.
        hasNewStatus_ = isTerminal_ && !lines_.empty();
        if (!hasNewStatus_) {
            line += status_;
        }
        lock.unlock();
        const bool isWritten = write(line);
        lock.lock();
        if (!isWritten) {
            return;
        }
    }
}

// Returns false if nobody reads: at the end, or because the reader has gone.
bool LinePrinter::write(const std::string& line) {
    constexpr int kPollMs = 100;
    std::string_view rest = line;
    int waited = 0;
    while (!rest.empty()) {
        pollfd output{STDOUT_FILENO, POLLOUT, 0};
        const int isReady = ::poll(&output, 1, kPollMs);
        if (isReady == 0) {
            const std::lock_guard lock(mutex_);
            waited += isEnding_ ? kPollMs : 0;
            if (waited >= kLastWaitMs) {
                return false;
            }
            continue;
        }
        const ssize_t written = ::write(STDOUT_FILENO, rest.data(), std::min(rest.size(), kPieceSize));
        if (written < 0 && errno != EINTR && errno != EAGAIN) {
            if (errno != EPIPE) {
                failed_();
            }
            return false;
        }
        rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

}  // namespace zebbussim
