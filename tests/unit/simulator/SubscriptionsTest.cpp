#include <gtest/gtest.h>

#include <array>
#include <string>

#include "json/Json.h"
#include "model/BusModel.h"
#include "server/Observations.h"
#include "websocket/Subscriptions.h"

namespace {

/// Remembers the last message sent to it.
class LastMessage : public zebbussim::Subscriber {
 public:
    void send(std::string head, zebbussim::SharedText data, zebbussim::SharedText tail) override {
        text = std::move(head) + (data ? *data : "") + (tail ? *tail : "");
    }
    void sendBytes(std::string) override {}
    const std::string& service() const override { return name; }
    const std::string& program() const override { return name; }
    std::uint64_t client() const override { return 1; }

    std::string text;
    std::string name = "ClampControl";
};

TEST(SubscriptionsOfTheSimulator, EndAt16384OfOneWebSocket) {
    zebbussim::BusModel model;
    model.addService("ClampControl", R"({"clamps":[]})");
    zebbussim::Observations observations;
    zebbussim::MessageFaults faults;
    zebbussim::Journal journal;
    zebbussim::Subscriptions sut(model, observations, faults, journal, [](auto, const auto&) {});
    LastMessage subscriber;
    const auto subscribe = [&] {
        sut.receive(subscriber, R"({"action":"subscribe","path":"/ClampControl/clamps","requestId":"1"})");
        return subscriber.text;
    };
    for (int count = 1; count < 16384; ++count) {
        subscribe();
    }
    EXPECT_EQ(subscribe().find("too_many_requests"), std::string::npos);
    EXPECT_NE(subscribe().find("too_many_requests"), std::string::npos);
    sut.leave(subscriber);
}

TEST(SubscriptionsOfTheSimulator, EndAt65536OfAllWebSockets) {
    zebbussim::BusModel model;
    model.addService("ClampControl", R"({"clamps":[]})");
    zebbussim::Observations observations;
    zebbussim::MessageFaults faults;
    zebbussim::Journal journal;
    zebbussim::Subscriptions sut(model, observations, faults, journal, [](auto, const auto&) {});
    std::array<LastMessage, 5> subscribers;
    const auto subscribe = [&](LastMessage& subscriber) {
        sut.receive(subscriber, R"({"action":"subscribe","path":"/ClampControl/clamps","requestId":"1"})");
        return subscriber.text;
    };
    for (int count = 0; count < 65536; ++count) {
        subscribe(subscribers.at(static_cast<std::size_t>(count % 4)));
    }
    EXPECT_NE(subscribe(subscribers[4]).find("too_many_requests"), std::string::npos);
    for (LastMessage& subscriber : subscribers) {
        sut.leave(subscriber);
    }
}

}  // namespace
