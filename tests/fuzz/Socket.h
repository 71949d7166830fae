#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "Require.h"

namespace fuzz {

/// Calls a function of the system again when a signal has interrupted it: libFuzzer has an alarm clock.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// A TCP socket on loopback. Whatever takes more than ten seconds is a finding.
class Socket {
 public:
    explicit Socket(int descriptor) : descriptor_(descriptor) {
        require(descriptor_ >= 0, "there are sockets");
        const timeval limit{10, 0};
        ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~Socket() { ::close(descriptor_); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    static int create() { return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0); }

    static sockaddr_in loopback(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        return address;
    }

    int descriptor() const { return descriptor_; }

    /// Reads until the text has arrived, or the other side has ended the connection.
    std::string readTo(std::string_view text) const {
        std::string received;
        while (received.find(text) == std::string::npos) {
            const std::string more = readSome();
            if (more.empty()) {
                break;
            }
            received += more;
        }
        return received;
    }

    /// Waits for bytes. Empty when the other side has ended the connection.
    std::string readSome() const {
        std::array<char, 16384> bytes;
        const ssize_t count =
            uninterrupted([&] { return ::recv(descriptor_, bytes.data(), bytes.size(), 0); });
        require(count >= 0 || errno != EAGAIN, "the other side answers or ends the connection");
        return {bytes.data(), static_cast<std::size_t>(count < 0 ? 0 : count)};
    }

    /// Sends the bytes and the end of the connection, and returns what arrives until the other side ends it.
    std::string exchange(std::string_view bytes) const {
        std::string received;
        for (bool isSent = false;;) {
            if (!isSent && bytes.empty()) {
                ::shutdown(descriptor_, SHUT_WR);
                isSent = true;
            }
            pollfd waiting{descriptor_, static_cast<short>(isSent ? POLLIN : POLLIN | POLLOUT), 0};
            require(uninterrupted([&] { return ::poll(&waiting, 1, 10000); }) == 1,
                    "the other side reads or ends the connection");
            if ((waiting.revents & POLLOUT) != 0) {
                const ssize_t count =
                    ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
                bytes.remove_prefix(count < 0 ? bytes.size() : static_cast<std::size_t>(count));
            }
            if ((waiting.revents & (POLLIN | POLLERR | POLLHUP)) != 0) {
                const std::string more = readSome();
                if (more.empty()) {
                    return received;
                }
                received += more;
            }
        }
    }

 private:
    int descriptor_;
};

}  // namespace fuzz
