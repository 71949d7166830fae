#include <ChildProcess.h>
#include <FailingThreads.h>
#include <RecordingLogger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>
#include <zebutil/StopHandler.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using zebutil::SingleThreadAsyncTaskExecutor;

class SingleThreadAsyncTaskExecutorTest : public testing::Test {
 protected:
    std::unique_ptr<SingleThreadAsyncTaskExecutor> createExecutor() {
        return std::make_unique<SingleThreadAsyncTaskExecutor>(
            "testExecutor", std::make_unique<test_support::RecordingLogger>(log, "Executor"));
    }

    // Returns when everything that was added before has run.
    static void drain(SingleThreadAsyncTaskExecutor& executor) {
        std::promise<void> reached;
        executor.add([&reached] { reached.set_value(); }, "drain");
        reached.get_future().wait();
    }

    const std::shared_ptr<test_support::RecordedLog> log = std::make_shared<test_support::RecordedLog>();
    std::unique_ptr<SingleThreadAsyncTaskExecutor> sut = createExecutor();
};

TEST_F(SingleThreadAsyncTaskExecutorTest, RunsTasksInTheOrderInWhichTheyWereAdded) {
    std::vector<int> order;
    sut->start();
    for (int number = 0; number < 1000; ++number) {
        sut->add([&order, number] { order.push_back(number); }, "number");
    }
    drain(*sut);
    std::vector<int> expected(1000);
    for (int number = 0; number < 1000; ++number) {
        expected[static_cast<std::size_t>(number)] = number;
    }
    EXPECT_EQ(order, expected);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, KeepsTasksThatWereAddedBeforeItsStart) {
    bool hasRun = false;
    sut->add([&hasRun] { hasRun = true; }, "early");
    sut->start();
    drain(*sut);
    EXPECT_TRUE(hasRun);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, NamesItsThread) {
    std::array<char, 16> name{};
    sut->start();
    sut->add([&name] { pthread_getname_np(pthread_self(), name.data(), name.size()); }, "name");
    drain(*sut);
    EXPECT_STREQ(name.data(), "testExecutor");
}

TEST_F(SingleThreadAsyncTaskExecutorTest, NeverRunsATaskOnTheCallersThread) {
    std::thread::id executorThread;
    sut->start();
    sut->add([&executorThread] { executorThread = std::this_thread::get_id(); }, "thread");
    drain(*sut);
    EXPECT_NE(executorThread, std::this_thread::get_id());
}

TEST_F(SingleThreadAsyncTaskExecutorTest, LogsATaskThatThrowsWithItsName) {
    sut->start();
    sut->add([] { throw std::runtime_error("no fuel"); }, "drive");
    EXPECT_TRUE(log->waitFor("error Executor: task \"drive\" threw: no fuel"));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, LogsATaskThatThrowsNoStandardException) {
    sut->start();
    sut->add([] { throw 5; }, "drive");
    EXPECT_TRUE(log->waitFor("task \"drive\" threw something that is not a std::exception"));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, RunsTheNextTaskAfterOneThatThrew) {
    bool hasRun = false;
    sut->start();
    sut->add([] { throw std::runtime_error("no fuel"); }, "drive");
    sut->add([&hasRun] { hasRun = true; }, "next");
    drain(*sut);
    EXPECT_TRUE(hasRun);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, RunsATimedTaskNotBeforeItsTime) {
    const auto at = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
    std::promise<std::chrono::steady_clock::time_point> ran;
    sut->start();
    sut->addAt(
        at, [&ran] { ran.set_value(std::chrono::steady_clock::now()); }, "later");
    EXPECT_GE(ran.get_future().get(), at);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, RunsOtherTasksWhileATimedOneWaits) {
    sut->start();
    sut->addAt(
        std::chrono::steady_clock::now() + std::chrono::hours(1), [] {}, "later");
    drain(*sut);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, RunsTimedTasksInTheOrderOfTheirTimes) {
    const auto now = std::chrono::steady_clock::now();
    std::vector<int> order;
    std::promise<void> ran;
    const auto add = [&](int number) {
        sut->addAt(
            now + std::chrono::milliseconds(10 * number),
            [&order, &ran, number] {
                order.push_back(number);
                if (number == 3) {
                    ran.set_value();
                }
            },
            "later");
    };
    sut->start();
    add(3);
    add(1);
    add(2);
    ran.get_future().wait();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, RunsATimedTaskAmongOthersThatNeverEnd) {
    std::atomic<bool> hasRun = false;
    std::promise<void> ended;
    std::function<void()> again = [&] {
        if (hasRun) {
            ended.set_value();
        } else {
            sut->add(again, "again");
        }
    };
    sut->start();
    sut->add(again, "again");
    sut->addAt(
        std::chrono::steady_clock::now() + std::chrono::milliseconds(10), [&hasRun] { hasRun = true; },
        "later");
    ended.get_future().wait();
}

TEST_F(SingleThreadAsyncTaskExecutorTest, DropsATimedTaskWhenItIsStopped) {
    sut->start();
    sut->addAt(
        std::chrono::steady_clock::now() + std::chrono::hours(1), [] {}, "later");
    sut->stop();
    EXPECT_TRUE(log->contains("queued tasks dropped: 1"));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, DropsTheTimedTasksOfAnOwnerThatRemovesThem) {
    const auto later = std::chrono::steady_clock::now() + std::chrono::hours(1);
    const int owner = 0;
    const auto held = std::make_shared<int>();
    sut->addAt(
        later, [held] {}, "later", &owner);
    sut->addAt(
        later, [held] {}, "much later", &owner);
    sut->removeTasks(&owner);
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, KeepsTheTimedTasksOfOthersWhenAnOwnerRemovesItsOwn) {
    const auto later = std::chrono::steady_clock::now() + std::chrono::hours(1);
    const int owner = 0;
    const int other = 0;
    sut->start();
    sut->addAt(
        later, [] {}, "of the owner", &owner);
    sut->addAt(
        later, [] {}, "of another", &other);
    sut->addAt(
        later, [] {}, "of nobody");
    sut->removeTasks(&owner);
    sut->stop();
    EXPECT_TRUE(log->contains("queued tasks dropped: 2"));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, ATimedTaskMayRemoveThoseOfItsOwner) {
    const auto now = std::chrono::steady_clock::now();
    const int owner = 0;
    std::promise<void> ran;
    sut->start();
    sut->addAt(
        now + std::chrono::hours(1), [] {}, "later", &owner);
    sut->addAt(
        now,
        [&] {
            sut->removeTasks(&owner);
            ran.set_value();
        },
        "now", &owner);
    ran.get_future().wait();
    sut->stop();
    EXPECT_FALSE(log->contains("dropped"));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, LetsTheRunningTaskEndWhenItIsStopped) {
    std::promise<void> isRunning;
    std::promise<void> mayEnd;
    std::atomic<bool> hasEnded = false;
    sut->start();
    sut->add(
        [&] {
            isRunning.set_value();
            mayEnd.get_future().wait();
            hasEnded = true;
        },
        "long");
    isRunning.get_future().wait();
    std::thread stopper([this] { sut->stop(); });
    mayEnd.set_value();
    stopper.join();
    EXPECT_TRUE(hasEnded);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, DropsAndCountsWhatIsQueuedWhenItIsStopped) {
    std::atomic<bool> hasRun = false;
    sut->add([&hasRun] { hasRun = true; }, "first");
    sut->add([&hasRun] { hasRun = true; }, "second");
    sut->stop();
    sut->start();
    EXPECT_FALSE(hasRun);
    EXPECT_TRUE(log->contains("executor \"testExecutor\" stopped, queued tasks dropped: 2"));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, DropsWhatIsQueuedBehindATaskThatStopsIt) {
    std::atomic<bool> hasRun = false;
    sut->add([this] { sut->stop(); }, "stop");
    sut->add([&hasRun] { hasRun = true; }, "never");
    sut->start();
    EXPECT_TRUE(log->waitFor("queued tasks dropped: 1"));
    sut->stop();
    EXPECT_FALSE(hasRun);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, CanBeStoppedTwice) {
    sut->start();
    sut->stop();
    sut->stop();
    SUCCEED() << "neither call hung or ended the process";
}

TEST_F(SingleThreadAsyncTaskExecutorTest, LetsEachOfTwoConcurrentStopsReturnOnlyWhenTheThreadHasEnded) {
    std::promise<void> mayEnd;
    std::atomic<bool> hasEnded = false;
    std::promise<void> isRunning;
    sut->start();
    sut->add(
        [&, whenItMayEnd = mayEnd.get_future().share()] {
            isRunning.set_value();
            whenItMayEnd.wait();
            hasEnded = true;
        },
        "long");
    isRunning.get_future().wait();
    const auto stopped = [this, &hasEnded] {
        sut->stop();
        return hasEnded.load();
    };
    auto first = std::async(std::launch::async, stopped);
    auto second = std::async(std::launch::async, stopped);
    EXPECT_EQ(first.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    mayEnd.set_value();
    EXPECT_TRUE(first.get());
    EXPECT_TRUE(second.get());
}

TEST_F(SingleThreadAsyncTaskExecutorTest, IsStoppedWhileItsOwnTaskStartsItAgain) {
    std::promise<void> isRunning;
    sut->start();
    sut->add(
        [&] {
            isRunning.set_value();
            // stop() first drops the queued tasks and then joins the thread.
            while (!log->contains("queued tasks dropped: 1")) {
                std::this_thread::yield();
            }
            std::this_thread::sleep_for(
                std::chrono::milliseconds(20));  // gives stop() time to reach the join
            sut->start();
        },
        "start");
    isRunning.get_future().wait();
    sut->add([] {}, "dropped");
    auto stopping = std::async(std::launch::async, [this] { sut->stop(); });
    if (stopping.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
        ADD_FAILURE() << "deadlock";
        std::abort();  // otherwise the future's destructor would wait forever
    }
}

TEST_F(SingleThreadAsyncTaskExecutorTest, IsStartedAndStoppedByTwoThreadsAtOnce) {
    for (int round = 0; round < 200; ++round) {
        sut = createExecutor();
        auto starting = std::async(std::launch::async, [this] { sut->start(); });
        sut->stop();
        starting.wait();
        const auto held = std::make_shared<int>(0);
        sut->add([held] {}, "late");
        ASSERT_EQ(held.use_count(), 1) << "not stopped in round " << round;
    }
}

TEST_F(SingleThreadAsyncTaskExecutorTest, DropsATaskThatIsAddedAfterItWasStopped) {
    sut->start();
    sut->stop();
    const auto held = std::make_shared<int>(0);
    sut->add([held] {}, "late");
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, ReleasesWhatATaskHoldsOnceItHasRun) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = held;
    bool wasReleased = false;
    sut->start();
    sut->add([held = std::move(held)] {}, "holder");
    sut->add([&] { wasReleased = watched.expired(); }, "watcher");
    drain(*sut);
    EXPECT_TRUE(wasReleased);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, CanBeDestroyedByItsOwnTask) {
    std::promise<void> isDestroyed;
    SingleThreadAsyncTaskExecutor& executor = *sut;
    executor.add(
        [this, &isDestroyed] {
            sut.reset();
            isDestroyed.set_value();
        },
        "destroy");
    executor.start();
    EXPECT_EQ(isDestroyed.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, RunsEveryTaskOfManyThreads) {
    constexpr int threads = 4;
    constexpr int tasks = 2000;
    int count = 0;  // not atomic: only the executor's thread touches it
    sut->start();
    std::vector<std::thread> adders;
    for (int thread = 0; thread < threads; ++thread) {
        adders.emplace_back([&] {
            for (int task = 0; task < tasks; ++task) {
                sut->add([&count] { ++count; }, "count");
            }
        });
    }
    for (std::thread& adder : adders) {
        adder.join();
    }
    drain(*sut);
    EXPECT_EQ(count, threads * tasks);
}

// ---------------------------------------------------------------------------------------- hastened stops

/// A task that waits until it is told that its executor stops.
class WaitingTask {
 public:
    void operator()() {
        const zebutil::StopHandler handler([stopped = stopped_] { stopped->set_value(); });
        begun_.set_value();
        stopped_->get_future().wait();
    }
    void awaitBegin() { begun_.get_future().wait(); }

 private:
    std::promise<void> begun_;
    std::shared_ptr<std::promise<void>> stopped_{std::make_shared<std::promise<void>>()};
};

TEST_F(SingleThreadAsyncTaskExecutorTest, TellsATaskThatWaitsThatItIsStopped) {
    WaitingTask task;
    sut->start();
    sut->add([&task] { task(); }, "waits");
    task.awaitBegin();
    sut->stop();  // does not return before the task has ended
}

TEST_F(SingleThreadAsyncTaskExecutorTest, TellsATaskAtOnceThatBeginsToWaitAfterTheStop) {
    std::promise<bool> isTold;
    sut->start();
    sut->add(
        [&] {
            sut->stop();
            bool isToldInTime = false;
            const zebutil::StopHandler handler([&isToldInTime] { isToldInTime = true; });
            isTold.set_value(isToldInTime);
        },
        "waits");
    EXPECT_TRUE(isTold.get_future().get());
}

TEST_F(SingleThreadAsyncTaskExecutorTest, TellsNothingToATaskThatWaitsNoMore) {
    bool isTold = false;
    sut->start();
    sut->add([&isTold] { const zebutil::StopHandler handler([&isTold] { isTold = true; }); }, "waited");
    drain(*sut);
    sut->stop();
    EXPECT_FALSE(isTold);
}

TEST(StopHandler, DoesNothingOnAThreadWithoutAnExecutor) {
    bool isTold = false;
    {
        const zebutil::StopHandler sut([&isTold] { isTold = true; });
    }
    EXPECT_FALSE(isTold);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, TellsItsTaskThatItIsBeingStopped) {
    bool wasStopped = true;
    bool isStopped = false;
    std::promise<void> hasBegun;
    sut->start();
    sut->add(
        [&] {
            wasStopped = zebutil::StopHandler::isStopped();
            const auto stopped = std::make_shared<std::promise<void>>();
            const zebutil::StopHandler handler([stopped] { stopped->set_value(); });
            hasBegun.set_value();
            stopped->get_future().wait();
            isStopped = zebutil::StopHandler::isStopped();
        },
        "asks");
    hasBegun.get_future().wait();
    sut->stop();
    EXPECT_FALSE(wasStopped);
    EXPECT_TRUE(isStopped);
}

// ---------------------------------------------------------------------------------------- no threads

TEST_F(SingleThreadAsyncTaskExecutorTest, LogsOnceThatItCannotMakeItsThread) {
    const test_support::FailingThreads noThreads;
    sut->start();
    sut->add([] {}, "waits");
    EXPECT_THAT(log->lines(), testing::ElementsAre(testing::StartsWith(
                                  "error Executor: executor \"testExecutor\" cannot make its thread: ")));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, TriesToMakeItsThreadAgainWhenATaskIsAdded) {
    std::vector<int> order;
    {
        const test_support::FailingThreads noThreads;
        sut->start();
        sut->add([&order] { order.push_back(1); }, "first");
    }
    sut->add([&order] { order.push_back(2); }, "second");
    drain(*sut);
    EXPECT_THAT(order, testing::ElementsAre(1, 2));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, LogsThatItHasItsThreadAfterAll) {
    {
        const test_support::FailingThreads noThreads;
        sut->start();
    }
    drain(*sut);
    EXPECT_TRUE(log->contains("has its thread, after failed attempts: 1"));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, CanBeStoppedWithoutItsThread) {
    const test_support::FailingThreads noThreads;
    sut->start();
    sut->add([] {}, "dropped");
    sut->stop();
    EXPECT_TRUE(log->contains("queued tasks dropped: 1"));
}

/// A logger that has no memory for a line.
class FailingLogger : public test_support::RecordingLogger {
 public:
    using RecordingLogger::RecordingLogger;
    void error(const std::string& /*message*/) override { throw std::bad_alloc(); }
    void info(const std::string& /*message*/) override { throw std::bad_alloc(); }
};

TEST_F(SingleThreadAsyncTaskExecutorTest, GoesOnWhenATaskThrowsAndThatCannotBeLogged) {
    sut = std::make_unique<SingleThreadAsyncTaskExecutor>("testExecutor",
                                                          std::make_unique<FailingLogger>(log, "Executor"));
    sut->start();
    sut->add([] { throw std::bad_alloc(); }, "throws");
    sut->add([] { throw 1; }, "throws, too");
    drain(*sut);
    sut->add([] {}, "dropped");
    sut->stop();
}

// ---------------------------------------------------------------------------------------- a good guest

TEST_F(SingleThreadAsyncTaskExecutorTest, BlocksTheSignalsOfTheApplicationOnItsThread) {
    sigset_t blocked;
    sut->start();
    sut->add([&blocked] { ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked); }, "look");
    drain(*sut);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1, SIGALRM, SIGCHLD, SIGPIPE, SIGRTMIN}) {
        EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
    }
}

TEST_F(SingleThreadAsyncTaskExecutorTest, LeavesTheSignalsOfItsStarterAsTheyWere) {
    sigset_t before;
    sigset_t after;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &before);
    sut->start();
    ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < SIGRTMAX; ++signal) {
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
    }
}

TEST_F(SingleThreadAsyncTaskExecutorTest, CanBeStoppedAndDestroyedInAForkedChild) {
    sut->start();
    drain(*sut);
    const auto result = test_support::runInChild([this] {
        ::alarm(20);  // ends a child that hangs
        sut->stop();
        sut.reset();
    });
    EXPECT_EQ(result.signal, 0);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, CanBeStoppedInAChildThatWasForkedWhileATaskRan) {
    WaitingTask task;
    sut->start();
    sut->add([&task] { task(); }, "waits");
    task.awaitBegin();
    const auto result = test_support::runInChild([this] {
        ::alarm(20);
        sut->stop();
        sut.reset();
    });
    EXPECT_EQ(result.signal, 0);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, DropsEveryTaskThatIsAddedInAForkedChild) {
    sut->start();
    drain(*sut);
    const auto result = test_support::runInChild([this] {
        ::alarm(20);
        const auto held = std::make_shared<int>();
        sut->start();
        sut->add([held] {}, "task");
        sut->addAt(
            std::chrono::steady_clock::now(), [held] {}, "timed task");
        sut->addLast([held] {}, "last task");
        std::cout << "held by " << held.use_count() << std::endl;
        sut.reset();
    });
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.output, "held by 1\n");
}

// ------------------------------------------------------------------------------------------- last tasks

TEST_F(SingleThreadAsyncTaskExecutorTest, RunsItsLastTasksBeforeStopReturns) {
    sut->start();
    std::vector<std::string> order;
    sut->addLast([&order] { order.emplace_back("first"); }, "first");
    sut->addLast([&order] { order.emplace_back("second"); }, "second");
    drain(*sut);
    EXPECT_THAT(order, testing::IsEmpty());
    sut->stop();
    EXPECT_THAT(order, testing::ElementsAre("first", "second"));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, RunsItsLastTaskOnItsThreadInPlaceOfTheQueuedOnes) {
    sut->start();
    std::promise<std::thread::id> thread;
    std::promise<void> goOn;
    std::atomic<bool> wasQueuedTaskRun = false;
    std::thread::id last;
    sut->addLast([&last] { last = std::this_thread::get_id(); }, "last");
    sut->add(
        [&] {
            const zebutil::StopHandler handler([&goOn] { goOn.set_value(); });
            thread.set_value(std::this_thread::get_id());
            goOn.get_future().wait();
        },
        "running");
    sut->add([&wasQueuedTaskRun] { wasQueuedTaskRun = true; }, "queued");
    const auto executorThread = thread.get_future().get();
    sut->stop();
    EXPECT_EQ(last, executorThread);
    EXPECT_FALSE(wasQueuedTaskRun);
}

TEST_F(SingleThreadAsyncTaskExecutorTest, RunsItsLastTaskAfterTheTaskThatStopsIt) {
    sut->start();
    std::vector<std::string> order;
    sut->addLast([&order] { order.emplace_back("last"); }, "last");
    std::promise<void> stopping;
    sut->add(
        [&] {
            sut->stop();
            order.emplace_back("stopped");
            stopping.set_value();
        },
        "stop");
    stopping.get_future().wait();
    sut->stop();
    EXPECT_THAT(order, testing::ElementsAre("stopped", "last"));
}

TEST_F(SingleThreadAsyncTaskExecutorTest, DropsItsLastTaskIfItWasNeverStarted) {
    bool wasRun = false;
    sut->addLast([&wasRun] { wasRun = true; }, "last");
    sut->stop();
    EXPECT_FALSE(wasRun);
}

}  // namespace
