#include <gtest/gtest.h>

#include <string>

#include "WaitingCalls.h"

namespace {

using kelo_client::WaitingCalls;

TEST(WaitingCalls, WakesACallThatWaitsWhenItIsEnded) {
    WaitingCalls sut;
    int woken = 0;
    const WaitingCalls::Call call(sut, [&woken] { ++woken; });
    sut.end("lost");
    EXPECT_EQ(woken, 1);
}

TEST(WaitingCalls, TellsTheCallWhyItWasEnded) {
    WaitingCalls sut;
    std::string reason;
    const WaitingCalls::Call* observed = nullptr;
    const WaitingCalls::Call call(sut, [&] { reason = observed->endReason(); });
    observed = &call;
    sut.end("lost");
    EXPECT_EQ(reason, "lost");
}

TEST(WaitingCalls, HasNoReasonForACallThatGoesOn) {
    WaitingCalls sut;
    sut.end("lost");
    const WaitingCalls::Call call(sut, [] {});
    EXPECT_EQ(call.endReason(), nullptr);
}

TEST(WaitingCalls, ForgetsACallThatHasReturned) {
    WaitingCalls sut;
    int woken = 0;
    {
        const WaitingCalls::Call call(sut, [&woken] { ++woken; });
    }
    sut.end("lost");
    EXPECT_EQ(woken, 0);
}

TEST(WaitingCalls, EndsALaterCallAtOnceWhenItIsClosed) {
    WaitingCalls sut;
    sut.close("stopped");
    int woken = 0;
    const WaitingCalls::Call call(sut, [&woken] { ++woken; });
    EXPECT_EQ(woken, 1);
}

TEST(WaitingCalls, KeepsTheReasonForWhichItWasClosedFirst) {
    WaitingCalls sut;
    sut.close("stopped");
    sut.close("destroyed");
    const WaitingCalls::Call call(sut, [] {});
    EXPECT_STREQ(call.endReason(), "stopped");
}

TEST(WaitingCalls, MayBeUsedByACallThatItWakes) {
    WaitingCalls sut;
    const WaitingCalls::Call call(sut, [&sut] { sut.close("stopped"); });
    sut.end("lost");
    EXPECT_STREQ(call.endReason(), "lost");
}

}  // namespace
