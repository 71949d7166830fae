#pragma once

#include <zebutil/ILogger.h>

#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ServerMessage.h"
#include "SubscriptionRecord.h"

namespace zeb {

/// The subscriptions of one WebSocket, as the messages on it know them: makes the requests of the client, and
/// takes each message of the server to the subscription that it is for. Knows nothing of sockets and threads.
/// Owned by its connection, and confined to that one's I/O thread.
class SubscriptionRouter {
 public:
    using Record = SubscriptionRecord::Hold;

    /// What the router needs done. None of these may call the router.
    class Connection {
     public:
        /// Sends a message to the server.
        virtual void send(std::string message) = 0;
        /// Has the subscription's handler called with `data`, after what was enqueued before.
        virtual void enqueue(const Record& record, std::string_view data) = 0;
        /// Has the subscription's user told, after what was enqueued before, that the server has ended it.
        virtual void tellEnded(const Record& record, const std::string& reason) = 0;
        /// Drops subscriptions that are over, on a thread on which objects of the user may be released.
        virtual void release(std::vector<Record> records) = 0;

     protected:
        ~Connection() = default;
    };

    /// `uri` is for messages. `connection` outlives the router.
    SubscriptionRouter(std::string uri, std::shared_ptr<zebutil::ILogger> logger, Connection& connection);

    /// Asks the server for a subscription, unless it is over already.
    void subscribe(const Record& record);
    /// Ends one subscription. One that the server has not answered yet is ended when it does.
    void unsubscribe(const Record& record);
    /// Ends every subscription. After this, none is active.
    void unsubscribeFromAll();
    /// Forgets every subscription without telling the server, since the connection has ended.
    std::vector<Record> takeAll();

    /// Does what a message of the server says.
    /// @throws ZebException when it breaks the protocol; the connection is then of no more use
    void route(std::string_view textOfMessage);

 private:
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    using Requests = boost::unordered_flat_map<std::string, Record, TextHash, std::equal_to<>>;

    // A record is found by the subscription id that it has, which thus stands beside what a notification
    // needs next.
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
    void routeSubscribeAnswer(const ServerMessage& message);
    void release(Record record);
    void sendUnsubscribe(const std::string& subscriptionId);

    const std::string uri_;
    const std::shared_ptr<zebutil::ILogger> logger_;
    Connection& connection_;
    Requests pending_;  ///< asked for and not answered yet, by request id
    Subscriptions subscriptions_;
    std::uint64_t lastRequestId_ = 0;
};

}  // namespace zeb
