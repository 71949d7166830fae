#include <RecordingLogger.h>
#include <gtest/gtest.h>
#include <zeb/ZebException.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "log/FaultLog.h"
#include "log/ServiceCounters.h"
#include "websocket/SubscriptionRouter.h"

namespace {

using Record = zeb::SubscriptionRouter::Record;

class RecordingConnection : public zeb::SubscriptionRouter::Connection {
 public:
    virtual ~RecordingConnection() = default;

    void send(std::string message) override { sent.push_back(std::move(message)); }
    void enqueue(const Record&, std::string_view data) override { enqueued.emplace_back(data); }
    void tellEnded(const Record&, const std::string& reason) override { ended.push_back(reason); }
    void release(std::vector<Record> records) override { released += records.size(); }

    std::vector<std::string> sent;
    std::vector<std::string> enqueued;
    std::vector<std::string> ended;
    std::size_t released = 0;
};

class SubscriptionRouter : public testing::Test {
 protected:
    SubscriptionRouter() {
        sut.subscribe(record);
        sut.route(R"({"action":"subscribe","requestId":"1","subscriptionId":"12"})");
    }

    void notify(const std::string& seq) {
        sut.route(R"({"action":"subscription","subscriptionId":"12","data":{},"seq":)" + seq + "}");
    }

    // How many lines there are that somebody will read.
    std::size_t linesTold() const { return log->count("error ") + log->count("warning "); }

    RecordingConnection connection;
    const std::shared_ptr<test_support::RecordedLog> log = std::make_shared<test_support::RecordedLog>();
    const std::shared_ptr<test_support::RecordingLogger> logger =
        std::make_shared<test_support::RecordingLogger>(log, "test");
    const std::shared_ptr<zeb::ServiceCounters> counters = std::make_shared<zeb::ServiceCounters>();
    zeb::SubscriptionRouter sut{"ws://bus", logger, std::make_shared<zeb::FaultLog>(logger), counters,
                                connection};
    const Record record = new zeb::SubscriptionRecord(
        "/a/b/1", "1", [](std::string_view) {}, nullptr);
};

TEST_F(SubscriptionRouter, EnqueuesWhatItsSubscriptionIsNotifiedOf) {
    notify("0");
    notify("1");
    EXPECT_EQ(connection.enqueued.size(), 2U);
}

TEST_F(SubscriptionRouter, LeavesOutWhatWasToldBefore) {
    notify("0");
    notify("0");
    EXPECT_EQ(connection.enqueued.size(), 1U);
}

TEST_F(SubscriptionRouter, RefusesTheLargestSeqSinceNoneCanFollow) {
    EXPECT_THROW(notify("9223372036854775807"), zeb::ZebException);
}

TEST_F(SubscriptionRouter, TellsTheUserWhenTheServerEndsTheSubscription) {
    sut.route(R"({"action":"subscription","subscriptionId":"12","error":{"number":404,"reason":"gone"}})");
    EXPECT_EQ(connection.ended, std::vector<std::string>{"404 gone"});
}

// What was queued before is still for its handler.
TEST_F(SubscriptionRouter, MarksASubscriptionThatTheServerEndsBeforeItsUserIsTold) {
    sut.route(R"({"action":"subscription","subscriptionId":"12","error":{"number":404}})");
    EXPECT_TRUE(record->isEndedByServer);
    EXPECT_TRUE(record->active);
}

TEST_F(SubscriptionRouter, TellsTheUserWhenTheServerRefusesTheSubscription) {
    sut.subscribe(record);
    sut.route(R"({"action":"subscribe","requestId":"2","error":{"number":503,"reason":"busy"}})");
    EXPECT_EQ(connection.ended, std::vector<std::string>{"503 busy"});
}

TEST_F(SubscriptionRouter, MarksASubscriptionThatTheServerRefuses) {
    const Record refused = new zeb::SubscriptionRecord(
        "/a/b/2", "2", [](std::string_view) {}, nullptr);
    sut.subscribe(refused);
    sut.route(R"({"action":"subscribe","requestId":"2","error":{"number":503}})");
    EXPECT_TRUE(refused->isEndedByServer);
}

TEST_F(SubscriptionRouter, ReleasesAnEndedSubscriptionOnce) {
    sut.unsubscribe(record);
    sut.unsubscribe(record);
    EXPECT_EQ(connection.released, 1U);
}

// The server may never answer.
TEST_F(SubscriptionRouter, ReleasesASubscriptionThatEndsBeforeItsAnswer) {
    const Record early = new zeb::SubscriptionRecord(
        "/a/b/2", "2", [](std::string_view) {}, nullptr);
    sut.subscribe(early);
    sut.unsubscribe(early);
    EXPECT_EQ(connection.released, 1U);
    EXPECT_EQ(early->holds, 1U);
}

TEST_F(SubscriptionRouter, EndsASubscriptionAtTheServerWhenItsAnswerComesTooLate) {
    const Record early = new zeb::SubscriptionRecord(
        "/a/b/2", "2", [](std::string_view) {}, nullptr);
    sut.subscribe(early);
    sut.unsubscribe(early);
    sut.route(R"({"action":"subscribe","requestId":"2","subscriptionId":"13"})");
    EXPECT_NE(connection.sent.back().find(R"("subscriptionId":"13")"), std::string::npos);
    EXPECT_NE(connection.sent.back().find("unsubscribe"), std::string::npos);
}

// As many as a bus can have subscriptions are asked for, whether or not the server answers.
TEST_F(SubscriptionRouter, FailsWhenTheServerAnswersTooFewRequests) {
    for (std::size_t request = 0; request < zeb::SubscriptionRouter::kMostUnanswered; ++request) {
        sut.subscribe(record);
    }
    EXPECT_THROW(sut.subscribe(record), zeb::ZebException);
}

TEST_F(SubscriptionRouter, CountsRequestsThatNobodyWantsAnsweredAnyMore) {
    for (std::size_t request = 0; request < zeb::SubscriptionRouter::kMostUnanswered; ++request) {
        sut.subscribe(record);
    }
    sut.unsubscribeFromAll();
    record->active = true;
    EXPECT_THROW(sut.subscribe(record), zeb::ZebException);
}

TEST_F(SubscriptionRouter, TakesASubscriptionIdOf256Bytes) {
    sut.subscribe(record);
    EXPECT_NO_THROW(sut.route(R"({"action":"subscribe","requestId":"2","subscriptionId":")" +
                              std::string(256, 'x') + "\"}"));
}

TEST_F(SubscriptionRouter, RefusesALongerSubscriptionId) {
    sut.subscribe(record);
    EXPECT_THROW(sut.route(R"({"action":"subscribe","requestId":"2","subscriptionId":")" +
                           std::string(257, 'x') + "\"}"),
                 zeb::ZebException);
}

// The texts differ: what changes from message to message must not make them new causes.
struct Fault {
    const char* name;
    std::function<std::string(const std::string& number)> message;
};

class SubscriptionRouterLog : public SubscriptionRouter, public testing::WithParamInterface<Fault> {};

TEST_P(SubscriptionRouterLog, HasAFaultOnceHoweverOftenItComes) {
    for (int number = 1; number <= 100; ++number) {
        sut.route(GetParam().message(std::to_string(10 * number)));
    }
    EXPECT_EQ(linesTold(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Of, SubscriptionRouterLog,
    testing::Values(Fault{"AGap",
                          [](const std::string& number) {
                              return R"({"action":"subscription","subscriptionId":"12","data":{},"seq":)" +
                                     number + "}";
                          }},
                    Fault{"ARepetition",
                          [](const std::string& number) {
                              return R"({"action":"subscription","subscriptionId":"12","data":{},"seq":-)" +
                                     number + "}";
                          }},
                    Fault{"AnUnknownAction",
                          [](const std::string& number) { return R"({"action":"dance)" + number + "\"}"; }},
                    Fault{"ARefusedMessage",
                          [](const std::string& number) { return R"({"error":{"number":)" + number + "}}"; }},
                    Fault{"ARefusedRequest",
                          [](const std::string& number) {
                              return R"({"action":"subscribe","error":{"number":)" + number + "}}";
                          }},
                    Fault{"AnAnswerToAnUnknownRequest",
                          [](const std::string& number) {
                              return R"({"action":"subscribe","subscriptionId":"1","requestId":"x)" + number +
                                     "\"}";
                          }}),
    [](const auto& testCase) { return testCase.param.name; });

TEST_F(SubscriptionRouter, LogsARefusedSubscriptionOnceHoweverOftenItIsTried) {
    for (int number = 2; number <= 101; ++number) {
        sut.subscribe(record);
        sut.route(R"({"action":"subscribe","requestId":")" + std::to_string(number) +
                  R"(","error":{"number":503,"message":"at )" + std::to_string(number) + "\"}}");
    }
    EXPECT_EQ(linesTold(), 1U);
}

TEST_F(SubscriptionRouter, LogsASubscriptionThatTheServerEndsOnceHoweverOftenItDoes) {
    for (int number = 2; number <= 101; ++number) {
        const std::string id = std::to_string(number);
        const std::string subscription = "s" + id;
        sut.subscribe(new zeb::SubscriptionRecord(
            "/a/b/1", "1", [](std::string_view) {}, nullptr));
        sut.route(R"({"action":"subscribe","requestId":")" + id + R"(","subscriptionId":")" + subscription +
                  "\"}");
        sut.route(R"({"action":"subscription","subscriptionId":")" + subscription +
                  R"(","error":{"number":404,"message":"at )" + id + "\"}}");
    }
    EXPECT_EQ(linesTold(), 1U);
}

TEST_F(SubscriptionRouter, LogsARefusalForAnotherReason) {
    sut.subscribe(record);
    sut.route(R"({"action":"subscribe","requestId":"2","error":{"number":503}})");
    sut.subscribe(record);
    sut.route(R"({"action":"subscribe","requestId":"3","error":{"number":404}})");
    EXPECT_EQ(linesTold(), 2U);
}

TEST_F(SubscriptionRouter, ShowsOnlyTheBeginningOfALongPath) {
    sut.subscribe(new zeb::SubscriptionRecord(
        std::string(100'000, 'x'), "1", [](std::string_view) {}, nullptr));
    sut.route(R"({"action":"subscribe","requestId":"2","error":{"message":"the reason"}})");
    EXPECT_EQ(log->count("the reason"), 1U);
    for (const std::string& line : log->lines()) {
        EXPECT_LT(line.size(), 1000U);
    }
}

TEST_F(SubscriptionRouter, DoesNotHideAGapBehindRepetitions) {
    notify("0");
    notify("0");
    notify("7");
    EXPECT_TRUE(log->contains("error test: notification of /a/b/1 out of order: expected seq 1, got 7"));
}

}  // namespace
