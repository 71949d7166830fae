#include <RecordingLogger.h>
#include <gtest/gtest.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>
#include <zebutil/StopHandler.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Notifications.h"
#include "log/FaultLog.h"
#include "log/ServiceCounters.h"
#include "websocket/NotificationDelivery.h"

namespace {

class Owner : public zeb::NotificationDelivery::Owner {
 public:
    virtual ~Owner() = default;

    void onRoom() override {}
    std::shared_ptr<void> keepAlive() override { return nullptr; }
};

class LoggerWithoutMemory : public test_support::RecordingLogger {
 public:
    LoggerWithoutMemory() : RecordingLogger(std::make_shared<test_support::RecordedLog>(), "delivery") {}

    void error(const std::string& /*message*/) override { throw std::bad_alloc(); }
};

TEST(NotificationDelivery, CallsEveryHandlerThoughThereIsNoMemoryToLogWhatOneThrows) {
    const auto executor = std::make_shared<zebutil::SingleThreadAsyncTaskExecutor>(
        "executor", std::make_unique<test_support::RecordingLogger>(
                        std::make_shared<test_support::RecordedLog>(), "executor"));
    boost::asio::io_context context;
    Owner owner;
    zeb::NotificationDelivery sut(context, executor,
                                  std::make_shared<zeb::FaultLog>(std::make_shared<LoggerWithoutMemory>()),
                                  std::make_shared<zeb::ServiceCounters>(), owner);
    const auto throwing = test_access::subscription(
        "/Doors/doors/1", [](std::string_view) { throw std::runtime_error("handler"); });
    std::promise<void> isCalled;
    const auto next =
        test_access::subscription("/Doors/doors/2", [&](std::string_view) { isCalled.set_value(); });
    sut.push(throwing, "1");
    sut.push(next, "2");
    sut.announce();
    executor->start();
    EXPECT_EQ(isCalled.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
    executor->stop();
}

TEST(NotificationDelivery, CallsNoFurtherHandlerOnceItsExecutorIsStopped) {
    const auto log = std::make_shared<test_support::RecordedLog>();
    const auto executor = std::make_shared<zebutil::SingleThreadAsyncTaskExecutor>(
        "executor", std::make_unique<test_support::RecordingLogger>(log, "executor"));
    boost::asio::io_context context;
    Owner owner;
    zeb::NotificationDelivery sut(
        context, executor,
        std::make_shared<zeb::FaultLog>(std::make_shared<test_support::RecordingLogger>(log, "delivery")),
        std::make_shared<zeb::ServiceCounters>(), owner);
    int calls = 0;
    std::promise<void> hasBegun;
    const auto subscription = test_access::subscription("/Doors/doors/1", [&](std::string_view) {
        if (++calls > 1) {
            return;
        }
        const auto stopped = std::make_shared<std::promise<void>>();
        const zebutil::StopHandler handler([stopped] { stopped->set_value(); });
        hasBegun.set_value();
        stopped->get_future().wait();
    });
    sut.push(subscription, "1");
    sut.push(subscription, "2");
    sut.announce();
    executor->start();
    hasBegun.get_future().wait();
    executor->stop();
    EXPECT_EQ(calls, 1);
}

}  // namespace
