#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "Notifications.h"
#include "websocket/NotificationQueue.h"

namespace {

using test_access::subscription;

class NotificationQueueTest : public testing::Test {
 protected:
    void push(std::size_t count, std::size_t size) {
        for (std::size_t number = 0; number < count; ++number) {
            sut.push(lamp, std::string(size, 'x'));
        }
    }

    void deliver(std::size_t count) {
        for (std::size_t number = 0; number < count; ++number) {
            sut.delivered();
        }
    }

    const zeb::SubscriptionRecord::Hold lamp = subscription("lamp");
    zeb::NotificationQueue sut;
};

TEST_F(NotificationQueueTest, WantsTheExecutorToldOnlyWhenNothingWaitedForIt) {
    push(1, 1);
    EXPECT_TRUE(sut.handOver());
    push(1, 1);
    EXPECT_FALSE(sut.handOver());
    zeb::NotificationBatch batch;
    sut.takeAll(batch);
    push(1, 1);
    EXPECT_TRUE(sut.handOver());
}

TEST_F(NotificationQueueTest, HasNothingToTellWhenNothingWasPushed) {
    EXPECT_FALSE(sut.handOver());
}

TEST_F(NotificationQueueTest, GivesWhatSeveralHandOversBroughtAtOnceAndInOrder) {
    sut.push(lamp, "on");
    sut.handOver();
    sut.push(lamp, "off");
    sut.handOver();
    zeb::NotificationBatch batch;
    sut.takeAll(batch);
    EXPECT_EQ(test_access::deliver(batch), (std::vector<std::string>{"lamp on", "lamp off"}));
}

TEST_F(NotificationQueueTest, KeepsBackWhatWasNotHandedOver) {
    push(1, 1);
    zeb::NotificationBatch batch;
    sut.takeAll(batch);
    EXPECT_TRUE(batch.isEmpty());
}

TEST_F(NotificationQueueTest, IsFullWithMoreThan1024Notifications) {
    push(1024, 1);
    EXPECT_FALSE(sut.isFull());
    push(1, 1);
    EXPECT_TRUE(sut.isFull());
}

TEST_F(NotificationQueueTest, IsNotFullOfWhatWasDelivered) {
    push(1025, 1);
    sut.handOver();
    deliver(1);
    EXPECT_FALSE(sut.isFull());
    push(1, 1);
    EXPECT_TRUE(sut.isFull());
}

TEST_F(NotificationQueueTest, HasRoomAgainBelow256Undelivered) {
    push(1025, 1);
    sut.handOver();
    deliver(1025 - 256);
    EXPECT_FALSE(sut.hasRoom());
    deliver(1);
    EXPECT_TRUE(sut.hasRoom());
}

TEST_F(NotificationQueueTest, HasRoomAgainBelowOneMebibyteThatIsStillHeld) {
    push(5, std::size_t{1024} * 1024);
    sut.handOver();
    deliver(5);
    sut.released(std::size_t{4} * 1024 * 1024);
    EXPECT_FALSE(sut.hasRoom());
    sut.released(1);
    EXPECT_TRUE(sut.hasRoom());
}

TEST_F(NotificationQueueTest, IsFullWithMoreThanFourMebibytesToo) {
    push(4, std::size_t{1024} * 1024);
    EXPECT_FALSE(sut.isFull());
    push(1, 1);
    EXPECT_TRUE(sut.isFull());
}

TEST_F(NotificationQueueTest, DiscardsWhatNobodyHasTaken) {
    push(1, 1);
    sut.handOver();
    push(1, 1);
    sut.discard();
    EXPECT_FALSE(sut.handOver());
    zeb::NotificationBatch batch;
    sut.takeAll(batch);
    EXPECT_TRUE(batch.isEmpty());
}

TEST_F(NotificationQueueTest, HasRoomOnceItHasDiscarded) {
    push(1025, 1);
    sut.handOver();
    sut.discard();
    EXPECT_TRUE(sut.hasRoom());
}

}  // namespace
