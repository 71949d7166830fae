// Requests to the simulator. Each line of the input is one: a WebSocket message if it begins with "{",
// otherwise an HTTP request of method, target and body, separated by blanks.
#include <http/HttpRequests.h>
#include <http/RequestTarget.h>
#include <json/Json.h>
#include <model/BusError.h>
#include <model/BusModel.h>
#include <server/BusContext.h>
#include <server/Observations.h>
#include <websocket/Subscriptions.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "Require.h"

namespace {

using fuzz::require;

void requireMessage(const std::string& text) {
    try {
        require(zebutil::JsonObject::parse(text)->has("ts"), "every message has its time");
    } catch (const zebutil::JsonException&) {
        require(false, "whatever the bus sends is JSON");
    }
}

class CheckingSubscriber : public zebbussim::Subscriber {
 public:
    void send(std::string head, zebbussim::SharedText data, zebbussim::SharedText tail) override {
        requireMessage(head + (data ? *data : "") + (tail ? *tail : ""));
    }
    void sendBytes(std::string) override { require(false, "a bus without faults sends messages only"); }
    const std::string& service() const override { return service_; }
    const std::string& program() const override { return service_; }
    std::uint64_t client() const override { return 1; }

 private:
    const std::string service_ = "ClampControl";
};

/// Notifies the subscriptions, as the simulator does.
class Notifier : public zebbussim::BusListener {
 public:
    explicit Notifier(zebbussim::Subscriptions& subscriptions) : subscriptions_(subscriptions) {}
    void elementChanged(const zebbussim::BusPath& path, const zebbussim::Element& element) override {
        subscriptions_.notifyElement(path, element);
    }
    void elementAdded(const zebbussim::BusPath& path) override { subscriptions_.notifyCollection(path); }
    void elementRemoved(const zebbussim::BusPath& path) override { subscriptions_.endElement(path); }
    void servicesChanged() override {}
    void serviceChanged(const std::string&) override {}
    void serviceClosed(const std::string&) override {}

 private:
    zebbussim::Subscriptions& subscriptions_;
};

const std::string& initialService() {
    static const std::string json = zebbussim::readJsonObject(
        R"({"clamps":[{"id":"15","name":"Clamp15","type":"Clamp15","isSwitchedOn":true},)"
        R"({"id":"S","type":"ClampS","isSwitchedOn":false,"see":{"uri":"/ClampControl/clamps/15"}}],)"
        R"("notifications":[]})",
        "The service");
    return json;
}

zebbussim::HttpAnswer answerTo(zebbussim::BusModel& model, const std::string& method,
                               const std::string& target, const std::string& body) {
    try {
        return answerHttpRequest(model, method, zebbussim::parseRequestTarget(target, "/bus/"), body);
    } catch (const zebbussim::BusError& error) {
        return zebbussim::errorAnswer(error);
    }
}

std::string upToBlank(std::string_view& rest) {
    const std::string_view part = rest.substr(0, rest.find(' '));
    rest.remove_prefix(std::min(rest.size(), part.size() + 1));
    return std::string(part);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zebbussim::BusModel model;
    zebbussim::Observations observations;
    zebbussim::MessageFaults noFaults;
    zebbussim::Journal journal;
    zebbussim::Subscriptions subscriptions(model, observations, noFaults, journal,
                                           [](std::chrono::milliseconds, const std::function<void()>&) {});
    Notifier notifier(subscriptions);
    model.addService("ClampControl", initialService());
    model.setListener(&notifier);
    CheckingSubscriber client;

    std::string_view rest(reinterpret_cast<const char*>(data), size);
    // A client may send any number of requests; what is limited is the cost of each.
    constexpr int kMostRequests = 2000;
    for (int request = 0; request < kMostRequests && !rest.empty(); ++request) {
        std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        if (line.empty() || line.front() == '{') {
            subscriptions.receive(client, std::string(line));
            continue;
        }
        const std::string method = upToBlank(line);
        const std::string target = upToBlank(line);
        if (!std::all_of(method.begin(), method.end(),
                         [](char each) { return each >= 'A' && each <= 'Z'; })) {
            continue;  // the HTTP parser does not accept such a method
        }
        const auto answer = answerTo(model, method, target, std::string(line));
        require(answer.status >= 200 && answer.status != 500, "a request cannot break the bus");
        requireMessage(answer.body);
    }
    subscriptions.leave(client);
    require(subscriptions.subscribersOf("/ClampControl/clamps/15").empty(), "a client that left has nothing");
    return 0;
}
