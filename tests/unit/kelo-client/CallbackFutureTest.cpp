#include <gtest/gtest.h>
#include <kelo-client/CallbackFuture.h>
#include <kelo-client/SubscribeSync.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>

namespace {

using kelo_client::CallbackFuture;
using kelo_client::SubscribeSync;
using std::chrono::milliseconds;
using FutureValue = CallbackFuture::FutureValue;

constexpr milliseconds kLong{20'000};

/// Whether the future has lost its state. It does after a Get that began before the Set.
bool hasNoState(CallbackFuture& sut) {
    try {
        sut.WaitFor(milliseconds(0));
        return false;
    } catch (const std::future_error& error) {
        return error.code() == std::future_errc::no_state;
    }
}

/// An object whose first Get had to wait, and the value that this Get returned.
struct WaitedFor {
    std::unique_ptr<CallbackFuture> future;
    FutureValue given;
};

/// Lets a Get on another thread wait for `value`. Whether that Get began in time shows only afterwards, so
/// this tries several rounds, each of which ends after a bounded time.
WaitedFor waitedFor(FutureValue value) {
    for (int round = 0; round < 200; ++round) {
        auto future = std::make_unique<CallbackFuture>();
        std::promise<void> ready;
        auto reader = std::async(std::launch::async, [&] {
            ready.set_value();
            return future->Get();
        });
        ready.get_future().wait();
        std::this_thread::sleep_for(milliseconds(round));
        future->Set(value);
        const FutureValue given = reader.get();
        if (hasNoState(*future)) {
            return {std::move(future), given};
        }
    }
    throw std::runtime_error("no Get ever had to wait");
}

TEST(CallbackFuture, HasValuesOf32Bits) {
    EXPECT_EQ(sizeof(FutureValue), 4u);
}

TEST(CallbackFuture, KeepsOneOfTwoValuesThatTwoThreadsSetAtOnce) {
    for (int round = 0; round < 200; ++round) {
        CallbackFuture sut;
        std::atomic<int> ready = 0;
        const auto set = [&](FutureValue value) {
            for (++ready; ready < 2;) {
                std::this_thread::yield();
            }
            sut.Set(value);
        };
        auto other = std::async(std::launch::async, set, FutureValue{1});
        set(FutureValue{2});
        other.get();  // throws what the other Set has thrown
        ASSERT_NE(sut.Get(), FutureValue::Unknown);
    }
}

TEST(CallbackFuture, SaysAtOnceThatThereIsNoValueYet) {
    CallbackFuture sut;
    EXPECT_FALSE(sut.WaitFor(milliseconds(0)));
}

TEST(CallbackFuture, SaysAtOnceThatThereIsAValue) {
    CallbackFuture sut;
    sut.Set(FutureValue{1});
    EXPECT_TRUE(sut.WaitFor(milliseconds(0)));
}

TEST(CallbackFuture, WaitsAsLongAsItWasToldForAValueThatDoesNotCome) {
    CallbackFuture sut;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(sut.WaitFor(milliseconds(50)));
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(50));
}

TEST(CallbackFuture, WakesAWaitingThreadWhenTheValueIsSet) {
    CallbackFuture sut;
    auto waiter = std::async(std::launch::async, [&sut] { return sut.WaitFor(kLong); });
    sut.Set(FutureValue{1});
    EXPECT_TRUE(waiter.get());
}

TEST(CallbackFuture, CanWaitForTheLongestTimeThereIs) {
    CallbackFuture sut;
    auto waiter = std::async(std::launch::async, [&sut] { return sut.WaitFor(milliseconds::max()); });
    sut.Set(FutureValue{1});
    EXPECT_TRUE(waiter.get());
}

TEST(CallbackFuture, DoesNotWaitForATimeBelowZero) {
    CallbackFuture sut;
    EXPECT_FALSE(sut.WaitFor(milliseconds::min()));
}

TEST(CallbackFuture, AnswersWithTheFirstValueThatWasSet) {
    CallbackFuture sut;
    sut.Set(FutureValue{1});
    sut.Set(FutureValue{2});
    EXPECT_EQ(sut.Get(), FutureValue{1});
}

TEST(CallbackFuture, AnswersEveryGetAlike) {
    CallbackFuture sut;
    sut.Set(FutureValue{7});
    EXPECT_EQ(sut.Get(), FutureValue{7});
    EXPECT_EQ(sut.Get(), FutureValue{7});
}

TEST(CallbackFuture, HandsTheValueToAThreadThatWaitsInGet) {
    const auto sut = waitedFor(FutureValue{2});
    EXPECT_EQ(sut.given, FutureValue{2});
}

TEST(CallbackFuture, AnswersFurtherGetsAfterOneThatHadToWait) {
    const auto sut = waitedFor(FutureValue{2}).future;
    EXPECT_EQ(sut->Get(), FutureValue{2});
}

TEST(CallbackFuture, IgnoresASetAfterAGetThatHadToWait) {
    const auto sut = waitedFor(FutureValue{2}).future;
    sut->Set(FutureValue{3});
    EXPECT_EQ(sut->Get(), FutureValue{2});
}

TEST(CallbackFuture, CanStillBeWaitedForAfterSetAndGet) {
    CallbackFuture sut;
    sut.Set(FutureValue{1});
    sut.Get();
    EXPECT_TRUE(sut.WaitFor(milliseconds(0)));
}

TEST(CallbackFuture, HasNoStateToWaitForAfterAGetThatHadToWait) {
    const auto sut = waitedFor(FutureValue{1}).future;
    EXPECT_TRUE(hasNoState(*sut));
}

TEST(CallbackFuture, HasNoStateToGetOnceAValueThatIsNoneWasFetched) {
    CallbackFuture sut;
    sut.Set(FutureValue::Unknown);
    sut.Get();
    try {
        sut.Get();
        FAIL() << "did not throw";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::no_state);
    }
}

TEST(CallbackFuture, CannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<CallbackFuture>);
    EXPECT_FALSE(std::is_copy_assignable_v<CallbackFuture>);
}

TEST(SubscribeSync, HoldsTwoFuturesThatDoNotKnowEachOther) {
    SubscribeSync sut;
    sut.notified.Set(SubscribeSync::kNotified);
    EXPECT_TRUE(sut.notified.WaitFor(milliseconds(0)));
    EXPECT_FALSE(sut.outcome.WaitFor(milliseconds(0)));
}

TEST(SubscribeSync, NumbersItsOutcomes) {
    EXPECT_EQ(static_cast<int>(SubscribeSync::kTimedOut), 1);
    EXPECT_EQ(static_cast<int>(SubscribeSync::kSucceeded), 2);
    EXPECT_EQ(static_cast<int>(SubscribeSync::kNotified), 1);
}

TEST(SubscribeSync, HoldsTheHandlerBackUntilTheOutcomeIsKnown) {
    SubscribeSync sut;
    auto handler = std::async(std::launch::async, [&sut] {
        sut.notified.Set(SubscribeSync::kNotified);
        return sut.outcome.Get();
    });
    EXPECT_TRUE(sut.notified.WaitFor(kLong));
    sut.outcome.Set(SubscribeSync::kSucceeded);
    EXPECT_EQ(handler.get(), SubscribeSync::kSucceeded);
}

}  // namespace
