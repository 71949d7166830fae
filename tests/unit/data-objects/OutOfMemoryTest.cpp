// A program of its own, whose memory can be made to end.
#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <ZebDataObjects_ZEB/Servicemanagement.h>
#include <gtest/gtest.h>
#include <zebutil/JsonObject.h>

#include <memory>

#include "DataObjectTest.h"
#include "FailingMemory.h"

namespace {

using test_data_objects::allocationHasFailed;
using test_data_objects::allocationsLeft;
using DataObjectWithoutMemory = test_data_objects::DataObjectTest;

/// Fills objects with memory for no allocation, for one, for two and so on, until one fill has all it wants.
template <typename R>
void fillWithEverMoreMemory(const char* text) {
    const std::shared_ptr<zebutil::JsonObject> json = zebutil::JsonObject::parse(text);
    // Makes a logger that is kept: the thread sanitizer does not let go of a once-flag after an exception.
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

TEST_F(DataObjectWithoutMemory, EndsASilentFillQuietly) {
    fillWithEverMoreMemory<zebobjects_ZEB::ClampcontrolService::Clamp>(
        R"({"id":"a text too long for a string's own storage","isSwitchedOn":1,"type":"none of the literals"})");
}

TEST_F(DataObjectWithoutMemory, EndsAReportedFillQuietly) {
    fillWithEverMoreMemory<zebobjects_ZEB::ServicemanagementService::MqttOperationType>(
        R"({"id":"a text too long for a string's own storage","isAlwaysOnOperation":1,"payloadSecurityLevel":{}})");
}

}  // namespace
