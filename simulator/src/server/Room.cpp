#include "Room.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>

namespace zebbussim {

namespace {

constexpr std::size_t kMaximumConnections = 2048;
constexpr std::size_t kMaximumWebSockets = 1536;
constexpr std::size_t kMaximumWebSocketsOfAService = 1024;
/// Descriptors that are not given to connections.
constexpr std::size_t kReserve = 4;

/// The lowest free number: there are no large gaps below it.
std::size_t openDescriptors() {
    const int lowestFree = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
    if (lowestFree < 0) {
        return 0;
    }
    ::close(lowestFree);
    return static_cast<std::size_t>(lowestFree);
}

}  // namespace

Room roomForConnections(std::size_t maximumDescriptors, std::size_t openDescriptors) {
    const std::size_t used = openDescriptors + kReserve;
    const std::size_t free = maximumDescriptors > used ? maximumDescriptors - used : 1;
    return {std::min(kMaximumConnections, free), std::min(kMaximumWebSockets, free * 3 / 4),
            std::min(kMaximumWebSocketsOfAService, free / 2)};
}

Room roomForConnections() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return roomForConnections(limit.rlim_cur, openDescriptors());
}

}  // namespace zebbussim
