#include <FailingThreads.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "RawClient.h"
#include "zeb-bus-sim/BusSimulator.h"

namespace {

class SimulatorStart : public testing::Test {
 protected:
    SimulatorStart() { sut.loadText(R"({"services":{"ClampControl":{"clamps":[{"id":"1"}]}}})"); }

    void startWithoutThreads() {
        const test_support::FailingThreads noThreads;
        EXPECT_THROW(sut.start(), std::runtime_error);
    }

    zebbussim::BusSimulator sut;
};

TEST_F(SimulatorStart, MayFailForLackOfAThread) {
    startWithoutThreads();
    EXPECT_EQ(sut.port(), 0);
}

TEST_F(SimulatorStart, CanBeTriedAgain) {
    startWithoutThreads();
    sut.start();
    EXPECT_EQ(RawHttp(sut.port()).get("/ClampControl/clamps/1").status, 200);
}

TEST_F(SimulatorStart, LeavesTheBusUsableWhenItFails) {
    startWithoutThreads();
    sut.set("/ClampControl/clamps/1", R"({"level":1})");
    EXPECT_NE(sut.element("/ClampControl/clamps/1").find("\"level\":1"), std::string::npos);
}

}  // namespace
