#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "faults/MessageFaults.h"
#include "journal/Journal.h"
#include "model/BusModel.h"
#include "server/Observations.h"

namespace zebutil {
class JsonObject;
}

namespace zebbussim {

/// The client of one WebSocket, which belongs to a service. Queues the messages that it is to send.
class Subscriber {
 public:
    virtual ~Subscriber() = default;
    /// Sends the message `head` + `*data` + `*tail`; the last two may be null. Never calls back.
    virtual void send(std::string head, SharedText data, SharedText tail) = 0;
    /// Writes bytes unchanged to the connection, between two messages.
    virtual void sendBytes(std::string bytes) = 0;
    virtual const std::string& service() const = 0;
    /// What it calls itself; may be empty.
    virtual const std::string& program() const = 0;
    /// Its number among all WebSockets of the bus.
    virtual std::uint64_t client() const = 0;
};

/// Answers the WebSocket messages of clients and turns changes of the model into notifications. Used on one
/// thread, the bus's.
class Subscriptions {
 public:
    /// Runs a function on the bus's thread after a delay.
    using RunLater = std::function<void(std::chrono::milliseconds, std::function<void()>)>;

    Subscriptions(BusModel& busModel, Observations& busObservations, MessageFaults& messageFaults,
                  Journal& journal, RunLater runLaterFunction);

    /// Answers one text message of a client.
    void receive(Subscriber& subscriber, const std::string& text);
    /// Ends all subscriptions of a client that has disconnected.
    void leave(Subscriber& subscriber);
    /// Whether a client has a subscription.
    bool has(const Subscriber& subscriber) const;
    /// The clients with a subscription to this path.
    std::set<Subscriber*> subscribersOf(const std::string& path) const;

    void notifyElement(const BusPath& path, const Element& element);
    void notifyCollection(const BusPath& path);
    /// Ends the subscriptions to an element that was removed.
    void endElement(const BusPath& path);

    /// How long a first notification is held back; without a delay, until it is released.
    struct Hold {
        std::optional<std::chrono::milliseconds> delay;
    };
    void holdFirstNotifications(const Hold& hold) { hold_ = hold; }
    /// Sends the first notifications that are held back, and later ones at once.
    void releaseFirstNotifications();

 private:
    struct Subscription {
        Subscriber* subscriber;
        std::string id;
        BusPath path;
        std::uint64_t nextSequence = 0;
        bool started = false;
        bool counted = false;  ///< among the observations
    };
    using Number = std::uint64_t;

    void subscribe(Subscriber& subscriber, const std::string& requestId, const zebutil::JsonObject& message);
    void unsubscribe(Subscriber& subscriber, const std::string& requestId,
                     const zebutil::JsonObject& message);
    void start(Number number);
    /// What a notification contains; null if it would be too large.
    SharedText dataOf(const BusPath& path);
    void notify(Number number, const SharedText& data, const SharedText& tail);
    void notifyAll(const std::string& path, const SharedText& data);
    void endWithError(Number number, const class BusError& error);
    void remove(Number number, const std::string& reason);
    /// The id that a new subscription gets.
    std::string idFor(const Subscriber& subscriber, Number number) const;
    void noteViolation(const Subscriber& subscriber, const std::string& text);

    BusModel& model_;
    Observations& observations_;
    MessageFaults& faults_;
    Journal& journal_;
    RunLater runLater_;
    Number lastNumber_ = 0;
    std::map<Number, Subscription> subscriptions_;
    std::unordered_map<std::string, std::set<Number>> byPath_;  ///< in the order of subscribing
    std::unordered_map<const Subscriber*, std::set<Number>> bySubscriber_;
    std::optional<Hold> hold_;
};

}  // namespace zebbussim
