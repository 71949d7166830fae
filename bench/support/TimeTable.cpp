#include "TimeTable.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace bench {

TimeTable::TimeTable(const std::string& path) {
    if (path.empty()) {
        return;
    }
    const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    struct stat status {};
    ::fstat(file, &status);
    size_ = static_cast<std::size_t>(status.st_size);
    // Populated: no page fault may happen during the measurement.
    mapping_ = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file, 0);
    ::close(file);
    if (mapping_ == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    auto* const header = static_cast<std::int64_t*>(mapping_);
    constexpr std::size_t kHeader = 3;
    if (size_ < kHeader * sizeof *header || header[0] != kVersion) {
        throw std::runtime_error(path + " is no time table");
    }
    rows_ = static_cast<std::size_t>(header[1]);
    columns_ = static_cast<std::size_t>(header[2]);
    if (size_ < (kHeader + rows_ * columns_) * sizeof *header) {
        throw std::runtime_error(path + " is too short");
    }
    times_ = header + kHeader;
}

TimeTable::~TimeTable() {
    if (mapping_ != nullptr) {
        ::munmap(mapping_, size_);
    }
}

}  // namespace bench
