#include "Subscriptions.h"

#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>
#include <utility>

#include "json/Json.h"
#include "model/BusError.h"

namespace zebbussim {

namespace {

constexpr std::size_t kMaximumSubscriptions = 16384;
/// Each change is told to all of them, before anybody else is served.
constexpr std::size_t kMaximumOfAll = 65536;
constexpr std::size_t kMaximumMessage = 1024 * 1024;
/// Of a text of a request that its answer repeats, escaped.
constexpr std::size_t kMaximumEcho = 64 * 1024;
constexpr const char* kUnknownSubscription = "invalid_subscriptionId";

std::optional<std::string> stringMember(const zebutil::JsonObject& message, const std::string& key) {
    return message.isString(key) ? std::make_optional(message.getString(key)) : std::nullopt;
}

std::string requiredMember(const zebutil::JsonObject& message, const std::string& key) {
    if (const std::optional<std::string> value = stringMember(message, key)) {
        return *value;
    }
    throw BusError::badRequest("The message needs \"" + key + "\", a string");
}

std::shared_ptr<zebutil::JsonObject> readMessage(const std::string& text) {
    try {
        return zebutil::JsonObject::parse(text);
    } catch (const zebutil::JsonException& exception) {
        throw BusError::badRequest(std::string("The message is not a JSON object: ") + exception.what());
    }
}

SharedText sharedTimestampTail() {
    return std::make_shared<const std::string>(timestampTail());
}

}  // namespace

Subscriptions::Subscriptions(BusModel& busModel, Observations& busObservations, MessageFaults& messageFaults,
                             Journal& journal, RunLater runLaterFunction)
    : model_(busModel),
      observations_(busObservations),
      faults_(messageFaults),
      journal_(journal),
      runLater_(std::move(runLaterFunction)) {}

void Subscriptions::receive(Subscriber& subscriber, const std::string& text) {
    std::string echo;  // the members of the request that an error repeats
    try {
        const std::shared_ptr<zebutil::JsonObject> message = readMessage(text);
        for (const char* key : {"action", "requestId"}) {
            if (const std::optional<std::string> value = stringMember(*message, key)) {
                const std::string member = quoted(key) + ":" + quoted(*value) + ",";
                if (member.size() > kMaximumEcho) {
                    throw BusError::badRequest("\"" + std::string(key) + "\" is too long to be repeated");
                }
                echo += member;
            }
        }
        const std::string action = requiredMember(*message, "action");
        const std::string requestId = requiredMember(*message, "requestId");
        if (action == "subscribe") {
            subscribe(subscriber, requestId, *message);
        } else if (action == "unsubscribe") {
            if (const std::optional<std::string> id = stringMember(*message, "subscriptionId")) {
                if (id->size() <= kMaximumEcho) {
                    echo += "\"subscriptionId\":" + quoted(*id) + ",";
                }
            }
            unsubscribe(subscriber, requestId, *message);
        } else {
            throw BusError::badRequest("The action " + excerpt(action) + " is unknown");
        }
    } catch (const BusError& error) {
        if (error.number == 400) {
            noteViolation(subscriber, error.what());
        }
        subscriber.send("{" + echo + errorMember(error) + timestampTail(), nullptr, nullptr);
    }
}

void Subscriptions::subscribe(Subscriber& subscriber, const std::string& requestId,
                              const zebutil::JsonObject& message) {
    const BusPath path = parseBusPath(requiredMember(message, "path"));
    if (path.service != subscriber.service()) {
        throw BusError::invalidPath("This is the WebSocket of the service " + excerpt(subscriber.service()) +
                                    ", which has no " + shortened(path.text()));
    }
    path.isCollection() ? static_cast<void>(model_.collection(path))
                        : static_cast<void>(model_.element(path));
    if (const auto refusal = faults_.refusalOf(path.text())) {
        throw BusError(refusal->number, "refused", refusal->message);
    }
    if (bySubscriber_[&subscriber].size() >= kMaximumSubscriptions) {
        throw BusError(429, "too_many_requests",
                       "A WebSocket has at most " + std::to_string(kMaximumSubscriptions) + " subscriptions");
    }
    if (subscriptions_.size() >= kMaximumOfAll) {
        throw BusError(429, "too_many_requests",
                       "The bus has at most " + std::to_string(kMaximumOfAll) + " subscriptions");
    }

    const Number number = ++lastNumber_;
    const std::string id = idFor(subscriber, number);
    // Whatever throws, `leave()` finds everything that refers to the subscriber.
    bySubscriber_[&subscriber].insert(number);
    subscriptions_[number] = Subscription{&subscriber, id, path};
    byPath_[path.text()].insert(number);
    subscriber.send("{\"action\":\"subscribe\",\"requestId\":" + quoted(requestId) +
                        ",\"subscriptionId\":\"" + id + "\"" + timestampTail(),
                    nullptr, nullptr);
    if (!hold_) {
        start(number);
    } else if (hold_->delay) {
        runLater_(*hold_->delay, [this, number] { start(number); });
    }
    observations_.update([&](Observations::Numbers& numbers) { ++numbers.subscribers[path.text()]; });
    if (const auto found = subscriptions_.find(number); found != subscriptions_.end()) {
        found->second.counted = true;
    }
    BusEvent event;
    event.kind = BusEvent::Kind::Subscribed;
    event.client = subscriber.client();
    event.subscription = id;
    event.path = path.text();
    journal_.note(std::move(event));
}

void Subscriptions::unsubscribe(Subscriber& subscriber, const std::string& requestId,
                                const zebutil::JsonObject& message) {
    const std::string id = requiredMember(message, "subscriptionId");
    Number number = 0;
    std::from_chars(id.data(), id.data() + id.size(), number);
    const auto found = subscriptions_.find(number);
    const bool isThere =
        found != subscriptions_.end() && found->second.id == id && found->second.subscriber == &subscriber;
    if (!isThere) {
        // One that has just ended may be unsubscribed all the same.
        if (number == 0 || number > lastNumber_ || std::to_string(number) != id) {
            noteViolation(subscriber, "There was never a subscription " + excerpt(id));
        }
        throw BusError(404, kUnknownSubscription, "This WebSocket has no subscription " + excerpt(id));
    }
    remove(number, "the client has unsubscribed");
    subscriber.send("{\"action\":\"unsubscribe\",\"subscriptionId\":" + quoted(id) +
                        ",\"requestId\":" + quoted(requestId) + timestampTail(),
                    nullptr, nullptr);
}

void Subscriptions::leave(Subscriber& subscriber) {
    const auto found = bySubscriber_.find(&subscriber);
    if (found == bySubscriber_.end()) {
        return;
    }
    std::set<Number>& own = found->second;
    while (!own.empty()) {
        const Number number = *own.begin();
        subscriptions_.count(number) == 0 ? static_cast<void>(own.erase(number))
                                          : remove(number, "its connection has ended");
    }
    bySubscriber_.erase(found);
}

bool Subscriptions::has(const Subscriber& subscriber) const {
    const auto found = bySubscriber_.find(&subscriber);
    return found != bySubscriber_.end() && !found->second.empty();
}

std::set<Subscriber*> Subscriptions::subscribersOf(const std::string& path) const {
    std::set<Subscriber*> subscribers;
    if (const auto found = byPath_.find(path); found != byPath_.end()) {
        for (const Number number : found->second) {
            subscribers.insert(subscriptions_.at(number).subscriber);
        }
    }
    return subscribers;
}

void Subscriptions::notifyElement(const BusPath& path, const Element& element) {
    notifyAll(path.text(), element.text());
    notifyCollection(path);
}

void Subscriptions::notifyCollection(const BusPath& path) {
    if (byPath_.count(path.collectionText()) != 0) {
        notifyAll(path.collectionText(), dataOf({path.service, path.resource, ""}));
    }
}

SharedText Subscriptions::dataOf(const BusPath& path) {
    if (!path.isCollection()) {
        return model_.element(path).text();
    }
    Resource& resource = model_.collection(path);
    return resource.textSize() > kMaximumMessage ? nullptr : resource.text();
}

void Subscriptions::endElement(const BusPath& path) {
    const auto found = byPath_.find(path.text());
    if (found == byPath_.end()) {
        return;
    }
    const std::set<Number> ended = found->second;
    for (const Number number : ended) {
        endWithError(number, BusError::unavailableData("The element " + path.text() + " was removed"));
    }
}

void Subscriptions::releaseFirstNotifications() {
    hold_.reset();
    std::vector<Number> waiting;
    for (const auto& [number, subscription] : subscriptions_) {
        if (!subscription.started) {
            waiting.push_back(number);
        }
    }
    std::for_each(waiting.begin(), waiting.end(), [this](Number number) { start(number); });
}

void Subscriptions::start(Number number) {
    const auto found = subscriptions_.find(number);
    if (found == subscriptions_.end() || found->second.started) {
        return;
    }
    found->second.started = true;
    notify(number, dataOf(found->second.path), sharedTimestampTail());
}

void Subscriptions::notifyAll(const std::string& path, const SharedText& data) {
    const auto found = byPath_.find(path);
    if (found == byPath_.end()) {
        return;
    }
    const SharedText tail = sharedTimestampTail();
    // A copy, because a notification that is too large ends its subscription.
    const std::vector<Number> notified(found->second.begin(), found->second.end());
    for (const Number number : notified) {
        notify(number, data, tail);
    }
}

void Subscriptions::notify(Number number, const SharedText& data, const SharedText& tail) {
    Subscription& subscription = subscriptions_.at(number);
    if (!subscription.started) {
        return;
    }
    if (faults_.takeSkipped(subscription.path.text())) {
        ++subscription.nextSequence;
        return;
    }
    std::string head = "{\"action\":\"subscription\",\"subscriptionId\":\"" + subscription.id +
                       "\",\"seq\":" + std::to_string(subscription.nextSequence) + ",\"data\":";
    if (!data || head.size() + data->size() + tail->size() > kMaximumMessage) {
        endWithError(number,
                     BusError(413, "payload_too_large",
                              "A notification of " + subscription.path.text() + " would be too large"));
        return;
    }
    ++subscription.nextSequence;
    subscription.subscriber->send(std::move(head), data, tail);
}

void Subscriptions::endWithError(Number number, const BusError& error) {
    const Subscription ended = subscriptions_.at(number);
    remove(number, error.what());
    ended.subscriber->send("{\"action\":\"subscription\",\"subscriptionId\":\"" + ended.id + "\"," +
                               errorMember(error) + timestampTail(),
                           nullptr, nullptr);
}

std::string Subscriptions::idFor(const Subscriber& subscriber, Number number) const {
    const auto own = bySubscriber_.find(&subscriber);
    const bool isRepeated = faults_.isIdRepeated && own != bySubscriber_.end() && !own->second.empty();
    return isRepeated ? subscriptions_.at(*own->second.rbegin()).id : std::to_string(number);
}

void Subscriptions::noteViolation(const Subscriber& subscriber, const std::string& text) {
    BusEvent event;
    event.kind = BusEvent::Kind::Violation;
    event.client = subscriber.client();
    event.program = subscriber.program();
    event.text = text;
    journal_.note(std::move(event));
}

void Subscriptions::remove(Number number, const std::string& reason) {
    const auto found = subscriptions_.find(number);
    const std::string path = found->second.path.text();
    const bool isCounted = found->second.counted;
    if (const auto samePath = byPath_.find(path); samePath != byPath_.end()) {
        samePath->second.erase(number);
        if (samePath->second.empty()) {
            byPath_.erase(samePath);
        }
    }
    BusEvent event;
    event.kind = BusEvent::Kind::Unsubscribed;
    event.client = found->second.subscriber->client();
    event.subscription = found->second.id;
    event.path = path;
    event.text = reason;
    bySubscriber_.at(found->second.subscriber).erase(number);
    subscriptions_.erase(found);
    if (isCounted) {
        observations_.update([&](Observations::Numbers& numbers) { --numbers.subscribers[path]; });
    }
    journal_.note(std::move(event));
}

}  // namespace zebbussim
