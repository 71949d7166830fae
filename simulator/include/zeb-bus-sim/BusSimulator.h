#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zebbussim {

/// A service bus on this machine: serves the services, resources and elements that it is given over HTTP and
/// WebSocket, on one port, as docs/wire-protocol.md says, with the registry of services.
///
/// Owned by whoever creates it; destroying it stops it. It serves on one thread of its own, and calls nothing
/// of its user's.
///
/// Thread safety: every function may be called from any thread, with one exception: `start()` and the
/// destructor must not overlap with anything, and `stop()` with nothing but the functions that wait, which it
/// wakes.
///
/// Paths are bus paths: "/ClampControl/clamps/1" is an element, "/ClampControl/clamps" a collection.
///
/// A change that a function makes is complete when it returns: requests that come later see it, and its
/// notifications wait to be sent.
///
/// Errors: `std::invalid_argument` for JSON that cannot be used and paths that cannot be,
/// `std::runtime_error` for elements and services that are not there and for what the operating system
/// refuses.
class BusSimulator {
 public:
    struct Options {
        std::string address = "127.0.0.1";  ///< an address of this machine, IPv4 or IPv6
        std::uint16_t port = 0;             ///< 0: the system picks one
        std::string basePath = "/";  ///< of every service and of the registry; "/" is added where missing
        /// PEM files of the server's certificate, with the chain below its authority, and of its private key,
        /// which needs no password. With both there is TLS and nothing else on the port; read at each start.
        std::string tlsCertificateFile;
        std::string tlsKeyFile;
    };

    BusSimulator();
    explicit BusSimulator(const Options& options);
    ~BusSimulator();
    BusSimulator(const BusSimulator&) = delete;
    BusSimulator& operator=(const BusSimulator&) = delete;

    /// Adds the services of a bus file: `{"services":{"<service>":{"<resource>":[element,...],...},...}}`.
    /// An element needs an "id"; "name" is the id unless given, "uri" is filled in.
    void loadFile(const std::string& fileName);
    void loadText(const std::string& json);

    /// Begins to listen; connections are accepted when it returns. Throws when the address cannot be
    /// had or the TLS files cannot be used.
    void start();
    /// Closes every WebSocket with 1001 and every connection, and ends the thread. Takes at most about two
    /// seconds, when a client does not answer. Can be called again, and `start()` after it: with the same
    /// port, if one was given.
    void stop();

    std::uint16_t port() const;    ///< the port listened to; 0 before the first start
    std::string baseUri() const;   ///< "http://127.0.0.1:8080": what a client takes for "serverBaseUri";
                                   ///< "https:" with TLS
    std::string basePath() const;  ///< begins and ends in "/"

    // --- what is on the bus ---

    /// Merges a JSON object into an element, and notifies its subscribers, also when nothing changes.
    void set(const std::string& path, const std::string& json);
    /// Adds an element at the end of its collection; the resource is created where missing.
    void addElement(const std::string& path, const std::string& json);
    /// Removes an element; its subscriptions end with 404.
    void removeElement(const std::string& path);
    /// The element's JSON.
    std::string element(const std::string& path);

    /// Adds a service, or replaces it: `{"<resource>":[element,...],...}`. It is entered in the registry.
    void addService(const std::string& name, const std::string& json);
    /// Brings back a service that was removed, as it was.
    void addService(const std::string& name);
    /// Takes a service off the bus and out of the registry: closes its WebSockets with 1001; requests get
    /// 404.
    void removeService(const std::string& name);
    /// A service that is not available stays in the registry: its WebSockets are closed with 1001, requests
    /// get 503.
    void setServiceAvailable(const std::string& name, bool available);

    // --- what clients do ---

    /// Subscriptions to exactly this path.
    std::size_t subscriberCount(const std::string& path) const;
    /// Waits until there are at least `count`, or none when `count` is 0. False when the time is over or the
    /// simulator stopped.
    bool waitForSubscribers(const std::string& path, std::size_t count, std::chrono::milliseconds timeout);
    /// Open WebSockets of a service.
    std::size_t webSocketCount(const std::string& service) const;
    /// As `waitForSubscribers`.
    bool waitForWebSockets(const std::string& service, std::size_t count, std::chrono::milliseconds timeout);
    /// WebSockets of a service that were ever opened.
    std::size_t handshakeCount(const std::string& service) const;
    /// HTTP requests to this path so far, whatever the answer, without WebSocket handshakes. A collection's
    /// path does not count the requests to its elements.
    std::size_t requestCount(const std::string& path) const;
    /// As `waitForSubscribers`.
    bool waitForRequests(const std::string& path, std::size_t count, std::chrono::milliseconds timeout);
    /// Waits until everything that waited to be sent has been handed to the operating system. False when the
    /// time is over: a client does not read, or the simulator stopped.
    bool waitUntilSent(std::chrono::milliseconds timeout);

    /// Makes `changes` changes to an element of the running bus, as fast as the slowest subscriber reads:
    /// pauses while more than 1 MiB waits for it. Each of the given JSON objects is merged once into the
    /// element as it is; the states so made, put into text once, are set in turn. Returns when all changes
    /// have been made; the last of them may still wait to be sent. For measurements.
    void flood(const std::string& path, const std::vector<std::string>& states, std::size_t changes);

    // --- faults, for the tests of clients ---

    /// The first notification of later subscriptions comes this much later than the answer to the subscribe
    /// request. Changes until then are not notified on their own.
    void delayFirstNotification(std::chrono::milliseconds delay);
    /// It does not come at all, until `releaseFirstNotifications()`.
    void withholdFirstNotifications();
    /// Sends those that are withheld or delayed, and ends either.
    void releaseFirstNotifications();

    /// Requests to this path and below it, WebSocket handshakes too, are answered so. One fault per path; the
    /// longest path counts. "/" is everything.
    void answerHttp(const std::string& path, int status, const std::string& body);
    /// They are answered with these bytes, and the connection is closed.
    void answerHttpWithBytes(const std::string& path, const std::string& bytes);
    /// They are never answered; the connection stays open.
    void ignoreHttp(const std::string& path);
    /// They are answered as usual, but this much later.
    void delayHttp(const std::string& path, std::chrono::milliseconds delay);
    void clearHttpFaults();

    /// Sends a text message to every WebSocket that has a subscription to this path, once to each.
    void sendText(const std::string& path, const std::string& text);
    /// The same with bytes that are put on the connection as they are, between two messages.
    void sendBytes(const std::string& path, const std::string& bytes);
    /// Resets the connections of the service's WebSockets (TCP RST).
    void dropConnections(const std::string& service);
    /// Closes the service's WebSockets with a close code.
    void closeConnections(const std::string& service, std::uint16_t code);
    /// From now on nothing is read from or sent to the service's present WebSockets, as if the cable had been
    /// cut.
    void freezeConnections(const std::string& service);

 private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace zebbussim
