#include "SubscriptionRouter.h"

#include <zeb/ZebException.h>
#include <zebutil/JsonObject.h>

#include <limits>
#include <utility>

#include "ServerError.h"
#include "log/FaultLog.h"
#include "log/ServiceCounters.h"

namespace zeb {

namespace {

std::string text(std::string_view view) {
    return std::string(view);
}

}  // namespace

SubscriptionRouter::SubscriptionRouter(std::string uri, std::shared_ptr<zebutil::ILogger> logger,
                                       std::shared_ptr<FaultLog> faults,
                                       std::shared_ptr<ServiceCounters> counters, Connection& connection)
    : uri_(std::move(uri)),
      logger_(std::move(logger)),
      faults_(std::move(faults)),
      counters_(std::move(counters)),
      connection_(connection) {}

// ---------------------------------------------------------------------------------------- of the server

void SubscriptionRouter::route(std::string_view textOfMessage) {
    const ServerMessage message = ServerMessage::read(textOfMessage);
    if (message.action == "subscription") {
        routeNotification(message);
    } else if (message.action == "subscribe") {
        routeSubscribeAnswer(message);
    } else if (message.action == "unsubscribe") {
        if (message.error) {
            logger_->debug("unsubscribe refused: " + text(*message.error));
        }
    } else if (message.error) {
        faults_->error("message refused", "the server refused a message: " + text(*message.error));
    } else {
        faults_->warning("unknown action",
                         "message with unknown action ignored: " + text(textOfMessage.substr(0, 200)));
    }
}

void SubscriptionRouter::routeNotification(const ServerMessage& message) {
    if (!message.subscriptionId) {
        throw ZebException("a notification has no \"subscriptionId\"", uri_);
    }
    const auto found = subscriptions_.find(*message.subscriptionId);
    if (found == subscriptions_.end()) {
        counters_->ofNoSubscription.add();
        logger_->debug("notification of unknown subscription " + text(*message.subscriptionId) + " ignored");
        return;
    }
    const Record& record = *found;
    if (message.error) {
        counters_->subscriptionsEnded.add();
        tellEnded(record, "the server ended the subscription of " + record->shownPath() + ": ",
                  *message.error);
        subscriptions_.erase(found);
        return;
    }
    if (!message.seq || !message.data) {
        throw ZebException("a notification of " + record->shownPath() + " has no \"seq\" or no \"data\"",
                           uri_);
    }
    if (*message.seq != record->nextSeq) {
        logDisorder(*record, *message.seq);
        if (*message.seq < record->nextSeq) {
            counters_->repeated.add();
            return;  // delivered before
        }
        counters_->missing.add(static_cast<std::uint64_t>(*message.seq) -
                               static_cast<std::uint64_t>(record->nextSeq));
    }
    if (*message.seq == std::numeric_limits<std::int64_t>::max()) {
        throw ZebException(
            "a notification of " + record->shownPath() + " has a \"seq\" that no number can follow", uri_);
    }
    record->nextSeq = *message.seq + 1;
    counters_->received.add();
    connection_.enqueue(record, *message.data);
}

void SubscriptionRouter::logDisorder(const SubscriptionRecord& record, std::int64_t seq) {
    // A server that repeats notifications must not hide that it also loses some.
    const std::string cause = (seq < record.nextSeq ? "repetition of " : "gap in ") + record.shownPath();
    faults_->error(cause, "notification of " + record.shownPath() + " out of order: expected seq " +
                              std::to_string(record.nextSeq) + ", got " + std::to_string(seq));
}

void SubscriptionRouter::routeSubscribeAnswer(const ServerMessage& message) {
    if (!message.requestId) {
        if (message.error) {
            // The server could not read which request it was. The user's time limit ends the wait.
            faults_->error("request refused",
                           "the server refused a subscribe request: " + text(*message.error));
            return;
        }
        throw ZebException("an answer to a subscribe request has no \"requestId\"", uri_);
    }
    const auto found = pending_.find(*message.requestId);
    if (found == pending_.end()) {
        faults_->warning("unknown request",
                         "answer to unknown request " + text(*message.requestId) + " ignored");
        return;
    }
    if (message.subscriptionId && message.subscriptionId->size() > kLongestId) {
        throw ZebException("the server gave a subscription id of " +
                               std::to_string(message.subscriptionId->size()) + " bytes; at most " +
                               std::to_string(kLongestId) + " are allowed",
                           uri_);
    }
    const Record record = std::move(found->second);
    pending_.erase(found);
    if (!record) {
        // Nobody wants it any more.
        if (message.subscriptionId) {
            sendUnsubscribe(text(*message.subscriptionId));
        }
        return;
    }
    if (message.error) {
        counters_->subscriptionsRefused.add();
        tellEnded(record, "subscription of " + record->shownPath() + " refused: ", *message.error);
        return;
    }
    if (!message.subscriptionId) {
        throw ZebException("an answer to a subscribe request has no \"subscriptionId\"", uri_);
    }
    record->subscriptionId = text(*message.subscriptionId);
    if (!record->active) {
        sendUnsubscribe(record->subscriptionId);
        release(record);
        return;
    }
    if (!subscriptions_.insert(record).second) {
        throw ZebException("the server gave the subscription id " + record->subscriptionId + " twice", uri_);
    }
    counters_->subscriptionsMade.add();
}

void SubscriptionRouter::tellEnded(const Record& record, const std::string& what, std::string_view error) {
    // First what others can see at once: the rest waits for the executor.
    record->isEndedByServer = true;
    const ServerError why = ServerError::read(error);
    faults_->error(what + why.number, what + why.text);
    connection_.tellEnded(record, why.text);
}

// ---------------------------------------------------------------------------------------- of the client

void SubscriptionRouter::subscribe(const Record& record) {
    if (!record->active) {
        return;
    }
    if (pending_.size() == kMostUnanswered) {
        throw ZebException(
            "the server has left " + std::to_string(kMostUnanswered) + " subscribe requests unanswered",
            uri_);
    }
    counters_->subscriptionsAsked.add();
    record->request = ++lastRequestId_;
    const std::string requestId = std::to_string(record->request);
    pending_.emplace(requestId, record);
    zebutil::JsonObject message;
    message.setString("action", "subscribe");
    message.setString("path", record->path);
    message.setString("requestId", requestId);
    connection_.send(message.toString());
}

void SubscriptionRouter::unsubscribe(const Record& record) {
    const auto found = subscriptions_.find(record);
    if (found != subscriptions_.end() && *found == record) {
        subscriptions_.erase(found);
        sendUnsubscribe(record->subscriptionId);
        release(record);
        return;
    }
    // The server may never answer, so only the number of the request is kept until it does.
    const auto requested = pending_.find(std::to_string(record->request));
    if (requested != pending_.end() && requested->second == record) {
        release(std::exchange(requested->second, nullptr));
    }
}

void SubscriptionRouter::unsubscribeFromAll() {
    std::vector<Record> ended(subscriptions_.begin(), subscriptions_.end());
    subscriptions_.clear();
    const std::size_t accepted = ended.size();
    for (auto& [requestId, record] : pending_) {
        if (record) {
            ended.push_back(std::exchange(record, nullptr));
        }
    }
    // First what the user relies on: sending may fail.
    for (const Record& record : ended) {
        record->active = false;
    }
    for (std::size_t index = 0; index < accepted; ++index) {
        sendUnsubscribe(ended[index]->subscriptionId);
    }
    connection_.release(std::move(ended));
}

void SubscriptionRouter::sendUnsubscribe(const std::string& subscriptionId) {
    zebutil::JsonObject message;
    message.setString("action", "unsubscribe");
    message.setString("subscriptionId", subscriptionId);
    message.setString("requestId", std::to_string(++lastRequestId_));
    connection_.send(message.toString());
}

void SubscriptionRouter::release(Record record) {
    record->active = false;
    connection_.release({std::move(record)});
}

std::vector<SubscriptionRouter::Record> SubscriptionRouter::takeAll() {
    std::vector<Record> all;
    all.reserve(subscriptions_.size() + pending_.size());  // without the memory, nothing has changed
    all.assign(subscriptions_.begin(), subscriptions_.end());
    subscriptions_.clear();
    for (auto& [requestId, record] : pending_) {
        if (record) {
            all.push_back(std::move(record));
        }
    }
    pending_.clear();
    return all;
}

}  // namespace zeb
