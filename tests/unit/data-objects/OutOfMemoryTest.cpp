// A separate program, whose operator new can be made to fail.
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

TEST_F(DataObjectWithoutMemory, EndsASilentFillQuietly) {
    fillWithEverMoreMemory<zebobjects_ZEB::ClampcontrolService::Clamp>(
        R"({"id":"a text too long for a string's own storage","isSwitchedOn":1,"type":"none of the literals"})");
}

TEST_F(DataObjectWithoutMemory, EndsAReportedFillQuietly) {
    fillWithEverMoreMemory<zebobjects_ZEB::ServicemanagementService::MqttOperationType>(
        R"({"id":"a text too long for a string's own storage","isAlwaysOnOperation":1,"payloadSecurityLevel":{}})");
}

}  // namespace
