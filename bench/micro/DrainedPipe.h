#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace micro {

/// A named pipe and a thread that discards everything written to it: a receiver that keeps up. The thread
/// polls once per millisecond. If every write woke it, the cost of a write would be that of waking a thread.
class DrainedPipe {
 public:
    explicit DrainedPipe(const std::string& path) {
        if (::mkfifo(path.c_str(), 0600) != 0 ||
            (descriptor_ = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) < 0) {
            throw std::system_error(errno, std::system_category(), path);
        }
        // The most that an unprivileged process may have: several times the data of one millisecond.
        ::fcntl(descriptor_, F_SETPIPE_SZ, 1 << 20);
        thread_ = std::thread([this] { drain(); });
    }
    DrainedPipe(const DrainedPipe&) = delete;
    DrainedPipe& operator=(const DrainedPipe&) = delete;
    ~DrainedPipe() {
        ending_ = true;
        thread_.join();
        ::close(descriptor_);
    }

    std::size_t bytesSeen() const { return bytesSeen_; }

 private:
    void drain() {
        std::vector<char> buffer(1 << 18);
        while (!ending_) {
            for (;;) {
                const ssize_t count = ::read(descriptor_, buffer.data(), buffer.size());
                if (count <= 0) {
                    break;
                }
                bytesSeen_ += static_cast<std::size_t>(count);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    int descriptor_ = -1;
    std::atomic<bool> ending_ = false;
    std::atomic<std::size_t> bytesSeen_ = 0;
    std::thread thread_;
};

}  // namespace micro
