#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zebbussim {

class Scenario;
class Simulation;

/// A simulated service bus on this machine. It serves services, resources and elements, and a registry of the
/// services, over HTTP and WebSocket on one port. docs/wire-protocol.md describes the protocol.
///
/// The caller owns it; the destructor stops it. It serves on one thread, which it starts and ends, and never
/// calls the caller's code.
///
/// Thread safety: any thread may call any function, with two exceptions. `start()` and the destructor must
/// not overlap with any other call. `stop()` may overlap only with the functions that wait, and wakes them.
///
/// Paths are bus paths: "/ClampControl/clamps/1" is an element, "/ClampControl/clamps" a collection.
///
/// A change is complete when the function that makes it returns: later requests see it, and its notifications
/// are queued.
///
/// Errors: `std::invalid_argument` for unusable JSON and malformed paths, `std::runtime_error` for missing
/// elements and services and for errors of the operating system.
class BusSimulator {
 public:
    struct Options {
        std::string address = "127.0.0.1";  ///< an address of this machine, IPv4 or IPv6
        std::uint16_t port = 0;             ///< 0: the system picks one
        /// The path below which all services and the registry are. A missing "/" at either end is added.
        std::string basePath = "/";
        /// PEM files: the server's certificate with its intermediate certificates, and its private key
        /// without a password. If both are given, the port accepts TLS only. `start()` reads the files.
        std::string tlsCertificateFile;
        std::string tlsKeyFile;
        /// The names by which clients call this server, beside "localhost" and its IP addresses. A request
        /// for any other host is refused.
        std::vector<std::string> hostNames;
        /// A client has this time for its next request on a connection, for the rest of a message that it
        /// has begun, and to read an answer. Then its connection is closed.
        std::chrono::milliseconds patience{60000};
        /// Takes data that the models of the services do not allow: unknown fields, values of another kind,
        /// unknown literals. If false, `loadFile()`, `loadText()`, `addService()`, `addElement()`, `set()`
        /// and HTTP requests refuse them, and say what would be right. What no model has is never checked.
        ///
        /// True here, because a client must cope with such data, and its tests need a bus that has it.
        /// `zeb-bus-sim` is strict unless it is told otherwise: there, a person has made a mistake.
        bool lenient = true;
    };
    /// Whether the data of one change is checked.
    enum class DataCheck {
        ByOptions,  ///< as `Options::lenient` says
        None,
    };

    BusSimulator();
    explicit BusSimulator(const Options& options);
    ~BusSimulator();
    BusSimulator(const BusSimulator&) = delete;
    BusSimulator& operator=(const BusSimulator&) = delete;

    /// Adds the services of a bus file: `{"services":{"<service>":{"<resource>":[element,...],...},...}}`.
    /// An element needs an "id". "name" defaults to the id; "uri" is filled in. The error has a line for each
    /// mistake: "FILE:LINE:COLUMN: what is wrong". If there is any, nothing is added.
    /// @returns such lines for what is allowed but is probably a mistake
    std::vector<std::string> loadFile(const std::string& fileName);
    std::vector<std::string> loadText(const std::string& json);

    /// Starts to serve; connections are accepted when it returns. Throws when it cannot listen on the address
    /// or cannot use the TLS files, and when there is no thread; may be called again then.
    void start();
    /// Closes every WebSocket with code 1001, then every connection, and ends the thread. Takes up to about
    /// two seconds if a client does not answer. May be called twice. `start()` may be called afterwards and
    /// listens on the same port.
    void stop();

    std::uint16_t port() const;    ///< the port listened to; 0 before the first start
    std::string baseUri() const;   ///< for instance "http://127.0.0.1:8080", or "https:" with TLS; the
                                   ///< client's "serverBaseUri"
    std::string basePath() const;  ///< begins and ends in "/"

    // --- what is on the bus ---

    /// Merges a JSON object into an element and notifies its subscribers, even if nothing changes.
    void set(const std::string& path, const std::string& json, DataCheck check = DataCheck::ByOptions);
    /// Adds an element at the end of its collection. Creates the resource if it does not exist.
    void addElement(const std::string& path, const std::string& json, DataCheck check = DataCheck::ByOptions);
    /// Removes an element; its subscriptions end with 404.
    void removeElement(const std::string& path);
    /// The element's JSON.
    std::string element(const std::string& path);

    /// Adds a service to the bus and to the registry, or replaces it: `{"<resource>":[element,...],...}`.
    void addService(const std::string& name, const std::string& json);
    /// Brings back a removed service with its elements.
    void addService(const std::string& name);
    /// Removes a service from the bus and from the registry. Closes its WebSockets with code 1001; requests
    /// get 404.
    void removeService(const std::string& name);
    /// Makes a service available or unavailable. An unavailable service stays in the registry; its WebSockets
    /// are closed with code 1001, and requests get 503. A removed service comes back in this state.
    void setServiceAvailable(const std::string& name, bool available);

    // --- what clients do ---

    /// Number of subscriptions to exactly this path.
    std::size_t subscriberCount(const std::string& path) const;
    /// Waits until there are at least `count`, or none if `count` is 0. Returns false when the time is over
    /// or the simulator stops.
    bool waitForSubscribers(const std::string& path, std::size_t count, std::chrono::milliseconds timeout);
    /// Number of open WebSockets of a service.
    std::size_t webSocketCount(const std::string& service) const;
    /// Waits as `waitForSubscribers()` does.
    bool waitForWebSockets(const std::string& service, std::size_t count, std::chrono::milliseconds timeout);
    /// Number of WebSockets of a service that were ever opened.
    std::size_t handshakeCount(const std::string& service) const;
    /// Number of HTTP requests to exactly this path so far, with any answer. WebSocket handshakes do not
    /// count. Requests to an element do not count for its collection.
    std::size_t requestCount(const std::string& path) const;
    /// Waits as `waitForSubscribers()` does.
    bool waitForRequests(const std::string& path, std::size_t count, std::chrono::milliseconds timeout);
    /// Waits until the operating system has taken all queued messages. Returns false when the time is over,
    /// because a client does not read, or when the simulator stops.
    bool waitUntilSent(std::chrono::milliseconds timeout);

    /// For measurements: changes an element of the running bus `changes` times, as fast as the slowest
    /// subscriber reads. Pauses while more than 1 MiB is queued for that subscriber. Merges each of the given
    /// JSON objects into the present element once, converts the results to text once, and sets them in turn.
    /// Returns when all changes are made; the last ones may still be queued.
    void flood(const std::string& path, const std::vector<std::string>& states, std::size_t changes);

    // --- steps ---

    /// Does a step, for instance `{"drop":{"service":"ClampControl"}}`. docs/simulator.md lists them all;
    /// they cover every function below and more.
    void perform(const std::string& step);
    /// Plays a scenario, a JSON list of steps, waits and expectations. Returns when its last step is done.
    /// Throws `std::runtime_error` if the text is no scenario, if a step fails, an expectation does not hold,
    /// or the simulator stops.
    void play(const std::string& scenario);
    void playFile(const std::string& fileName);

    // --- faults, for the tests of clients ---

    /// Delays the first notification of later subscriptions by this time after the answer to the subscribe
    /// request. Changes in the meantime cause no notification.
    void delayFirstNotification(std::chrono::milliseconds delay);
    /// Holds the first notification of later subscriptions back until `releaseFirstNotifications()`.
    void withholdFirstNotifications();
    /// Sends the notifications that are withheld or delayed. Later subscriptions work normally.
    void releaseFirstNotifications();

    /// Answers all requests to this path and below it with this status and body, also WebSocket handshakes.
    /// "/" covers all paths. This and the next three functions set a fault: a path has one, and for a request
    /// the fault with the longest path applies.
    void answerHttp(const std::string& path, int status, const std::string& body);
    /// Answers them with these bytes and closes the connection.
    void answerHttpWithBytes(const std::string& path, const std::string& bytes);
    /// Never answers them; the connection stays open.
    void ignoreHttp(const std::string& path);
    /// Answers them normally after this delay.
    void delayHttp(const std::string& path, std::chrono::milliseconds delay);
    void clearHttpFaults();

    /// Sends a text message once to each WebSocket that has a subscription to this path.
    void sendText(const std::string& path, const std::string& text);
    /// Writes bytes unchanged to the connections of these WebSockets, between two messages.
    void sendBytes(const std::string& path, const std::string& bytes);
    /// Resets the connections of the service's WebSockets (TCP RST).
    void dropConnections(const std::string& service);
    /// Closes the service's WebSockets with a close code.
    void closeConnections(const std::string& service, std::uint16_t code);
    /// Stops reading from and sending to the service's present WebSockets, as if the cable were cut.
    void freezeConnections(const std::string& service);

 private:
    void playFrom(Scenario scenario);

    std::unique_ptr<Simulation> simulation_;
};

}  // namespace zebbussim
