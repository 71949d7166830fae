// A separate program, whose operator new can be made to fail.
#include <RecordingLogger.h>
#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <ZebDataObjects_ZEB/Servicemanagement.h>
#include <gtest/gtest.h>
#include <zeb/ITpAccess.h>
#include <zeb/Service.h>
#include <zeb/ZebAccessor.h>
#include <zebutil/ITaskExecutor.h>
#include <zebutil/JsonObject.h>

#include <atomic>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>

#include "DataObjectTest.h"
#include "FailingMemory.h"
#include "OneSubscription.h"

namespace {

using test_data_objects::allocationHasFailed;
using test_data_objects::allocationsLeft;
using test_data_objects::OneSubscription;
using DataObjectWithoutMemory = test_data_objects::DataObjectTest;
using Clamp = zebobjects_ZEB::ClampcontrolService::Clamp;
using Transaction = zebobjects_ZEB::ServicemanagementService::TransactionType;

constexpr const char* kClamp =
    R"({"id":"a text too long for a string's own storage","isSwitchedOn":true,"type":"Clamp15"})";

/// Fills objects with memory for no allocation, for one, for two and so on, until a fill succeeds completely.
template <typename R>
void fillWithEverMoreMemory(const char* text) {
    const std::shared_ptr<zebutil::JsonObject> json = zebutil::JsonObject::parse(text);
    // Creates the logger that the module keeps: under the thread sanitizer a once-flag stays locked after an
    // exception.
    R().fillFromJson(json);
    long allocations = 0;
    do {
        R sut;
        allocationHasFailed = false;
        allocationsLeft = allocations++;
        try {
            sut.fillFromJson(json);
            allocationsLeft = -1;
        } catch (...) {
            allocationsLeft = -1;
            FAIL() << "threw with memory for " << allocations - 1 << " allocations";
        }
    } while (allocationHasFailed);
    EXPECT_GT(allocations, 5) << "too few allocations for a fill: nothing was tried";
}

bool isWhole(const Clamp& clamp) {
    return clamp.getId().hasValue() && clamp.getIsSwitchedOn().hasValue() && clamp.getType().hasValue();
}

TEST_F(DataObjectWithoutMemory, EndsASilentFillQuietly) {
    fillWithEverMoreMemory<Clamp>(
        R"({"id":"a text too long for a string's own storage","isSwitchedOn":1,"type":"none of the literals"})");
}

TEST_F(DataObjectWithoutMemory, EndsAReportedFillQuietly) {
    fillWithEverMoreMemory<zebobjects_ZEB::ServicemanagementService::MqttOperationType>(
        R"({"id":"a text too long for a string's own storage","isAlwaysOnOperation":1,"payloadSecurityLevel":{}})");
}

/// Fills objects as above, and checks that each one is whole or says that it lacks values.
template <typename R, typename IsWhole>
void expectToTellWhatIsLost(const char* text, const IsWhole& isWhole) {
    const std::shared_ptr<zebutil::JsonObject> json = zebutil::JsonObject::parse(text);
    R().fillFromJson(json);
    R().fillFromJson(zebutil::JsonObject::parse(R"({"id":{}})"));  // makes the logger, as above
    long allocations = 0;
    do {
        R sut;
        allocationHasFailed = false;
        allocationsLeft = allocations++;
        sut.fillFromJson(json);
        allocationsLeft = -1;
        EXPECT_TRUE(sut.lacksMemory() || isWhole(sut)) << allocations - 1 << " allocations";
        EXPECT_TRUE(allocationHasFailed || !sut.lacksMemory());
    } while (allocationHasFailed);
}

TEST_F(DataObjectWithoutMemory, SaysThatItLacksValues) {
    expectToTellWhatIsLost<Clamp>(kClamp, isWhole);
}

TEST_F(DataObjectWithoutMemory, SaysThatAnElementItRefersToLacksValues) {
    expectToTellWhatIsLost<Transaction>(
        R"({"attachedOperations":[{"id":"a text too long for a string's own storage"}]})",
        [](const Transaction& sut) {
            return sut.getAttachedOperations().hasValue() &&
                   sut.getAttachedOperations().getValue()[0].getId().hasValue();
        });
}

TEST_F(DataObjectWithoutMemory, IsCompleteAfterAFillWithMemory) {
    const std::shared_ptr<zebutil::JsonObject> json = zebutil::JsonObject::parse(kClamp);
    Clamp sut;
    allocationsLeft = 0;
    sut.fillFromJson(json);
    allocationsLeft = -1;
    ASSERT_TRUE(sut.lacksMemory());
    sut.fillFromJson(json);
    EXPECT_FALSE(sut.lacksMemory());
}

/// Gives the memory back as soon as an allocation has failed, however long that takes.
class MemoryThatComesBack {
 public:
    explicit MemoryThatComesBack(long allocations) {
        allocationHasFailed = false;  // first: the thread looks at it
        thread_ = std::thread([this] {
            while (!isOver_ && !allocationHasFailed) {
                std::this_thread::yield();
            }
            allocationsLeft = -1;
        });
        allocationsLeft = allocations;
    }
    ~MemoryThatComesBack() {
        isOver_ = true;
        thread_.join();
    }
    MemoryThatComesBack(const MemoryThatComesBack&) = delete;
    MemoryThatComesBack& operator=(const MemoryThatComesBack&) = delete;

 private:
    std::atomic<bool> isOver_ = false;
    std::thread thread_;
};

// A state that was lost for a moment's want of memory would be missing until it changes.
TEST_F(DataObjectWithoutMemory, IsDeliveredByASubscriptionOnceItIsWhole) {
    const auto manager = std::make_shared<OneSubscription>();
    zeb::Service service(nullptr, manager);
    std::shared_ptr<const Clamp> delivered;
    Clamp::Desctype descriptor;
    descriptor.setId("1");
    service.subscribeElement<Clamp>(
        descriptor, [&delivered](std::shared_ptr<const Clamp> clamp) { delivered = std::move(clamp); });
    long allocations = 0;
    do {
        delivered.reset();
        {
            const MemoryThatComesBack memory(allocations++);
            manager->notify(kClamp);
        }
        ASSERT_TRUE(delivered);
        EXPECT_TRUE(isWhole(*delivered)) << allocations - 1 << " allocations";
    } while (allocationHasFailed);
}

class ImmediateExecutor : public zebutil::ITaskExecutor {
 public:
    void add(std::function<void()> function, const char*) override { function(); }
};

class OneAnswer : public zeb::ITpAccess {
 public:
    zeb::ZebResponse get(const std::string&, const std::string&, const Query&, Deadline) override {
        return zeb::ZebResponse(200, std::string(R"({"data":[)") + kClamp + "]}");
    }
    zeb::ZebResponse post(const std::string&, const std::string&, const std::string&, Deadline) override {
        return {};
    }
};

TEST_F(DataObjectWithoutMemory, IsNotTheResultOfARequestUnlessItIsWhole) {
    const auto executor = std::make_shared<ImmediateExecutor>();
    const auto logger =
        std::make_shared<test_support::RecordingLogger>(std::make_shared<test_support::RecordedLog>(), "");
    long allocations = 0;
    do {
        zeb::ZebAccessor accessor(std::make_shared<OneAnswer>(), executor, executor, logger);
        int outcomes = 0;
        std::shared_ptr<const Clamp> found;
        const auto success = [&](std::shared_ptr<const Clamp> clamp,
                                 const std::shared_ptr<const zeb::ZebResponse>&) {
            ++outcomes;
            found = std::move(clamp);
        };
        const auto failure = [&](const std::shared_ptr<const zeb::ZebResponse>&) { ++outcomes; };
        {
            const MemoryThatComesBack memory(allocations++);
            try {
                accessor.findFirst<Clamp>(Clamp::Desctype(), success, failure);
            } catch (const std::bad_alloc&) {
                ++outcomes;
            }
        }
        EXPECT_EQ(outcomes, 1) << allocations - 1 << " allocations";
        EXPECT_TRUE(!found || isWhole(*found)) << allocations - 1 << " allocations";
    } while (allocationHasFailed);
}

}  // namespace
