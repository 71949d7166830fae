// The header of a unit is enough to build an object from JSON, to read it and to print it. No other header
// may stand before these functions.
#include <ZebDataObjects_ZEB/Clampcontrol.h>

namespace {

using zebobjects_ZEB::ClampcontrolService;

ClampcontrolService::Clamp clampOf(const std::string& json) {
    return ClampcontrolService::Clamp(zebutil::JsonObject::parse(json));
}

std::string textOf(const ClampcontrolService::Clamp& clamp) {
    return clamp.toString() + " " + to_string(clamp.getType()) + " " + clamp.getName().valueOr("nameless") +
           " " + clamp.getDescriptor().getAsJson()->toString();
}

}  // namespace

#include <gtest/gtest.h>

namespace {

TEST(UnitHeader, IsEnoughToBuildAndPrintAnObject) {
    EXPECT_EQ(textOf(clampOf(R"({"type":"ClampS"})")),
              R"({"type":"ClampS"} ClampS(1) nameless {"type":"ClampS"})");
}

}  // namespace
