#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Invariants.h"

namespace {

using soak::CallbackInvariants;
using soak::CountingSubscription;

class SoakInvariants : public testing::Test {
 protected:
    void subscribed() {
        sut.connectionState(true);
        sut.subscribeBegins();
        sut.subscribeReturned(false);
        sut.settled();
    }
    void told(bool isOn) {
        sut.notification();
        sut.state(isOn);
    }

    std::vector<std::string> broken;
    CallbackInvariants sut{[this](const std::string& text) { broken.push_back(text); }};
};

TEST_F(SoakInvariants, AreKeptByAnOrdinaryLife) {
    subscribed();
    told(false);
    told(true);
    sut.connectionState(false);
    subscribed();
    told(true);
    sut.unsubscribeReturned();
    sut.settled();
    sut.clientEnded();
    EXPECT_TRUE(broken.empty());
}

TEST_F(SoakInvariants, AreBrokenByTwoConnectsInARow) {
    sut.connectionState(true);
    sut.connectionState(true);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakInvariants, AreBrokenByADisconnectAtTheBeginning) {
    sut.connectionState(false);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakInvariants, AreBrokenByALostState) {
    subscribed();
    told(true);
    told(true);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakInvariants, AreBrokenByANotificationWithoutState) {
    subscribed();
    sut.notification();
    sut.notification();
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakInvariants, AreBrokenByANotificationOutsideAConnection) {
    subscribed();
    sut.connectionState(false);
    sut.notification();
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakInvariants, AreBrokenByASubscriptionThatOutlivesItsConnection) {
    subscribed();
    sut.connectionState(false);
    sut.connectionState(true);
    sut.notification();
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakInvariants, AllowOneCallThatHadBegunWhenUnsubscribeReturned) {
    subscribed();
    sut.unsubscribeReturned();
    sut.notification();
    EXPECT_TRUE(broken.empty());
}

TEST_F(SoakInvariants, AreBrokenByTwoCallsAfterUnsubscribeReturned) {
    subscribed();
    sut.unsubscribeReturned();
    told(true);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakInvariants, AreBrokenByACallLongAfterUnsubscribeReturned) {
    subscribed();
    sut.unsubscribeReturned();
    sut.settled();
    sut.notification();
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakInvariants, AreBrokenByACallOfASubscriptionThatWasRefused) {
    sut.connectionState(true);
    sut.subscribeBegins();
    sut.notification();
    sut.subscribeReturned(true);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakInvariants, AllowARepeatedStateWhereOneSubscriptionReplacesAnother) {
    subscribed();
    told(true);
    sut.subscribeBegins();
    told(true);
    sut.subscribeReturned(false);
    EXPECT_TRUE(broken.empty());
}

TEST_F(SoakInvariants, AreBrokenByAnyCallAfterTheEnd) {
    subscribed();
    sut.clientEnded();
    sut.connectionState(false);
    EXPECT_EQ(broken.size(), 1U);
}

class SoakCountingSubscription : public testing::Test {
 protected:
    std::vector<std::string> broken;
    CountingSubscription sut{[this](const std::string& text) { broken.push_back(text); }};
};

TEST_F(SoakCountingSubscription, MayBeginAnywhereAndCountsUp) {
    sut.told(7);
    sut.told(8);
    EXPECT_TRUE(broken.empty());
}

TEST_F(SoakCountingSubscription, SeesALostValue) {
    sut.told(7);
    sut.told(9);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakCountingSubscription, SeesARepeatedValue) {
    sut.told(7);
    sut.told(7);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakCountingSubscription, SeesAValueAfterItsEnd) {
    sut.end();
    sut.told(7);
    EXPECT_EQ(broken.size(), 1U);
}

}  // namespace
