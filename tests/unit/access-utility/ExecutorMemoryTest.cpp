#include <CountedMemory.h>
#include <gtest/gtest.h>
#include <zebutil/LoggerFactory.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <cstddef>
#include <future>
#include <memory>

namespace {

constexpr std::size_t kManyTasks = 100000;

void runAll(zebutil::SingleThreadAsyncTaskExecutor& executor) {
    std::promise<void> isDone;
    executor.add([&isDone] { isDone.set_value(); }, "the last task");
    isDone.get_future().wait();
}

TEST(ExecutorMemory, OfABurstIsGivenBack) {
    zebutil::SingleThreadAsyncTaskExecutor sut("sut", nullptr);
    sut.start();
    runAll(sut);
    const test_support::CountedMemory memory;

    std::promise<void> mayGoOn;
    sut.add([&mayGoOn] { mayGoOn.get_future().wait(); }, "the task that holds up the others");
    for (std::size_t task = 0; task < kManyTasks; ++task) {
        sut.add([] {}, "one of many tasks");
    }
    const auto atTheMost = memory.inUse();
    mayGoOn.set_value();
    runAll(sut);
    runAll(sut);  // the memory of one batch is given back before the next one begins

    EXPECT_GT(atTheMost, static_cast<std::ptrdiff_t>(kManyTasks));
    EXPECT_LT(memory.inUse(), 16 * 1024);
}

}  // namespace
