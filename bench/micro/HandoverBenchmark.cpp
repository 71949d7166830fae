// The two ways to pass something from one thread to another: the callback future and the executor.

#include <kelo-client/CallbackFuture.h>
#include <semaphore.h>
#include <zebutil/LoggerFactory.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "OneProcessor.h"
#include "Subject.h"

namespace {

using kelo_client::CallbackFuture;
using micro::Subject;
using zebutil::SingleThreadAsyncTaskExecutor;

constexpr CallbackFuture::FutureValue kValue{1};
constexpr std::chrono::seconds kLimit{60};

/// The rival of the callback future, which is built on the same two classes: a promise and its future, the
/// standard way to pass one value from a callback to a waiting thread.
class PromiseAndFuture {
 public:
    void Set(CallbackFuture::FutureValue value) { promise_.set_value(value); }
    bool WaitFor(std::chrono::milliseconds limit) {
        return future_.wait_for(limit) == std::future_status::ready;
    }
    CallbackFuture::FutureValue Get() { return future_.get(); }

 private:
    std::promise<CallbackFuture::FutureValue> promise_;
    std::future<CallbackFuture::FutureValue> future_{promise_.get_future()};
};

/// The life of a future whose value is set before a thread waits for it: no thread has to be woken.
template <typename Future>
void setThenGet(benchmark::State& state) {
    for (auto _ : state) {
        Future future;
        future.Set(kValue);
        bool ready = future.WaitFor(kLimit);
        auto value = future.Get();
        benchmark::DoNotOptimize(ready);
        benchmark::DoNotOptimize(value);
    }
}

/// Two threads that pass a value back and forth, each waiting for the other: time per round. The futures are
/// created in advance, and only the rounds are timed.
template <typename Future>
void thereAndBack(benchmark::State& state) {
    constexpr std::size_t rounds = 256;
    for (auto _ : state) {
        std::vector<Future> there(rounds);
        std::vector<Future> back(rounds);
        Future begun;
        std::thread other([&] {
            begun.Set(kValue);
            for (std::size_t round = 0; round < rounds; ++round) {
                if (there[round].WaitFor(kLimit)) {
                    back[round].Set(there[round].Get());
                }
            }
        });
        begun.WaitFor(kLimit);
        const auto start = std::chrono::steady_clock::now();
        for (std::size_t round = 0; round < rounds; ++round) {
            there[round].Set(kValue);
            if (back[round].WaitFor(kLimit)) {
                benchmark::DoNotOptimize(back[round].Get());
            }
        }
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        other.join();
        state.SetIterationTime(taken.count() / rounds);
    }
}

void addCallbackFuture() {
    const Subject alone("CallbackFuture");
    alone.ours(setThenGet<CallbackFuture>);
    alone.reference("std_future", setThenGet<PromiseAndFuture>);

    const Subject across("CallbackFutureThereAndBack");
    across.ours(thereAndBack<CallbackFuture>)->UseManualTime()->Iterations(8);
    across.reference("std_future", thereAndBack<PromiseAndFuture>)->UseManualTime()->Iterations(8);
}

class Semaphore {
 public:
    Semaphore() { ::sem_init(&semaphore_, 0, 0); }
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    ~Semaphore() { ::sem_destroy(&semaphore_); }

    void signal() { ::sem_post(&semaphore_); }
    void wait() {
        while (::sem_wait(&semaphore_) != 0) {
        }
    }

 private:
    sem_t semaphore_{};
};

class Executor {
 public:
    Executor()
        : executor_("benchmark",
                    zebutil::LoggerFactory::getDefaultLoggerFactory()->createLogger("benchmark")) {
        executor_.start();
    }
    void post(std::function<void()> task) { executor_.add(std::move(task), "task"); }

 private:
    SingleThreadAsyncTaskExecutor executor_;
};

/// The rival of the executor: Boost.Asio's thread pool with one thread, the usual way with Boost to run tasks
/// one after another on another thread. It also takes a `std::function`, as an interface would.
class AsioPool {
 public:
    void post(std::function<void()> task) { boost::asio::post(pool_, std::move(task)); }

 private:
    boost::asio::thread_pool pool_{1};
};

/// One task and back: the time until an idle executor has run it and the caller has been woken.
template <typename Pool>
void oneTask(benchmark::State& state) {
    Pool pool;
    Semaphore done;
    for (auto _ : state) {
        pool.post([&done] { done.signal(); });
        done.wait();
    }
}

/// Many tasks at once, time per task: the load of a burst of notifications.
template <typename Pool>
void burst(benchmark::State& state) {
    constexpr int tasks = 1000;
    Pool pool;
    Semaphore done;
    int run = 0;
    for (auto _ : state) {
        for (int task = 1; task < tasks; ++task) {
            pool.post([&run] { ++run; });
        }
        pool.post([&done] { done.signal(); });
        done.wait();
    }
    benchmark::DoNotOptimize(run);
    state.SetItemsProcessed(state.iterations() * tasks);
}

void addExecutor() {
    const Subject hop("ExecutorHop");
    hop.ours(oneTask<Executor>)->UseRealTime();
    hop.reference("boost_asio", oneTask<AsioPool>)->UseRealTime();

    const Subject thousand("ExecutorBurstOf1000");
    thousand.ours(burst<Executor>)->UseRealTime();
    thousand.reference("boost_asio", burst<AsioPool>)->UseRealTime();
}

}  // namespace

int main(int argc, char** argv) {
    micro::stayOnOneProcessor();
    addCallbackFuture();
    addExecutor();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
