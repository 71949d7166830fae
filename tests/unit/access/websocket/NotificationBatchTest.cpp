#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Notifications.h"
#include "websocket/NotificationBatch.h"

namespace {

using test_access::deliver;
using test_access::subscription;

class NotificationBatchTest : public testing::Test {
 protected:
    const zeb::SubscriptionRecord::Hold lamp = subscription("lamp");
    const zeb::SubscriptionRecord::Hold horn = subscription("horn");
    zeb::NotificationBatch sut;
};

TEST_F(NotificationBatchTest, DeliversInTheOrderInWhichItWasFilled) {
    sut.push(lamp, "on");
    sut.push(lamp, "");
    sut.push(horn, "loud");
    sut.push(lamp, "off");
    EXPECT_EQ(deliver(sut), (std::vector<std::string>{"lamp on", "lamp ", "horn loud", "lamp off"}));
}

TEST_F(NotificationBatchTest, DeliversNothingTwice) {
    sut.push(lamp, "on");
    deliver(sut);
    EXPECT_TRUE(sut.isEmpty());
    sut.push(horn, "loud");
    EXPECT_EQ(deliver(sut), std::vector<std::string>{"horn loud"});
}

TEST_F(NotificationBatchTest, PutsWhatIsAppendedBehindItsOwn) {
    sut.push(lamp, "on");
    zeb::NotificationBatch later;
    later.push(lamp, "off");
    later.push(horn, "loud");
    sut.append(later);
    EXPECT_TRUE(later.isEmpty());
    EXPECT_EQ(deliver(sut), (std::vector<std::string>{"lamp on", "lamp off", "horn loud"}));
}

TEST_F(NotificationBatchTest, LetsGoOfASubscriptionBeforeAnotherOnesHandlerRuns) {
    auto ofTheHandler = std::make_shared<int>();
    const std::weak_ptr<int> ended = ofTheHandler;
    sut.push(subscription("lamp", [held = std::move(ofTheHandler)](std::string_view) {}), "on");
    sut.push(horn, "loud");
    std::vector<bool> isHeld;
    sut.deliverAll(
        [&](const zeb::SubscriptionRecord&, std::string_view) { isHeld.push_back(!ended.expired()); });
    EXPECT_EQ(isHeld, (std::vector<bool>{true, false}));
}

TEST_F(NotificationBatchTest, IsEmptyAfterADeliveryThatThrew) {
    sut.push(lamp, "on");
    EXPECT_THROW(sut.deliverAll([](const zeb::SubscriptionRecord&, std::string_view) {
        throw std::runtime_error("no");
    }),
                 std::runtime_error);
    EXPECT_TRUE(sut.isEmpty());
}

}  // namespace
