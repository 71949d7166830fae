#include <ExitGate.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <type_traits>

namespace {

using csc_logging::ExitGate;
using namespace std::chrono_literals;

static_assert(std::is_trivially_destructible_v<ExitGate>);

TEST(ExitGate, AdmitsVisitsBeforeItIsClosed) {
    ExitGate sut;
    EXPECT_TRUE(ExitGate::Visit(sut).admitted());
}

TEST(ExitGate, AdmitsNoVisitOnceItIsClosed) {
    ExitGate sut;
    sut.close();
    EXPECT_FALSE(ExitGate::Visit(sut).admitted());
}

TEST(ExitGate, IsEmptyAtOnceWhenTheVisitsAreOver) {
    ExitGate sut;
    { const ExitGate::Visit visit(sut); }
    EXPECT_TRUE(sut.waitUntilEmpty(0ms));
}

TEST(ExitGate, WaitsForTheVisitUnderWay) {
    ExitGate sut;
    std::promise<void> inside;
    std::promise<void> leave;
    std::thread visitor([&] {
        const ExitGate::Visit visit(sut);
        inside.set_value();
        leave.get_future().wait();
    });
    inside.get_future().wait();
    auto closed = std::async(std::launch::async, [&sut] { return sut.waitUntilEmpty(20s); });
    EXPECT_EQ(closed.wait_for(20ms), std::future_status::timeout);
    leave.set_value();
    EXPECT_TRUE(closed.get());
    visitor.join();
}

TEST(ExitGate, ReportsAVisitThatIsStillUnderWayAfterTheLimit) {
    ExitGate sut;
    const ExitGate::Visit visit(sut);
    EXPECT_FALSE(sut.waitUntilEmpty(5ms));
}

}  // namespace
