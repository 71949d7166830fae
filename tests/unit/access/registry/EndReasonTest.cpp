#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "registry/EndReason.h"

namespace {

zeb::ServiceEndpoint endpointAt(const std::string& uri, const std::string& path = "/") {
    return zeb::ServiceEndpoint::of(uri, path, "test");
}

const zeb::ServiceEndpoint kBefore = endpointAt("http://a:39");

TEST(EndReason, SaysThatAConnectionHasFailed) {
    EXPECT_EQ(zeb::EndReason::failed("it broke").ofConnection(), "disconnected: it broke");
}

TEST(EndReason, SaysThatAnAttemptHasFailed) {
    EXPECT_EQ(zeb::EndReason::failed("refused").ofAttempt(kBefore), "not reachable at http://a:39: refused");
}

TEST(EndReason, DoesNotCallAServiceUnreachableBecauseItHasMoved) {
    const auto sut = zeb::EndReason::moved(kBefore, endpointAt("http://a:40"), "");
    EXPECT_EQ(sut.ofAttempt(kBefore), "no longer tried at http://a:39: it moved to http://a:40/");
}

TEST(EndReason, NamesTheBasePathThatAServiceHasMovedTo) {
    const auto sut = zeb::EndReason::moved(kBefore, endpointAt("http://a:39", "/bus"), "");
    EXPECT_EQ(sut.text(), "it moved to http://a:39/bus/");
}

TEST(EndReason, SaysThatAServiceHasLeft) {
    EXPECT_EQ(zeb::EndReason::moved(kBefore, std::nullopt, "").text(), "it left the service registry");
}

TEST(EndReason, SaysThatTheNewAddressIsRefused) {
    EXPECT_EQ(zeb::EndReason::moved(kBefore, std::nullopt, "not https").text(),
              "its new address is refused: not https");
}

TEST(EndReason, SaysThatSomethingElseOfTheConnectionHasChanged) {
    zeb::ServiceEndpoint now = kBefore;
    now.separator = "/";
    EXPECT_EQ(zeb::EndReason::moved(kBefore, now, "").text(), "its configuration has changed");
}

}  // namespace
