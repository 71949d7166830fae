#include <gtest/gtest.h>
#include <zeb/ZebException.h>

#include <string>

#include "websocket/WebsocketAddress.h"

namespace {

TEST(WebsocketAddress, TakesAUriApart) {
    const zeb::WebsocketAddress sut = zeb::WebsocketAddress::parse("ws://127.0.0.1:8080/bus/ClampControl");
    EXPECT_EQ(sut.host, "127.0.0.1");
    EXPECT_EQ(sut.port, "8080");
    EXPECT_EQ(sut.hostHeader, "127.0.0.1:8080");
    EXPECT_EQ(sut.target, "/bus/ClampControl");
    EXPECT_FALSE(sut.isSecure);
}

TEST(WebsocketAddress, KnowsIpv6AddressesAndTheDefaultPort) {
    const zeb::WebsocketAddress sut = zeb::WebsocketAddress::parse("ws://[::1]/ClampControl");
    EXPECT_EQ(sut.host, "::1");
    EXPECT_EQ(sut.port, "80");
    EXPECT_EQ(sut.hostHeader, "[::1]");
}

TEST(WebsocketAddress, KeepsTheZoneOfAnAddressToThisMachine) {
    const zeb::WebsocketAddress sut = zeb::WebsocketAddress::parse("wss://[fe80::1%25eth0]:1/ClampControl");
    EXPECT_EQ(sut.host, "fe80::1%eth0");
    EXPECT_EQ(sut.name, "fe80::1");
    EXPECT_EQ(sut.hostHeader, "[fe80::1]:1");
}

TEST(WebsocketAddress, KnowsTheServiceByTheLastSegment) {
    EXPECT_EQ(zeb::WebsocketAddress::parse("ws://host/bus/Clamp%20Control").service, "Clamp Control");
}

TEST(WebsocketAddress, RefusesOtherSchemes) {
    EXPECT_THROW(zeb::WebsocketAddress::parse("http://127.0.0.1/"), zeb::ZebException);
    EXPECT_THROW(zeb::WebsocketAddress::parse("wsx://127.0.0.1/"), zeb::ZebException);
}

TEST(WebsocketAddress, RefusesWhatWouldChangeTheRequest) {
    for (const char* uri : {"ws://host/a\r\nX: y", "ws://host/a b", "ws://host/a#b", "ws://host/%zz",
                            "ws://ho st/a", "ws://user:pw@host/a", "ws:///a", "ws://host:0/a"}) {
        EXPECT_THROW(zeb::WebsocketAddress::parse(uri), zeb::ZebException) << uri;
    }
}

TEST(WebsocketAddress, NeverShowsAPassword) {
    for (const char* uri : {"ws://user:secret@host/a", "ws://user:sec/secret@host/a"}) {
        try {
            zeb::WebsocketAddress::parse(uri);
            FAIL() << uri;
        } catch (const zeb::ZebException& exception) {
            EXPECT_EQ(std::string(exception.what()).find("sec"), std::string::npos) << exception.what();
        }
    }
}

}  // namespace
