#include "TimedSocket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <system_error>
#include <utility>

namespace zebutil {

namespace {

using Kind = TransportError::Kind;

bool mustWait(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

[[noreturn]] void throwError(int error) {
    if (error == ECANCELED) {
        throw TransportError(Kind::Cancelled, "cancelled: the service is disconnected or the client stops");
    }
    const bool isBroken = error == ECONNRESET || error == EPIPE;
    throw TransportError(isBroken ? Kind::Reset : Kind::Other, std::generic_category().message(error));
}

using Address = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

// Does not look up anything.
Address parse(const std::string& text, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* result = nullptr;
    if (::getaddrinfo(text.c_str(), std::to_string(port).c_str(), &hints, &result) != 0) {
        throw TransportError(Kind::Other, "\"" + text + "\" is not an IP address");
    }
    return {result, ::freeaddrinfo};
}

}  // namespace

void TimedSocket::connect(const std::string& address, std::uint16_t port, Deadline deadline) {
    close();
    const Address peer = parse(address, port);
    {
        // Under the mutex, so that a cancel() finds either no socket or one that is connecting.
        const std::lock_guard lock(mutex_);
        if (isCancelled_) {
            throwError(ECANCELED);
        }
        open(peer->ai_family);
        if (::connect(descriptor_, peer->ai_addr, peer->ai_addrlen) == 0) {
            return;
        }
        if (errno != EINPROGRESS && errno != EINTR) {
            throwError(errno);
        }
    }
    waitToSend(deadline);
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0 || isCancelled()) {
        fail(error);
    }
}

// Under the mutex.
void TimedSocket::open(int family) {
    descriptor_ = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP);
    if (descriptor_ < 0) {
        throwError(errno);
    }
    const int isOn = 1;
    static_cast<void>(::setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &isOn, sizeof isOn));
}

void TimedSocket::close() {
    const std::lock_guard lock(mutex_);
    if (descriptor_ >= 0) {
        ::close(std::exchange(descriptor_, -1));
    }
}

void TimedSocket::cancel() {
    const std::lock_guard lock(mutex_);
    isCancelled_ = true;
    if (descriptor_ >= 0) {
        ::shutdown(descriptor_, SHUT_RDWR);
    }
}

int TimedSocket::tryReceive(char* data, std::size_t size) {
    const ssize_t count = ::recv(descriptor_, data, std::min<std::size_t>(size, INT_MAX), 0);
    if (count < 0 && !mustWait(errno) && errno != EINTR) {
        fail(errno);
    }
    if (count == 0 && isCancelled()) {
        fail(ECANCELED);
    }
    return static_cast<int>(count);
}

int TimedSocket::trySend(const char* data, std::size_t size) {
    const ssize_t count = ::send(descriptor_, data, std::min<std::size_t>(size, INT_MAX), MSG_NOSIGNAL);
    if (count < 0 && !mustWait(errno) && errno != EINTR) {
        fail(errno);
    }
    return static_cast<int>(count);
}

void TimedSocket::waitToReceive(Deadline deadline) const {
    wait(POLLIN, deadline);
}

void TimedSocket::waitToSend(Deadline deadline) const {
    wait(POLLOUT, deadline);
}

void TimedSocket::wait(short events, Deadline deadline) const {
    pollfd waiting{descriptor_, events, 0};
    int ready = 0;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Deadline::clock::now());
        if (left.count() <= 0) {
            throw TransportError(Kind::Late, "the time limit is over");
        }
        ready = ::poll(&waiting, 1, static_cast<int>(std::min<std::int64_t>(left.count(), INT_MAX)));
        if (ready < 0 && errno != EINTR) {
            fail(errno);
        }
    } while (ready <= 0);
    if (isCancelled()) {
        fail(ECANCELED);
    }
}

void TimedSocket::fail(int error) const {
    throwError(isCancelled() ? ECANCELED : error);
}

bool TimedSocket::isCancelled() const {
    const std::lock_guard lock(mutex_);
    return isCancelled_;
}

}  // namespace zebutil
