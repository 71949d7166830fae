#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <system_error>

namespace internal {

class Descriptor {
 public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) {
            ::close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }

 private:
    const int number_;
};

[[noreturn]] inline void throwSystemError() {
    throw std::system_error(errno, std::generic_category());
}

inline void requireRegular(const struct stat& status) {
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error("it is not a regular file");
    }
}

/// Returns the content of a regular file. Anything else is not opened: a pipe might never answer, and opening
/// a device may do something already.
/// @throws std::system_error if the file cannot be opened or read
/// @throws std::runtime_error if it is not a regular file, is larger than `limit`, or grows while it is read
inline std::string readRegularFile(const std::string& path, std::size_t limit) {
    // The system would read the file whose path ends before a NUL character.
    if (path.find('\0') != std::string::npos) {
        errno = ENOENT;
        throwSystemError();
    }
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        throwSystemError();
    }
    requireRegular(status);
    // Another file may have taken the path since.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (file.number() < 0 || ::fstat(file.number(), &status) != 0) {
        throwSystemError();
    }
    requireRegular(status);
    if (static_cast<std::size_t>(status.st_size) > limit) {
        throw std::runtime_error("it is larger than " + std::to_string(limit) + " bytes");
    }
    // One byte more than expected shows whether the file has grown.
    std::string content(static_cast<std::size_t>(status.st_size) + 1, '\0');
    std::size_t size = 0;
    for (;;) {
        const ssize_t count = ::read(file.number(), &content[size], content.size() - size);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throwSystemError();
        }
        size += static_cast<std::size_t>(count);
        if (size == content.size()) {
            throw std::runtime_error("it grows while it is read");
        }
        if (count == 0) {
            content.resize(size);
            return content;
        }
    }
}

}  // namespace internal
