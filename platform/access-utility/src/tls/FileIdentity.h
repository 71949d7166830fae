#pragma once

#include <sys/types.h>

#include <ctime>
#include <string>

namespace zebutil {

/// What tells one state of a file from another without reading it.
struct FileIdentity {
    dev_t device = 0;
    ino_t number = 0;
    off_t size = 0;
    timespec modified{};
    timespec changed{};

    bool operator==(const FileIdentity& other) const {
        return device == other.device && number == other.number && size == other.size &&
               modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec &&
               changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
    }
    bool operator!=(const FileIdentity& other) const { return !(*this == other); }
};

/// Needs no descriptor.
/// @throws std::system_error if there is no such file or directory, or it cannot be reached
FileIdentity identityOf(const std::string& path);

}  // namespace zebutil
