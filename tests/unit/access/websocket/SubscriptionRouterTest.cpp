#include <RecordingLogger.h>
#include <gtest/gtest.h>
#include <zeb/ZebException.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

    RecordingConnection connection;
    zeb::SubscriptionRouter sut{"ws://bus",
                                std::make_shared<test_support::RecordingLogger>(
                                    std::make_shared<test_support::RecordedLog>(), "test"),
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
    sut.route(R"({"action":"subscription","subscriptionId":"12","error":{"number":404}})");
    EXPECT_EQ(connection.ended, std::vector<std::string>{R"({"number":404})"});
}

TEST_F(SubscriptionRouter, TellsTheUserWhenTheServerRefusesTheSubscription) {
    sut.subscribe(record);
    sut.route(R"({"action":"subscribe","requestId":"2","error":{"number":503}})");
    EXPECT_EQ(connection.ended, std::vector<std::string>{R"({"number":503})"});
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

}  // namespace
