// Server messages, passed through the router. Each line of the input is one step: "+" subscribes, "-" ends
// the last subscription, "*" ends all, and everything else is a message.
#include <Poco/UTF8Encoding.h>
#include <zeb/ZebException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Require.h"
#include "SilentLog.h"
#include "log/FaultLog.h"
#include "log/ServiceCounters.h"
#include "websocket/ServerMessage.h"
#include "websocket/SubscriptionRouter.h"

namespace {

using fuzz::require;
using zebutil::JsonObject;
using Record = zeb::SubscriptionRouter::Record;

class CheckingConnection : public zeb::SubscriptionRouter::Connection {
 public:
    virtual ~CheckingConnection() = default;

    void send(std::string message) override {
        const auto json = JsonObject::parse(message);
        const std::string action = json->getString("action");
        require(action == "subscribe" || action == "unsubscribe", "a client sends two actions");
        require(requestIds_.insert(json->getString("requestId")).second, "a request id is used once");
    }

    void enqueue(const Record& record, std::string_view data) override {
        require(record && record->active, "only an active subscription is notified");
        require(released_.count(record.get()) == 0, "nothing is notified after its release");
        require(!data.empty(), "a notification has data");
        const auto [last, isFirst] = lastSeq_.emplace(record.get(), record->nextSeq);
        require(isFirst || record->nextSeq > last->second, "notifications count up");
        last->second = record->nextSeq;
    }

    void tellEnded(const Record& record, const std::string&) override {
        record->active = false;
        require(released_.insert(record.get()).second, "a subscription ends once");
    }

    void release(std::vector<Record> records) override {
        for (const Record& record : records) {
            require(record && !record->active, "what is released is over");
            require(released_.insert(record.get()).second, "a subscription is released once");
        }
    }

    std::size_t released() const { return released_.size(); }

 private:
    std::set<std::string> requestIds_;
    std::set<const zeb::SubscriptionRecord*> released_;
    std::map<const zeb::SubscriptionRecord*, std::int64_t> lastSeq_;
};

/// Whether the WebSocket would accept the text.
bool isUtf8(std::string_view text) {
    const Poco::UTF8Encoding encoding;
    while (!text.empty()) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
        int length = -1;  // of the sequence; negative while bytes of it are missing
        for (int given = 1; length < -1 || given == 1; given = -length) {
            if (static_cast<std::size_t>(given) > text.size()) {
                return false;
            }
            length = encoding.queryConvert(bytes, given);
            if (length >= 0 || length == -1) {
                length = length >= 0 ? given : -1;
                break;
            }
        }
        if (length <= 0 || !Poco::UTF8Encoding::isLegal(bytes, length)) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(length));
    }
    return true;
}

/// Checks that only the data may be no JSON.
void requireThatOnlyDataIsWrong(std::string_view line) {
    try {
        require(zeb::ServerMessage::read(line).data.has_value(), "what is no JSON is refused");
    } catch (const zeb::ZebException&) {
        return;
    }
}

/// Compares the envelope with the one that the JSON tree gives, if the tree accepts the text as JSON.
void compareWithTree(std::string_view line) {
    std::shared_ptr<JsonObject> tree;
    try {
        tree = JsonObject::parse(line);
    } catch (const std::exception&) {
        requireThatOnlyDataIsWrong(line);
        return;
    }
    try {
        const zeb::ServerMessage message = zeb::ServerMessage::read(line);
        require(message.action.has_value() == tree->has("action") &&
                    (!message.action || *message.action == tree->getString("action")),
                "the action is that of the tree");
        require(message.subscriptionId.has_value() == tree->has("subscriptionId") &&
                    (!message.subscriptionId || *message.subscriptionId == tree->getString("subscriptionId")),
                "the subscription id is that of the tree");
        require(message.seq.has_value() == tree->has("seq") &&
                    (!message.seq || *message.seq == tree->getInt64("seq")),
                "seq is that of the tree");
        require(message.data.has_value() == tree->has("data"), "data is there when the tree has it");
        if (message.data && tree->isObject("data")) {
            require(JsonObject::parse(*message.data)->toString() == tree->getObject("data")->toString(),
                    "data is that of the tree");
        }
    } catch (const zeb::ZebException&) {
        return;  // a member has the wrong type
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto logger = fuzz::silentLogger();
    CheckingConnection connection;
    zeb::SubscriptionRouter sut("ws://127.0.0.1/ClampControl", logger,
                                std::make_shared<zeb::FaultLog>(logger),
                                std::make_shared<zeb::ServiceCounters>(), connection);
    std::vector<Record> records;
    const auto subscribe = [&] {
        records.push_back(new zeb::SubscriptionRecord(
            "/ClampControl/clamps/1", "1", [](std::string_view) {}, nullptr));
        sut.subscribe(records.back());
    };

    subscribe();
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        if (line == "+") {
            subscribe();
        } else if (line == "-") {
            records.back()->active = false;
            sut.unsubscribe(records.back());
        } else if (line == "*") {
            sut.unsubscribeFromAll();
            require(std::none_of(records.begin(), records.end(),
                                 [](const Record& each) { return each->active.load(); }),
                    "none is active after all were ended");
        } else if (isUtf8(line)) {
            compareWithTree(line);
            try {
                sut.route(line);
            } catch (const zeb::ZebException&) {
                break;  // the connection is closed
            }
        }
    }
    const std::size_t taken = sut.takeAll().size();
    require(taken + connection.released() <= records.size(), "no subscription is there twice");
    require(sut.takeAll().empty(), "what was taken is gone");
    return 0;
}
