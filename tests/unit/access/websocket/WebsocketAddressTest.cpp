#include <gtest/gtest.h>
#include <zeb/ZebException.h>

#include "websocket/WebsocketAddress.h"

namespace {

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

}  // namespace
