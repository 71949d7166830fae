#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

#include "CallbackGate.h"

namespace {

using clampcontrolclient::CallbackGate;

TEST(CallbackGate, LetsACallPass) {
    CallbackGate sut;
    bool called = false;
    sut.pass([&called] { called = true; });
    EXPECT_TRUE(called);
}

TEST(CallbackGate, LetsNothingPassOnceItIsClosed) {
    CallbackGate sut;
    sut.close();
    bool called = false;
    sut.pass([&called] { called = true; });
    EXPECT_FALSE(called);
}

TEST(CallbackGate, KnowsThatItIsInsideACallback) {
    CallbackGate sut;
    bool inside = false;
    sut.pass([&inside] { inside = CallbackGate::isInsideCallback(); });
    EXPECT_TRUE(inside);
}

TEST(CallbackGate, KnowsThatTheCallbackHasEnded) {
    CallbackGate sut;
    sut.pass([] {});
    EXPECT_FALSE(CallbackGate::isInsideCallback());
}

TEST(CallbackGate, KnowsThatTheCallbackHasEndedByAnException) {
    CallbackGate sut;
    EXPECT_THROW(sut.pass([] { throw std::runtime_error("of the application"); }), std::runtime_error);
    EXPECT_FALSE(CallbackGate::isInsideCallback());
}

TEST(CallbackGate, IsInsideOnTheCallingThreadAlone) {
    CallbackGate sut;
    bool inside = true;
    sut.pass([&inside] { inside = std::async(std::launch::async, &CallbackGate::isInsideCallback).get(); });
    EXPECT_FALSE(inside);
}

TEST(CallbackGate, StaysInsideWhileOneCallbackLeadsToAnother) {
    CallbackGate sut;
    CallbackGate other;
    bool inside = false;
    sut.pass([&] {
        other.pass([] {});
        inside = CallbackGate::isInsideCallback();
    });
    EXPECT_TRUE(inside);
}

TEST(CallbackGate, CanBeClosedInsideACallback) {
    CallbackGate sut;
    sut.pass([&sut] { sut.close(); });
    sut.close();
    SUCCEED();
}

TEST(CallbackGate, WaitsForARunningCallWhenItIsClosed) {
    CallbackGate sut;
    std::promise<void> begun;
    std::promise<void> closing;
    bool ended = false;
    auto call = std::async(std::launch::async, [&] {
        sut.pass([&] {
            begun.set_value();
            closing.get_future().wait();
            ended = true;
        });
    });
    begun.get_future().wait();
    closing.set_value();
    sut.close();
    EXPECT_TRUE(ended);
    call.wait();
}

}  // namespace
