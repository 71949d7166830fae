#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace e2e {

/// A proxy between a client and a server on this machine, with real connections on both sides. It does to
/// them what a bad network or a bad server does, at any moment. Until then it forwards everything.
///
/// It parses the server's WebSocket frames and inserts data only between two of them.
///
/// Any thread may use it. It has one internal thread, on which it calls `Rewrite` functions.
class FaultProxy {
 public:
    /// Replaces one frame of the server by none, one or several.
    using Rewrite = std::function<std::vector<std::string>(const std::string& frame)>;

    explicit FaultProxy(std::uint16_t serverPort);
    ~FaultProxy();
    FaultProxy(const FaultProxy&) = delete;
    FaultProxy& operator=(const FaultProxy&) = delete;

    std::uint16_t port() const { return port_; }
    std::string baseUri() const { return "http://127.0.0.1:" + std::to_string(port_); }

    // --- faults that last until clear() ---

    /// The port refuses connections, and existing ones are reset.
    void refuse();
    /// Connections are accepted and the client's data is read, but nothing is forwarded until clear().
    void hold();
    /// Ends hold() only.
    void release();
    /// Nothing is read from either side, as if the cable had been cut. After clear() everything continues.
    void stall();
    /// Like stall(), but the connections of this time never continue. Later ones are forwarded after clear().
    void abandon();
    /// The client receives one byte every 10 ms.
    void slowDown();
    void rewrite(Rewrite function);

    // --- faults of a moment ---

    /// Resets all connections.
    void reset();
    /// Sends half of the server's next frame and resets that connection.
    void resetWithinNextFrame();
    /// Closes all connections to the client cleanly at TCP level, without a closing handshake of the
    /// protocol.
    void end();
    /// Inserts the bytes into every WebSocket to the client.
    void inject(const std::string& bytes);

    void clear();

    /// Waits until client data is being held. Returns false when the time is over.
    bool waitForHeldBytes(std::chrono::milliseconds limit);

 private:
    struct Connection;
    using Lock = std::unique_lock<std::mutex>;

    void listenNow();
    void run();
    void wake() const;
    void acceptOne();
    void serve(Connection& connection, short clientEvents, short serverEvents);
    void takeFromServer(Connection& connection);
    void pass(Connection& connection, const std::string& frame);
    void sendToClient(Connection& connection);
    static void closeBoth(Connection& connection, bool isReset);

    const std::uint16_t serverPort_;
    std::uint16_t port_ = 0;
    int reservation_ = -1;  ///< keeps the port while it refuses connections
    int listener_ = -1;
    int wakeReader_ = -1;
    int wakeWriter_ = -1;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::shared_ptr<Connection>> connections_;
    bool isEnding_ = false;
    bool isHolding_ = false;
    bool isStalling_ = false;
    bool isAbandoning_ = false;
    bool isSlow_ = false;
    bool cutsNextFrame_ = false;
    Rewrite rewrite_;
    std::thread thread_;
};

/// One unmasked frame, as a server sends it. `opcode` 1 is text, 0 the continuation of a message, 9 a ping.
std::string webSocketFrame(std::string_view payload, unsigned opcode = 1, bool isFinal = true);

/// The payload of a complete frame.
std::string payloadOf(const std::string& frame);

}  // namespace e2e
