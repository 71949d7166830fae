#include "FileIdentity.h"

#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace zebutil {

FileIdentity identityOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
}

}  // namespace zebutil
