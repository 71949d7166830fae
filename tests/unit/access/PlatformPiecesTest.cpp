#include <gtest/gtest.h>
#include <zeb/ZebException.h>

#include <chrono>
#include <stdexcept>

#include "http/PercentEncoding.h"
#include "registry/ReconnectBackoff.h"
#include "registry/ServiceEndpoint.h"
#include "websocket/NotificationBatch.h"
#include "websocket/NotificationQueue.h"
#include "websocket/WebsocketAddress.h"

namespace {

using std::chrono::milliseconds;

TEST(ReconnectBackoff, NeverExceedsACeilingThatDoublesFrom100MillisecondsTo5Seconds) {
    for (std::uint32_t seed = 0; seed < 200; ++seed) {
        zeb::ReconnectBackoff sut(seed);
        for (const int ceiling : {100, 200, 400, 800, 1600, 3200, 5000, 5000}) {
            const milliseconds delay = sut.next();
            EXPECT_GE(delay, milliseconds(0));
            EXPECT_LE(delay, milliseconds(ceiling));
        }
    }
}

TEST(ReconnectBackoff, UsesTheWholeRangeBelowItsCeiling) {
    milliseconds least(5000);
    milliseconds most(0);
    for (std::uint32_t seed = 0; seed < 2000; ++seed) {
        const milliseconds delay = zeb::ReconnectBackoff(seed * 7919).next();
        least = std::min(least, delay);
        most = std::max(most, delay);
    }
    EXPECT_LE(least, milliseconds(10));
    EXPECT_GE(most, milliseconds(90));
}

TEST(ReconnectBackoff, StillAnswersAfterThousandsOfAttempts) {
    zeb::ReconnectBackoff sut(1);
    for (int attempt = 0; attempt < 10'000; ++attempt) {
        const milliseconds delay = sut.next();
        ASSERT_TRUE(delay >= milliseconds(0) && delay <= milliseconds(5000)) << delay.count();
    }
}

TEST(ReconnectBackoff, BeginsAnewAfterAReset) {
    zeb::ReconnectBackoff sut(1);
    for (int attempt = 0; attempt < 10; ++attempt) {
        sut.next();
    }
    sut.reset();
    EXPECT_LE(sut.next(), milliseconds(100));
}

TEST(PercentEncoding, KeepsUnreservedCharactersAndEncodesAllOthers) {
    EXPECT_EQ(zeb::percentEncode("aZ09-._~"), "aZ09-._~");
    EXPECT_EQ(zeb::percentEncode("a/b?c=d&e f%+$,\xC3\xA4"), "a%2Fb%3Fc%3Dd%26e%20f%25%2B%24%2C%C3%A4");
}

TEST(ServiceEndpoint, BringsABasePathIntoOneForm) {
    EXPECT_EQ(zeb::ServiceEndpoint::of("http://127.0.0.1:1", "").basePath, "/");
    EXPECT_EQ(zeb::ServiceEndpoint::of("http://127.0.0.1:1", "bus").basePath, "/bus/");
    EXPECT_EQ(zeb::ServiceEndpoint::of("http://127.0.0.1:1", "/bus/").basePath, "/bus/");
}

TEST(ServiceEndpoint, DropsTheSlashAfterABaseUri) {
    EXPECT_EQ(zeb::ServiceEndpoint::of("http://127.0.0.1:8080/", "/").serverBaseUri, "http://127.0.0.1:8080");
}

TEST(ServiceEndpoint, PutsTheWebSocketAtTheBasePathWithTheServicesName) {
    EXPECT_EQ(zeb::ServiceEndpoint::of("http://[::1]:8080", "/bus").websocketUri("Clamp Control"),
              "ws://[::1]:8080/bus/Clamp%20Control");
}

TEST(ServiceEndpoint, RefusesWhatIsNoBaseUri) {
    for (const char* uri :
         {"", "/", "127.0.0.1:80", "ftp://host", "http://", "http://host/path", "http://host:port"}) {
        EXPECT_THROW(zeb::ServiceEndpoint::of(uri, "/"), zeb::ZebException) << uri;
    }
}

TEST(WebsocketAddress, TakesAUriApart) {
    const zeb::WebsocketAddress sut = zeb::WebsocketAddress::parse("ws://127.0.0.1:8080/bus/ClampControl");
    EXPECT_EQ(sut.host, "127.0.0.1");
    EXPECT_EQ(sut.port, "8080");
    EXPECT_EQ(sut.hostHeader, "127.0.0.1:8080");
    EXPECT_EQ(sut.target, "/bus/ClampControl");
}

TEST(WebsocketAddress, KnowsIpv6AddressesAndTheDefaultPort) {
    const zeb::WebsocketAddress sut = zeb::WebsocketAddress::parse("ws://[::1]/ClampControl");
    EXPECT_EQ(sut.host, "::1");
    EXPECT_EQ(sut.port, "80");
    EXPECT_EQ(sut.hostHeader, "[::1]");
}

TEST(WebsocketAddress, RefusesOtherSchemes) {
    EXPECT_THROW(zeb::WebsocketAddress::parse("http://127.0.0.1/"), zeb::ZebException);
}

TEST(ZebException, ReadsOriginThenMessage) {
    EXPECT_STREQ(zeb::ZebException("find first failed", "unknown").what(),
                 "ZebException: unknown find first failed");
}

TEST(ZebException, AppendsItsCause) {
    const std::runtime_error cause("no route");
    EXPECT_STREQ(zeb::ZebException("find first failed", "unknown", &cause).what(),
                 "ZebException: unknown find first failed reason: no route");
}

zeb::SubscriptionRecord::Hold subscription(const std::string& path,
                                           zeb::IWebsocketManager::DataHandler handler = nullptr) {
    return new zeb::SubscriptionRecord(path, "1", std::move(handler), nullptr);
}

/// Path and payload of each notification, in the order of delivery.
std::vector<std::string> deliver(zeb::NotificationBatch& batch) {
    std::vector<std::string> delivered;
    batch.deliverAll([&](const zeb::SubscriptionRecord& record, std::string_view data) {
        delivered.push_back(record.path + " " + std::string(data));
    });
    return delivered;
}

class NotificationBatchTest : public testing::Test {
 protected:
    const zeb::SubscriptionRecord::Hold lamp = subscription("lamp");
    const zeb::SubscriptionRecord::Hold horn = subscription("horn");
    zeb::NotificationBatch sut;
};

TEST_F(NotificationBatchTest, DeliversInTheOrderInWhichItWasFilled) {
    sut.push(lamp, "on");
    sut.push(lamp, "");
    sut.push(horn, "loud");
    sut.push(lamp, "off");
    EXPECT_EQ(deliver(sut), (std::vector<std::string>{"lamp on", "lamp ", "horn loud", "lamp off"}));
}

TEST_F(NotificationBatchTest, DeliversNothingTwice) {
    sut.push(lamp, "on");
    deliver(sut);
    EXPECT_TRUE(sut.isEmpty());
    sut.push(horn, "loud");
    EXPECT_EQ(deliver(sut), std::vector<std::string>{"horn loud"});
}

TEST_F(NotificationBatchTest, PutsWhatIsAppendedBehindItsOwn) {
    sut.push(lamp, "on");
    zeb::NotificationBatch later;
    later.push(lamp, "off");
    later.push(horn, "loud");
    sut.append(later);
    EXPECT_TRUE(later.isEmpty());
    EXPECT_EQ(deliver(sut), (std::vector<std::string>{"lamp on", "lamp off", "horn loud"}));
}

TEST_F(NotificationBatchTest, LetsGoOfASubscriptionBeforeAnotherOnesHandlerRuns) {
    auto ofTheHandler = std::make_shared<int>();
    const std::weak_ptr<int> ended = ofTheHandler;
    sut.push(subscription("lamp", [held = std::move(ofTheHandler)](std::string_view) {}), "on");
    sut.push(horn, "loud");
    std::vector<bool> isHeld;
    sut.deliverAll(
        [&](const zeb::SubscriptionRecord&, std::string_view) { isHeld.push_back(!ended.expired()); });
    EXPECT_EQ(isHeld, (std::vector<bool>{true, false}));
}

TEST_F(NotificationBatchTest, IsEmptyAfterADeliveryThatThrew) {
    sut.push(lamp, "on");
    EXPECT_THROW(sut.deliverAll([](const zeb::SubscriptionRecord&, std::string_view) {
        throw std::runtime_error("no");
    }),
                 std::runtime_error);
    EXPECT_TRUE(sut.isEmpty());
}

class NotificationQueueTest : public testing::Test {
 protected:
    void push(std::size_t count, std::size_t size) {
        for (std::size_t number = 0; number < count; ++number) {
            sut.push(lamp, std::string(size, 'x'));
        }
    }

    void deliver(std::size_t count) {
        for (std::size_t number = 0; number < count; ++number) {
            sut.delivered();
        }
    }

    const zeb::SubscriptionRecord::Hold lamp = subscription("lamp");
    zeb::NotificationQueue sut;
};

TEST_F(NotificationQueueTest, WantsTheExecutorToldOnlyWhenNothingWaitedForIt) {
    push(1, 1);
    EXPECT_TRUE(sut.handOver());
    push(1, 1);
    EXPECT_FALSE(sut.handOver());
    zeb::NotificationBatch batch;
    sut.takeAll(batch);
    push(1, 1);
    EXPECT_TRUE(sut.handOver());
}

TEST_F(NotificationQueueTest, HasNothingToTellWhenNothingWasPushed) {
    EXPECT_FALSE(sut.handOver());
}

TEST_F(NotificationQueueTest, GivesWhatSeveralHandOversBroughtAtOnceAndInOrder) {
    sut.push(lamp, "on");
    sut.handOver();
    sut.push(lamp, "off");
    sut.handOver();
    zeb::NotificationBatch batch;
    sut.takeAll(batch);
    EXPECT_EQ(::deliver(batch), (std::vector<std::string>{"lamp on", "lamp off"}));
}

TEST_F(NotificationQueueTest, KeepsBackWhatWasNotHandedOver) {
    push(1, 1);
    zeb::NotificationBatch batch;
    sut.takeAll(batch);
    EXPECT_TRUE(batch.isEmpty());
}

TEST_F(NotificationQueueTest, IsFullWithMoreThan1024Notifications) {
    push(1024, 1);
    EXPECT_FALSE(sut.isFull());
    push(1, 1);
    EXPECT_TRUE(sut.isFull());
}

TEST_F(NotificationQueueTest, IsNotFullOfWhatWasDelivered) {
    push(1025, 1);
    sut.handOver();
    deliver(1);
    EXPECT_FALSE(sut.isFull());
    push(1, 1);
    EXPECT_TRUE(sut.isFull());
}

TEST_F(NotificationQueueTest, HasRoomAgainBelow256Undelivered) {
    push(1025, 1);
    sut.handOver();
    deliver(1025 - 256);
    EXPECT_FALSE(sut.hasRoom());
    deliver(1);
    EXPECT_TRUE(sut.hasRoom());
}

TEST_F(NotificationQueueTest, HasRoomAgainBelowOneMebibyteThatIsStillHeld) {
    push(5, std::size_t{1024} * 1024);
    sut.handOver();
    deliver(5);
    sut.released(std::size_t{4} * 1024 * 1024);
    EXPECT_FALSE(sut.hasRoom());
    sut.released(1);
    EXPECT_TRUE(sut.hasRoom());
}

TEST_F(NotificationQueueTest, IsFullWithMoreThanFourMebibytesToo) {
    push(4, std::size_t{1024} * 1024);
    EXPECT_FALSE(sut.isFull());
    push(1, 1);
    EXPECT_TRUE(sut.isFull());
}

}  // namespace
