#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "FollowerInvariants.h"

namespace {

using clampcontrolclient::ClampState;
using soak::FollowerInvariants;

class SoakFollowerInvariants : public testing::Test {
 protected:
    void subscribed() {
        sut.connection(true);
        sut.subscribed();
    }
    void changes(ClampState state, const std::string& reason = "") {
        sut.change({state, std::chrono::steady_clock::now(), reason});
    }
    void told(bool isOn) {
        sut.notification();
        sut.clamp15(isOn);
        changes(isOn ? ClampState::On : ClampState::Off);
    }

    std::vector<std::string> broken;
    FollowerInvariants sut{[this](const std::string& text) { broken.push_back(text); }};
};

TEST_F(SoakFollowerInvariants, AreKeptByAnOrdinaryLife) {
    changes(ClampState::Unknown, "refused");
    subscribed();
    told(false);
    told(true);
    changes(ClampState::Unknown, "lost");
    sut.connection(false);
    changes(ClampState::Unknown, "refused");
    subscribed();
    told(true);
    sut.statusWhileLost({ClampState::Unknown, {}, "lost"});
    sut.ended();
    EXPECT_TRUE(broken.empty());
}

TEST_F(SoakFollowerInvariants, AreBrokenByAStateThatNoNotificationSaid) {
    subscribed();
    told(true);
    changes(ClampState::Off);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakFollowerInvariants, AreBrokenByAStateWithoutASubscription) {
    changes(ClampState::On);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakFollowerInvariants, AreBrokenByAStateOfThePreviousSubscription) {
    subscribed();
    told(true);
    changes(ClampState::Unknown, "ended");
    sut.subscribed();
    changes(ClampState::On);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakFollowerInvariants, AreBrokenByALostState) {
    subscribed();
    sut.notification();
    sut.clamp15(true);
    sut.notification();
    sut.clamp15(true);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakFollowerInvariants, AreBrokenByAStateThatOutlivesTheConnection) {
    subscribed();
    told(true);
    sut.connection(false);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakFollowerInvariants, AreBrokenByAClaimWhileTheServiceIsLost) {
    sut.statusWhileLost({ClampState::On, {}, ""});
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakFollowerInvariants, AreBrokenByTheSameChangeTwice) {
    changes(ClampState::Unknown, "refused");
    changes(ClampState::Unknown, "refused");
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakFollowerInvariants, AreBrokenByAnUnknownStateWithoutAReason) {
    changes(ClampState::Unknown);
    EXPECT_EQ(broken.size(), 1U);
}

TEST_F(SoakFollowerInvariants, AreBrokenByAReportAfterTheEnd) {
    subscribed();
    sut.ended();
    sut.connection(false);
    EXPECT_EQ(broken.size(), 1U);
}

}  // namespace
