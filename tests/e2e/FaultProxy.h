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

/// Stands between a client and a server on this machine, with real connections on both sides, and does to
/// them what a bad network or a bad server does, at any moment. Forwards everything until it is told
/// otherwise.
///
/// It follows the server's WebSocket frames, so that what it puts in stands between two of them.
///
/// Any thread may use it; it works on one thread of its own, and calls `Rewrite` functions there.
class FaultProxy {
 public:
    /// What becomes of one frame of the server: none, one or several.
    using Rewrite = std::function<std::vector<std::string>(const std::string& frame)>;

    explicit FaultProxy(std::uint16_t serverPort);
    ~FaultProxy();
    FaultProxy(const FaultProxy&) = delete;
    FaultProxy& operator=(const FaultProxy&) = delete;

    std::uint16_t port() const { return port_; }
    std::string baseUri() const { return "http://127.0.0.1:" + std::to_string(port_); }

    // --- faults that last until clear() ---

    /// Nobody listens at the port, and what was connected is reset.
    void refuse();
    /// Connections are accepted, and what the client sends is taken, but nothing goes further. After clear()
    /// it does.
    void hold();
    /// Ends hold(), and no other fault.
    void release();
    /// Nothing is read from either side, as if the cable had been cut. After clear() all of it goes on.
    void stall();
    /// As stall(), but the connections of this time never go on. Later ones are forwarded after clear().
    void abandon();
    /// What goes to the client goes one byte per 10 ms.
    void slowDown();
    void rewrite(Rewrite function);

    // --- faults of a moment ---

    /// Resets all connections.
    void reset();
    /// Sends half of the server's next frame and resets that connection.
    void resetWithinNextFrame();
    /// Ends all connections towards the client in order, without a word of the protocol.
    void end();
    /// Puts bytes of its own on every WebSocket to the client.
    void inject(const std::string& bytes);

    void clear();

    /// Waits until something of a client is being held. False when the time is over.
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
    int reservation_ = -1;  ///< keeps the port while nobody listens
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
