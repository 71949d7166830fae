#pragma once

#include <zebutil/ILogger.h>

#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ServerMessage.h"
#include "SubscriptionRecord.h"

namespace zeb {

class FaultLog;
struct ServiceCounters;

/// The subscriptions of one WebSocket on the level of messages: writes the client's requests, and passes each
/// message of the server to the subscription that it belongs to. Knows nothing of sockets and threads. Owned
/// by its connection and used on the I/O thread only.
class SubscriptionRouter {
 public:
    using Record = SubscriptionRecord::Hold;

    /// What the router needs from its connection. None of these functions may call the router.
    class Connection {
     public:
        /// Sends a message to the server.
        /// @throws ZebException when the server does not read; the connection must then be closed
        virtual void send(std::string message) = 0;
        /// Queues a call of the subscription's handler with `data`, behind everything enqueued before.
        virtual void enqueue(const Record& record, std::string_view data) = 0;
        /// Queues a report to the subscription's user that the server has ended it, behind everything
        /// enqueued before. `reason` is text for people.
        virtual void tellEnded(const Record& record, const std::string& reason) = 0;
        /// Releases subscriptions that have ended, on a thread on which objects of the user may be destroyed.
        virtual void release(std::vector<Record> records) = 0;

     protected:
        ~Connection() = default;
    };

    /// `uri` appears in messages. `connection` must outlive the router.
    SubscriptionRouter(std::string uri, std::shared_ptr<zebutil::ILogger> logger,
                       std::shared_ptr<FaultLog> faults, std::shared_ptr<ServiceCounters> counters,
                       Connection& connection);

    /// So many requests may wait for their answers: as many as there can be subscriptions on a bus.
    static constexpr std::size_t kMostUnanswered = 262'144;
    /// A server's subscription id may be so long.
    static constexpr std::size_t kLongestId = 256;

    /// Asks the server for a subscription, unless it has ended already.
    /// @throws ZebException when too many requests wait for an answer; the connection must then be closed
    void subscribe(const Record& record);
    /// Ends one subscription. If the server has not answered its request yet, it is ended when the answer
    /// arrives.
    void unsubscribe(const Record& record);
    /// Ends every subscription. None is active afterwards.
    void unsubscribeFromAll();
    /// Removes every subscription without a message to the server, because the connection has ended.
    std::vector<Record> takeAll();

    /// Handles one message of the server.
    /// @throws ZebException when the message breaks the protocol; the connection must then be closed
    void route(std::string_view textOfMessage);

 private:
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    using Requests = boost::unordered_flat_map<std::string, Record, TextHash, std::equal_to<>>;

    // The set looks a record up by the subscription id inside it. So the id is in the memory that the
    // notification needs next anyway.
    struct IdHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view id) const { return std::hash<std::string_view>()(id); }
        std::size_t operator()(const Record& record) const { return (*this)(record->subscriptionId); }
    };
    struct SameId {
        using is_transparent = void;
        bool operator()(const Record& one, const Record& other) const {
            return one->subscriptionId == other->subscriptionId;
        }
        bool operator()(std::string_view id, const Record& record) const {
            return id == record->subscriptionId;
        }
        bool operator()(const Record& record, std::string_view id) const {
            return id == record->subscriptionId;
        }
    };
    using Subscriptions = boost::unordered_flat_set<Record, IdHash, SameId>;

    void routeNotification(const ServerMessage& message);
    void logDisorder(const SubscriptionRecord& record, std::int64_t seq);
    void routeSubscribeAnswer(const ServerMessage& message);
    void tellEnded(const Record& record, const std::string& what, std::string_view error);
    void release(Record record);
    void sendUnsubscribe(const std::string& subscriptionId);

    const std::string uri_;
    const std::shared_ptr<zebutil::ILogger> logger_;
    const std::shared_ptr<FaultLog> faults_;
    const std::shared_ptr<ServiceCounters> counters_;
    Connection& connection_;
    /// Requested and not yet answered, by request id; null for a subscription that has ended since.
    Requests pending_;
    Subscriptions subscriptions_;
    std::uint64_t lastRequestId_ = 0;
};

}  // namespace zeb
