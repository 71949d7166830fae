#pragma once

#include <sys/socket.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <string>

namespace zebutil {

/// A failure of the transport.
class TransportError : public std::runtime_error {
 public:
    enum class Kind {
        Ended,      ///< the peer has closed the connection
        Reset,      ///< the peer or the system has broken it off
        Late,       ///< the time limit was over
        Cancelled,  ///< cancel() was called
        Other
    };

    TransportError(Kind kind, const std::string& text) : runtime_error(text), kind_(kind) {}

    Kind kind() const { return kind_; }

 private:
    const Kind kind_;
};

/// A TCP socket whose every wait ends at a deadline, or when it is cancelled. Never raises SIGPIPE.
///
/// Thread safety: used by one thread; any thread may call cancel().
class TimedSocket {
 public:
    using Deadline = std::chrono::steady_clock::time_point;

    TimedSocket() = default;
    ~TimedSocket() { close(); }
    TimedSocket(const TimedSocket&) = delete;
    TimedSocket& operator=(const TimedSocket&) = delete;

    /// Connects to an IP address. Closes an earlier connection.
    /// @throws TransportError
    void connect(const std::string& address, std::uint16_t port, Deadline deadline);

    bool isOpen() const { return descriptor_ >= 0; }
    void close();

    /// Ends the wait under way, and makes every later one and every connect() fail.
    void cancel();

    /// Returns how many bytes have arrived, 0 at the end of the connection, or -1 if there are none yet.
    /// @throws TransportError
    int tryReceive(char* data, std::size_t size);

    /// Returns how many bytes were taken, or -1 if none can be taken at present.
    /// @throws TransportError
    int trySend(const char* data, std::size_t size);

    /// Waits until tryReceive() or trySend() can do something.
    /// @throws TransportError
    void waitToReceive(Deadline deadline) const;
    void waitToSend(Deadline deadline) const;

 private:
    void open(int family);
    void wait(short events, Deadline deadline) const;
    // Throws, with the cancellation as the reason if there is one.
    [[noreturn]] void fail(int error) const;
    bool isCancelled() const;

    mutable std::mutex mutex_;  ///< between cancel() and the life of the descriptor
    int descriptor_ = -1;
    bool isCancelled_ = false;
};

}  // namespace zebutil
