#include <RecordingLogger.h>
#include <gtest/gtest.h>
#include <zeb/Service.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <future>
#include <memory>
#include <new>
#include <utility>

#include "registry/FollowingListener.h"

namespace {

/// A listener, called by a task of an executor.
class FollowingListener : public testing::Test {
 protected:
    FollowingListener() { executor.start(); }

    template <typename Task>
    void run(Task task) {
        std::promise<void> isDone;
        executor.add(
            [&] {
                task();
                isDone.set_value();
            },
            "task");
        isDone.get_future().wait();
    }

    void stopWithoutMemory() {
        executor.stop();
        whileItIsMade = [] { throw std::bad_alloc(); };
    }

    zeb::UntypedServiceListener handlers() {
        zeb::UntypedServiceListener handlers;
        handlers.createService = [this](auto accessor, auto manager) {
            whileItIsMade();
            return std::make_shared<zeb::Service>(std::move(accessor), std::move(manager));
        };
        handlers.connected = [this](const std::shared_ptr<zeb::Service>& service) {
            ++connections;
            lastService = service;
        };
        handlers.disconnected = [this] { ++losses; };
        return handlers;
    }

    zebutil::SingleThreadAsyncTaskExecutor executor{
        "executor", std::make_unique<test_support::RecordingLogger>(
                        std::make_shared<test_support::RecordedLog>(), "executor")};
    std::function<void()> whileItIsMade = [] {};
    int connections = 0;
    int losses = 0;
    std::shared_ptr<zeb::Service> lastService;
    zeb::FollowingListener sut{handlers()};
};

TEST_F(FollowingListener, GetsTheServiceWithTheConnection) {
    run([this] { sut.connected(nullptr, nullptr); });
    EXPECT_TRUE(lastService);
}

TEST_F(FollowingListener, IsNotToldOfAConnectionForWhoseServiceThereWasNoMemoryUntilTheStop) {
    run([this] {
        stopWithoutMemory();
        sut.connected(nullptr, nullptr);
    });
    EXPECT_EQ(connections, 0);
}

TEST_F(FollowingListener, IsNotToldOfTheLossOfAConnectionThatItWasNotToldOf) {
    run([this] {
        stopWithoutMemory();
        sut.connected(nullptr, nullptr);
        sut.disconnected();
    });
    EXPECT_EQ(losses, 0);
}

TEST_F(FollowingListener, IsNotToldOfAConnectionIfItIsTakenBackWhileItsServiceIsMade) {
    whileItIsMade = [this] { sut.takeBack(); };
    run([this] { sut.connected(nullptr, nullptr); });
    EXPECT_EQ(connections, 0);
}

}  // namespace
