#include <RecordingLogger.h>
#include <gtest/gtest.h>
#include <zeb/IWebsocketManager.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "registry/ServiceDirectory.h"

namespace {

using Clock = zeb::ServiceDirectory::Clock;

/// Keeps the handler of the subscription.
class FakeConnection : public zeb::IWebsocketManager {
 public:
    std::shared_ptr<zeb::Subscription> subscribe(const std::string&, const std::string&,
                                                 DataHandler dataHandler,
                                                 EndedHandler endedHandler) override {
        handler = std::move(dataHandler);
        ended = std::move(endedHandler);
        return nullptr;
    }
    void unsubscribeFromAll() override {}
    void close(const std::string& reason) override { whyClosed = reason; }
    void stop() override {}

    DataHandler handler;
    EndedHandler ended;
    std::string whyClosed;
};

class ServiceDirectory : public testing::Test {
 protected:
    ServiceDirectory() {
        const auto listener = sut->listener();
        listener.connected(listener.createService(nullptr, connection));
        waits = std::exchange(planned, {});
    }

    void tell(const std::string& list) { connection->handler(list); }

    void runPlanned() {
        for (const auto& task : std::exchange(planned, {})) {
            task.second();
        }
    }

    static std::string listOf(const std::string& name, std::size_t entries = 1) {
        const std::string entry =
            R"({"name":")" + name + R"(","serverBaseUri":"http://127.0.0.1:1","serverBasePath":"/"})";
        std::string list = "[" + entry;
        for (std::size_t number = 1; number < entries; ++number) {
            list += "," + entry;
        }
        return list + "]";
    }

    const std::shared_ptr<FakeConnection> connection = std::make_shared<FakeConnection>();
    using Planned = std::pair<Clock::time_point, std::function<void()>>;

    /// What the directory does when the time for the first list is over.
    void endWait() {
        for (const auto& task : std::exchange(waits, {})) {
            task.second();
        }
    }

    std::vector<Planned> planned;
    std::vector<Planned> waits;  ///< for the first list
    int changes = 0;
    bool isOutOfMemory = false;
    const std::shared_ptr<zeb::ServiceDirectory> sut = std::make_shared<zeb::ServiceDirectory>(
        std::make_shared<test_support::RecordingLogger>(std::make_shared<test_support::RecordedLog>(),
                                                        "registry"),
        [this](Clock::time_point at, std::function<void()> function) {
            if (isOutOfMemory) {
                throw std::bad_alloc();
            }
            planned.emplace_back(at, std::move(function));
        },
        [this] { ++changes; }, std::chrono::milliseconds(0));
};

TEST_F(ServiceDirectory, KnowsTheServicesOfAList) {
    tell(listOf("A"));
    runPlanned();
    EXPECT_TRUE(sut->find("A"));
}

TEST_F(ServiceDirectory, ReadsTheFirstListAtOnce) {
    tell(listOf("A"));
    ASSERT_EQ(planned.size(), 1U);
    EXPECT_LE(planned.front().first, Clock::now());
}

TEST_F(ServiceDirectory, ReadsOnlyTheNewestOfTheListsThatWait) {
    for (const char* name : {"A", "B", "C"}) {
        tell(listOf(name));
    }
    EXPECT_EQ(planned.size(), 1U);
    runPlanned();
    EXPECT_EQ(changes, 1);
    EXPECT_TRUE(sut->find("C"));
}

TEST_F(ServiceDirectory, LeavesTheThreadTimeForOtherThingsBeforeItReadsTheNextList) {
    tell(listOf("A", 5000));
    runPlanned();
    tell(listOf("B"));
    ASSERT_EQ(planned.size(), 1U);
    EXPECT_GT(planned.front().first, Clock::now());
}

TEST_F(ServiceDirectory, LeavesARegistryThatSendsNoList) {
    endWait();
    runPlanned();
    EXPECT_EQ(connection->whyClosed, "the service registry sends no list");
}

TEST_F(ServiceDirectory, LeavesARegistryThatEndsTheSubscriptionToItsServices) {
    connection->ended("404 invalid_path: there is no such resource");
    EXPECT_EQ(connection->whyClosed,
              "the subscription to the services was refused or ended: "
              "404 invalid_path: there is no such resource");
}

TEST_F(ServiceDirectory, KeepsARegistryWhoseListWaitedBehindOtherTasks) {
    endWait();
    tell(listOf("A"));
    runPlanned();
    EXPECT_EQ(connection->whyClosed, "");
}

TEST_F(ServiceDirectory, KeepsARegistryThatHasSentAList) {
    tell(listOf("A"));
    endWait();
    runPlanned();
    EXPECT_EQ(connection->whyClosed, "");
}

TEST_F(ServiceDirectory, WaitsAnewForTheListOfEachConnection) {
    const auto listener = sut->listener();
    listener.connected(listener.createService(nullptr, connection));
    endWait();
    EXPECT_EQ(connection->whyClosed, "");
}

TEST_F(ServiceDirectory, SetsNoLimitForTheListIfItsTasksRunBeforeTheirTime) {
    const auto unlimited = std::make_shared<zeb::ServiceDirectory>(
        std::make_shared<test_support::RecordingLogger>(std::make_shared<test_support::RecordedLog>(),
                                                        "registry"),
        [](Clock::time_point, const std::function<void()>& function) { function(); }, [] {});
    const auto listener = unlimited->listener();
    listener.connected(listener.createService(nullptr, connection));
    EXPECT_EQ(connection->whyClosed, "");
}

TEST_F(ServiceDirectory, PlansTheNextListAfterOneThatIsNone) {
    tell("{}");
    runPlanned();
    tell(listOf("A"));
    runPlanned();
    EXPECT_TRUE(sut->find("A"));
}

TEST_F(ServiceDirectory, SaysWhyAListCannotBeUsed) {
    tell("{}");
    runPlanned();
    EXPECT_NE(sut->problem(), "");
    EXPECT_EQ(changes, 1);
}

TEST_F(ServiceDirectory, SaysOnlyOnceWhyAListCannotBeUsed) {
    for (int list = 0; list < 3; ++list) {
        tell("{}");
        runPlanned();
    }
    EXPECT_EQ(changes, 1);
}

TEST_F(ServiceDirectory, ForgetsThatAListCouldNotBeUsedOnceOneCan) {
    tell(listOf("A"));
    runPlanned();
    tell("{}");
    runPlanned();
    tell(listOf("A"));
    runPlanned();
    EXPECT_EQ(sut->problem(), "");
    EXPECT_EQ(changes, 3);
}

TEST_F(ServiceDirectory, KeepsTheLastGoodListWhenOneCannotBeUsed) {
    tell(listOf("A"));
    runPlanned();
    tell("{}");
    runPlanned();
    EXPECT_TRUE(sut->find("A"));
}

TEST_F(ServiceDirectory, AsksAgainForAListForWhichThereWasNoMemory) {
    isOutOfMemory = true;
    tell(listOf("A"));
    EXPECT_EQ(connection->whyClosed, "there is no memory for the list of services");
}

}  // namespace
