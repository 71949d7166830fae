#include <gtest/gtest.h>
#include <zeb/ZebException.h>

#include <chrono>
#include <stdexcept>

#include "PercentEncoding.h"
#include "ReconnectBackoff.h"
#include "ServiceEndpoint.h"
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

class NotificationQueueTest : public testing::Test {
 protected:
    void push(std::size_t count, std::size_t size) {
        for (std::size_t number = 0; number < count; ++number) {
            sut.push({nullptr, std::string(size, 'x')});
        }
    }

    zeb::NotificationQueue sut;
};

TEST_F(NotificationQueueTest, WantsTheExecutorToldOnlyWhenItWasEmpty) {
    EXPECT_TRUE(sut.push({nullptr, "a"}));
    EXPECT_FALSE(sut.push({nullptr, "b"}));
    std::vector<zeb::NotificationQueue::Notification> batch;
    sut.takeAll(batch);
    EXPECT_TRUE(sut.push({nullptr, "c"}));
}

TEST_F(NotificationQueueTest, IsFullWithMoreThan1024Notifications) {
    push(1024, 1);
    EXPECT_FALSE(sut.isFull());
    push(1, 1);
    EXPECT_TRUE(sut.isFull());
}

TEST_F(NotificationQueueTest, HasRoomAgainBelow256Undelivered) {
    push(1025, 1);
    for (int number = 0; number < 1025 - 256; ++number) {
        sut.delivered(1);
    }
    EXPECT_FALSE(sut.hasRoom());
    sut.delivered(1);
    EXPECT_TRUE(sut.hasRoom());
}

TEST_F(NotificationQueueTest, IsFullWithMoreThanFourMebibytesToo) {
    push(4, std::size_t{1024} * 1024);
    EXPECT_FALSE(sut.isFull());
    push(1, 1);
    EXPECT_TRUE(sut.isFull());
}

}  // namespace
