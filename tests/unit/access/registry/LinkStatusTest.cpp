#include <gtest/gtest.h>

#include "registry/LinkStatus.h"

namespace {

constexpr const char* kAddress = "http://127.0.0.1:1/";

class LinkStatus : public testing::Test {
 protected:
    zeb::LinkStatus sut{"Lighting"};
};

TEST_F(LinkStatus, KeepsTheFailureToConnectWhileTheSameAddressIsTriedAgain) {
    sut.connectTo(kAddress);
    sut.fail("not reachable", zeb::ConnectStep::Tcp);
    sut.connectTo(kAddress);
    EXPECT_EQ(sut.get().reason, "not reachable");
}

TEST_F(LinkStatus, ForgetsTheFailureToConnectWithANewAddress) {
    sut.connectTo(kAddress);
    sut.fail("not reachable", zeb::ConnectStep::Tcp);
    sut.connectTo("http://127.0.0.1:2/");
    EXPECT_EQ(sut.get().reason, "connecting to http://127.0.0.1:2/");
}

TEST_F(LinkStatus, ForgetsThatThereWasNoAddressOnceThereIsTheSameAgain) {
    sut.connectTo(kAddress);
    sut.waitForAddress("not listed", false);
    sut.connectTo(kAddress);
    EXPECT_EQ(sut.get().reason, "connecting to http://127.0.0.1:1/");
}

TEST_F(LinkStatus, ForgetsARefusedAddressOnceTheOneBeforeIsBack) {
    sut.connectTo(kAddress);
    sut.refuse("a bad address");
    sut.connectTo(kAddress);
    EXPECT_EQ(sut.get().reason, "connecting to http://127.0.0.1:1/");
}

TEST_F(LinkStatus, TakesNoMoveForAFailure) {
    sut.connectTo(kAddress);
    sut.connected();
    sut.leave("it moved");
    EXPECT_EQ(sut.get().reason, "it moved");
    EXPECT_EQ(sut.get().lastFailure, "");
}

}  // namespace
