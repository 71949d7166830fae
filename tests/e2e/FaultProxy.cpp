#include "FaultProxy.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <utility>

namespace e2e {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kPerByte{10};
// The proxy buffers no more than this. Beyond it, TCP slows the sender.
constexpr std::size_t kMaximumWaiting = std::size_t{256} * 1024;

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string("fault proxy: ") + what + ": " + std::strerror(errno));
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

int boundSocket(std::uint16_t port) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int on = 1;
    const sockaddr_in address = loopback(port);
    if (descriptor < 0 || ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
        fail("socket");
    }
    // A listener that was just closed keeps the port until poll() has released it.
    const auto end = Clock::now() + std::chrono::seconds(5);
    while (::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        if (errno != EADDRINUSE || Clock::now() > end) {
            fail("bind");
        }
        std::this_thread::yield();
    }
    return descriptor;
}

void sendAtOnce(int descriptor) {
    const int on = 1;
    static_cast<void>(::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on));
}

void closeSocket(int& descriptor, bool isReset) {
    if (descriptor < 0) {
        return;
    }
    if (isReset) {
        const linger atOnce{1, 0};
        static_cast<void>(::setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce));
    }
    ::close(descriptor);
    descriptor = -1;
}

// Appends what can be read. Returns false at the end of the connection.
bool readSome(int descriptor, std::string& to) {
    std::array<char, 65536> chunk{};
    const ssize_t count = ::recv(descriptor, chunk.data(), chunk.size(), 0);
    if (count > 0) {
        to.append(chunk.data(), static_cast<std::size_t>(count));
        return true;
    }
    return count < 0 && (errno == EAGAIN || errno == EINTR);
}

bool writeSome(int descriptor, std::string& from, std::size_t atMost) {
    const ssize_t count = ::send(descriptor, from.data(), std::min(from.size(), atMost), MSG_NOSIGNAL);
    if (count > 0) {
        from.erase(0, static_cast<std::size_t>(count));
        return true;
    }
    return count < 0 && (errno == EAGAIN || errno == EINTR);
}

// The size of the header and of the payload of the frame at the beginning of `text`.
struct FrameSize {
    std::size_t head;
    std::size_t payload;
};

std::optional<FrameSize> frameSize(const std::string& text) {
    if (text.size() < 2) {
        return std::nullopt;
    }
    std::size_t head = 2;
    std::size_t payload = static_cast<unsigned char>(text[1]) & 0x7fU;
    if (payload >= 126) {
        const std::size_t digits = payload == 126 ? 2 : 8;
        if (text.size() < head + digits) {
            return std::nullopt;
        }
        payload = 0;
        for (std::size_t digit = 0; digit < digits; ++digit) {
            payload = payload << 8U | static_cast<unsigned char>(text[head + digit]);
        }
        head += digits;
    }
    return FrameSize{head, payload};
}

}  // namespace

struct FaultProxy::Connection {
    int client = -1;
    int server = -1;
    std::string fromServer;  ///< an incomplete frame, not passed on yet
    std::string toClient;
    std::string toServer;
    bool isUndecided = true;  ///< the answer's head has not been seen yet
    bool isWebSocket = false;
    bool isAbandoned = false;
    bool serverHasEnded = false;
    bool resetsWhenSent = false;
    Clock::time_point nextByte;

    bool isOpen() const { return client >= 0; }
};

FaultProxy::FaultProxy(std::uint16_t serverPort) : serverPort_(serverPort) {
    reservation_ = boundSocket(0);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(reservation_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) != 0) {
        fail("pipe");
    }
    wakeReader_ = ends[0];
    wakeWriter_ = ends[1];
    listenNow();
    thread_ = std::thread([this] { run(); });
}

FaultProxy::~FaultProxy() {
    {
        const Lock lock(mutex_);
        isEnding_ = true;
    }
    wake();
    thread_.join();
    for (const auto& connection : connections_) {
        closeBoth(*connection, true);
    }
    for (int* descriptor : {&listener_, &reservation_, &wakeReader_, &wakeWriter_}) {
        closeSocket(*descriptor, false);
    }
}

void FaultProxy::listenNow() {
    if (listener_ < 0) {
        listener_ = boundSocket(port_);
        if (::listen(listener_, 64) != 0) {
            fail("listen");
        }
    }
}

void FaultProxy::wake() const {
    static_cast<void>(::write(wakeWriter_, "", 1) + 1);
}

// ------------------------------------------------------------------------------------------------ faults

void FaultProxy::refuse() {
    {
        const Lock lock(mutex_);
        closeSocket(listener_, false);
    }
    reset();
}

void FaultProxy::hold() {
    const Lock lock(mutex_);
    isHolding_ = true;
    wake();
}

void FaultProxy::release() {
    const Lock lock(mutex_);
    isHolding_ = false;
    wake();
}

void FaultProxy::stall() {
    const Lock lock(mutex_);
    isStalling_ = true;
    wake();
}

void FaultProxy::abandon() {
    const Lock lock(mutex_);
    isAbandoning_ = true;
    for (const auto& connection : connections_) {
        connection->isAbandoned = true;
    }
    wake();
}

void FaultProxy::slowDown() {
    const Lock lock(mutex_);
    isSlow_ = true;
    isHolding_ = false;
    wake();
}

void FaultProxy::rewrite(Rewrite function) {
    const Lock lock(mutex_);
    rewrite_ = std::move(function);
}

void FaultProxy::reset() {
    const Lock lock(mutex_);
    for (const auto& connection : connections_) {
        closeBoth(*connection, true);
    }
    wake();
}

void FaultProxy::resetWithinNextFrame() {
    const Lock lock(mutex_);
    cutsNextFrame_ = true;
}

void FaultProxy::end() {
    const Lock lock(mutex_);
    for (const auto& connection : connections_) {
        closeBoth(*connection, false);
    }
    wake();
}

void FaultProxy::inject(const std::string& bytes) {
    const Lock lock(mutex_);
    for (const auto& connection : connections_) {
        if (connection->isWebSocket) {
            connection->toClient += bytes;
        }
    }
    wake();
}

void FaultProxy::clear() {
    const Lock lock(mutex_);
    isHolding_ = isStalling_ = isAbandoning_ = isSlow_ = cutsNextFrame_ = false;
    rewrite_ = nullptr;
    listenNow();
    wake();
}

bool FaultProxy::waitForHeldBytes(std::chrono::milliseconds limit) {
    Lock lock(mutex_);
    return changed_.wait_for(lock, limit, [this] {
        return std::any_of(connections_.begin(), connections_.end(),
                           [](const auto& connection) { return !connection->toServer.empty(); });
    });
}

// ------------------------------------------------------------------------------------------------ forwarding

void FaultProxy::run() {
    Lock lock(mutex_);
    while (!isEnding_) {
        connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                          [](const auto& connection) { return !connection->isOpen(); }),
                           connections_.end());
        const auto now = Clock::now();
        auto wakeAt = now + std::chrono::hours(1);
        std::vector<pollfd> watched{{wakeReader_, POLLIN, 0}, {listener_, POLLIN, 0}};
        const auto present = connections_;
        for (const auto& connection : present) {
            short clientEvents = 0;
            short serverEvents = 0;
            const bool isStill = isStalling_ || connection->isAbandoned;
            if (!isStill) {
                if (connection->toServer.size() < kMaximumWaiting) {
                    clientEvents |= POLLIN;
                }
                if (!isHolding_ && !connection->toClient.empty()) {
                    if (!isSlow_ || connection->nextByte <= now) {
                        clientEvents |= POLLOUT;
                    } else {
                        wakeAt = std::min(wakeAt, connection->nextByte);
                    }
                }
                if (!isHolding_ && !connection->serverHasEnded &&
                    connection->toClient.size() < kMaximumWaiting) {
                    serverEvents |= POLLIN;
                }
                if (!isHolding_ && !connection->toServer.empty()) {
                    serverEvents |= POLLOUT;
                }
            }
            // A descriptor without requested events is not watched: poll() would still report that it was
            // closed.
            watched.push_back({clientEvents == 0 ? -1 : connection->client, clientEvents, 0});
            watched.push_back({serverEvents == 0 ? -1 : connection->server, serverEvents, 0});
        }
        const auto pause = std::chrono::duration_cast<std::chrono::milliseconds>(wakeAt - now) +
                           std::chrono::milliseconds(1);
        lock.unlock();
        ::poll(watched.data(), watched.size(), static_cast<int>(pause.count()));
        lock.lock();
        std::array<char, 64> ignored{};
        while (::read(wakeReader_, ignored.data(), ignored.size()) > 0) {
        }
        for (std::size_t index = 0; index < present.size(); ++index) {
            if (present[index]->isOpen()) {
                serve(*present[index], watched[2 + 2 * index].revents, watched[3 + 2 * index].revents);
            }
        }
        if (watched[1].revents != 0) {
            acceptOne();
        }
        changed_.notify_all();
    }
}

void FaultProxy::acceptOne() {
    const int client =
        listener_ < 0 ? -1 : ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (client < 0) {
        return;
    }
    auto connection = std::make_shared<Connection>();
    connection->client = client;
    connection->isAbandoned = isAbandoning_;
    connection->server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(serverPort_);
    if (::connect(connection->server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        closeBoth(*connection, true);
        return;
    }
    ::fcntl(connection->server, F_SETFL, O_NONBLOCK);
    sendAtOnce(connection->client);
    sendAtOnce(connection->server);
    connections_.push_back(std::move(connection));
}

void FaultProxy::serve(Connection& connection, short clientEvents, short serverEvents) {
    // The requested fault may have changed in between.
    if (isStalling_ || connection.isAbandoned) {
        return;
    }
    bool isAlive = true;
    if ((clientEvents & (POLLIN | POLLHUP | POLLERR)) != 0) {
        isAlive = readSome(connection.client, connection.toServer);
    }
    if (isHolding_) {
        if (!isAlive) {
            closeBoth(connection, true);
        }
        return;
    }
    if (isAlive && (serverEvents & (POLLIN | POLLHUP | POLLERR)) != 0) {
        connection.serverHasEnded = !readSome(connection.server, connection.fromServer);
        takeFromServer(connection);
    }
    if (isAlive && (serverEvents & POLLOUT) != 0) {
        isAlive = writeSome(connection.server, connection.toServer, kMaximumWaiting);
    }
    if (isAlive && (clientEvents & POLLOUT) != 0) {
        sendToClient(connection);
    }
    if (!connection.isOpen()) {
        return;
    }
    if (!isAlive || (connection.serverHasEnded && connection.toClient.empty())) {
        closeBoth(connection, false);
    }
}

void FaultProxy::takeFromServer(Connection& connection) {
    if (connection.isUndecided) {
        const std::size_t end = connection.fromServer.find("\r\n\r\n");
        if (end == std::string::npos && !connection.serverHasEnded) {
            return;
        }
        connection.isUndecided = false;
        connection.isWebSocket = connection.fromServer.rfind("HTTP/1.1 101", 0) == 0;
        if (connection.isWebSocket) {
            connection.toClient += connection.fromServer.substr(0, end + 4);
            connection.fromServer.erase(0, end + 4);
        }
    }
    if (!connection.isWebSocket) {
        connection.toClient += std::exchange(connection.fromServer, {});
        return;
    }
    for (auto size = frameSize(connection.fromServer);
         size && connection.fromServer.size() >= size->head + size->payload;
         size = frameSize(connection.fromServer)) {
        const std::string frame = connection.fromServer.substr(0, size->head + size->payload);
        connection.fromServer.erase(0, frame.size());
        pass(connection, frame);
    }
}

void FaultProxy::pass(Connection& connection, const std::string& frame) {
    if (connection.resetsWhenSent) {
        return;
    }
    const bool isText = (static_cast<unsigned char>(frame[0]) & 0x0fU) == 1;
    if (isText && std::exchange(cutsNextFrame_, false)) {
        connection.toClient += frame.substr(0, frame.size() / 2);
        connection.resetsWhenSent = true;
    } else if (isText && rewrite_) {
        for (const std::string& instead : rewrite_(frame)) {
            connection.toClient += instead;
        }
    } else {
        connection.toClient += frame;
    }
}

void FaultProxy::sendToClient(Connection& connection) {
    const bool isAlive = writeSome(connection.client, connection.toClient, isSlow_ ? 1 : kMaximumWaiting);
    connection.nextByte = Clock::now() + kPerByte;
    if (!isAlive || (connection.resetsWhenSent && connection.toClient.empty())) {
        closeBoth(connection, true);
    }
}

void FaultProxy::closeBoth(Connection& connection, bool isReset) {
    closeSocket(connection.client, isReset);
    closeSocket(connection.server, isReset);
}

// ------------------------------------------------------------------------------------------------ frames

std::string webSocketFrame(std::string_view payload, unsigned opcode, bool isFinal) {
    std::string frame(1, static_cast<char>((isFinal ? 0x80U : 0U) | opcode));
    std::size_t digits = 0;
    if (payload.size() < 126) {
        frame.push_back(static_cast<char>(payload.size()));
    } else {
        digits = payload.size() < 65536 ? 2 : 8;
        frame.push_back(static_cast<char>(digits == 2 ? 126 : 127));
    }
    for (; digits > 0; --digits) {
        frame.push_back(static_cast<char>(payload.size() >> (8 * (digits - 1)) & 0xffU));
    }
    return frame.append(payload);
}

std::string payloadOf(const std::string& frame) {
    const auto size = frameSize(frame);
    return size ? frame.substr(size->head) : std::string();
}

}  // namespace e2e
