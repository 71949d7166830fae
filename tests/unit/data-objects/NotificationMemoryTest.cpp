// A separate program, whose operator new counts.
#include <CountedMemory.h>
#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <gtest/gtest.h>
#include <zeb/Service.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "OneSubscription.h"

namespace {

using test_data_objects::OneSubscription;
using test_support::CountedMemory;
using Clamp = zebobjects_ZEB::ClampcontrolService::Clamp;

class NotificationMemory : public testing::Test {
 protected:
    NotificationMemory() {
        Clamp::Desctype descriptor;
        descriptor.setId("1");
        service_.subscribeElement<Clamp>(
            descriptor, [this](std::shared_ptr<const Clamp> clamp) { clamp_ = std::move(clamp); });
    }

    void notify() { manager_->notify(text_); }

    const std::shared_ptr<OneSubscription> manager_ = std::make_shared<OneSubscription>();
    zeb::Service service_{nullptr, manager_};
    std::shared_ptr<const Clamp> clamp_;
    /// Five keys, and two texts that are too long for a string's own storage.
    const std::string text_ = R"({"id":"3f2504e0-4f89-41d3-9a0c-0305e82c3301","name":"Clamp15",)"
                              R"("uri":"/ClampControl/clamps/3f2504e0-4f89-41d3-9a0c-0305e82c3301",)"
                              R"("isSwitchedOn":true,"type":"Clamp15"})";
};

TEST_F(NotificationMemory, IsAtMostSixteenAllocationsForAClamp) {
    notify();  // whatever is made once
    const CountedMemory memory;
    notify();
    EXPECT_TRUE(clamp_->getIsSwitchedOn().getValue());
    EXPECT_LE(memory.allocations(), 16U);
}

TEST_F(NotificationMemory, IsGivenBackWithTheClamp) {
    notify();
    clamp_.reset();
    const CountedMemory memory;
    notify();
    clamp_.reset();
    EXPECT_EQ(memory.inUse(), 0);
}

}  // namespace
