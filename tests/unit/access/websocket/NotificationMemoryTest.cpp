#include <CountedMemory.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "Notifications.h"
#include "websocket/NotificationBatch.h"
#include "websocket/NotificationQueue.h"

namespace {

using test_access::subscription;

constexpr int kBurst = 10000;

class NotificationMemory : public testing::Test {
 protected:
    /// `count` notifications of which one half was handed over.
    void pushWithoutTaking(int count) {
        for (int index = 0; index < count; ++index) {
            queue_.push(lamp_, payload_);
            if (index == count / 2) {
                queue_.handOver();
            }
        }
    }

    void discard() { queue_.discard(); }

    /// The way of `count` notifications that wait for the executor at the same time.
    void pass(int count) {
        for (int index = 0; index < count; ++index) {
            // Each is a run of its own.
            queue_.push(index % 2 == 0 ? lamp_ : horn_, payload_);
        }
        queue_.handOver();
        queue_.takeAll(batch_);
        batch_.deliverAll([this](const zeb::SubscriptionRecord&, std::string_view) { queue_.delivered(); });
    }

 private:
    const std::string payload_ = std::string(200, 'x');
    const zeb::SubscriptionRecord::Hold lamp_ = subscription("lamp");
    const zeb::SubscriptionRecord::Hold horn_ = subscription("horn");
    zeb::NotificationQueue queue_;
    zeb::NotificationBatch batch_;
};

TEST_F(NotificationMemory, OfABurstIsGivenBack) {
    const test_support::CountedMemory memory;
    pass(kBurst);
    EXPECT_LT(memory.inUse(), 16 * 1024);
}

TEST_F(NotificationMemory, OfWhatWasDiscardedIsGivenBack) {
    const test_support::CountedMemory memory;
    pushWithoutTaking(kBurst);
    discard();
    EXPECT_EQ(memory.inUse(), 0);
}

TEST_F(NotificationMemory, OfAFewNotificationsIsUsedAgain) {
    constexpr int few = 10;
    for (int round = 0; round < 3; ++round) {
        pass(few);  // each of the three batches that take turns gets its memory
    }
    const test_support::CountedMemory memory;
    pass(few);
    EXPECT_EQ(memory.allocations(), 0U);
}

}  // namespace
