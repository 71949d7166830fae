#include "RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace zebutil {

namespace {

[[noreturn]] void throwSystemError(int error) {
    throw std::system_error(error, std::generic_category());
}

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

    int get() const { return number_; }

 private:
    const int number_;
};

}  // namespace

FileIdentity identityOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        throwSystemError(errno);
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
}

std::string readRegularFile(const std::string& path, std::size_t limit) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (file.get() < 0) {
        throwSystemError(errno);
    }
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        throwSystemError(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error("it is not a regular file");
    }
    if (static_cast<std::size_t>(status.st_size) > limit) {
        throw std::runtime_error("it is larger than " + std::to_string(limit) + " bytes");
    }
    // One byte more than expected shows whether the file has grown.
    std::string content(static_cast<std::size_t>(status.st_size) + 1, '\0');
    std::size_t size = 0;
    for (;;) {
        const ssize_t count = ::read(file.get(), &content[size], content.size() - size);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throwSystemError(errno);
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

}  // namespace zebutil
