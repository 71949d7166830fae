// A separate program, whose operator new counts.
#include <CountedMemory.h>
#include <gtest/gtest.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonException.h>
#include <zebutil/JsonObject.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "HostileJson.h"

namespace {

using test_json::HostileJson;
using test_support::CountedMemory;
using zebutil::JsonObject;

constexpr std::size_t kMebibyte = std::size_t{1} << 20U;

/// What the C library and the few small allocations of a reading add.
constexpr std::size_t kRounding = std::size_t{16} * 1024;

void parseAndForget(const std::string& text) {
    try {
        JsonObject::parse(text);
    } catch (const zebutil::JsonException&) {
        // Some of the texts are broken.
    }
}

class JsonMemory : public testing::TestWithParam<HostileJson> {};

std::string nameOf(const testing::TestParamInfo<HostileJson>& info) {
    return info.param.name;
}

TEST_P(JsonMemory, IsAtMostFiveTimesTheText) {
    const std::string text = GetParam().ofSize(kMebibyte);
    const CountedMemory memory;
    parseAndForget(text);
    EXPECT_LE(memory.peak(), 5 * text.size() + kRounding);
}

TEST_P(JsonMemory, IsAllGivenBack) {
    const std::string text = GetParam().ofSize(kMebibyte);
    const CountedMemory memory;
    parseAndForget(text);
    EXPECT_EQ(memory.inUse(), 0);
}

TEST_P(JsonMemory, IsAllocatedInAsManyPiecesForSmallAsForLargeTexts) {
    const auto allocationsFor = [](std::size_t size) {
        const std::string text = GetParam().ofSize(size);
        const CountedMemory memory;
        parseAndForget(text);
        return memory.allocations();
    };
    EXPECT_EQ(allocationsFor(kMebibyte), allocationsFor(4096));
}

INSTANTIATE_TEST_SUITE_P(Texts, JsonMemory, testing::ValuesIn(test_json::hostileJson()), nameOf);

/// Those that take the most, at the size of the largest answer.
class JsonMemoryOfTheLargestAnswer : public testing::TestWithParam<HostileJson> {};

TEST_P(JsonMemoryOfTheLargestAnswer, IsAtMostEightTimesTheText) {
    const std::string text = GetParam().ofSize(16 * kMebibyte);
    const CountedMemory memory;
    parseAndForget(text);
    EXPECT_LE(memory.peak(), 8 * text.size());
    EXPECT_EQ(memory.inUse(), 0);
}

std::vector<HostileJson> theWorst() {
    std::vector<HostileJson> texts;
    for (const HostileJson& each : test_json::hostileJson()) {
        for (const char* const name :
             {"EmptyObjects", "Zeros", "NestedArrays", "KeysInNoOrder", "OpenArrays"}) {
            if (each.name == std::string(name)) {
                texts.push_back(each);
            }
        }
    }
    return texts;
}

INSTANTIATE_TEST_SUITE_P(Texts, JsonMemoryOfTheLargestAnswer, testing::ValuesIn(theWorst()), nameOf);

TEST(JsonMemoryOfAnElement, IsTwoPieces) {
    const std::string text = R"({"id":"1","name":"Clamp15","isSwitchedOn":true,"more":[1,{"x":2}]})";
    const CountedMemory memory;
    const auto sut = JsonObject::parse(text);
    EXPECT_EQ(memory.allocations(), 2U);
}

TEST(JsonMemoryOfAnElement, IsNotNeededToReadIt) {
    const auto sut = JsonObject::parse(R"({"id":"1","isSwitchedOn":true,"value":17})");
    const CountedMemory memory;
    EXPECT_TRUE(sut->getBool("isSwitchedOn") && sut->getInt64("value") == 17 && sut->getString("id") == "1");
    EXPECT_EQ(memory.allocations(), 0U);
}

TEST(JsonMemoryOfAList, IsOnePieceForAnElementThatIsTakenOut) {
    const auto list = JsonObject::parse(R"({"data":[{"id":"1"},{"id":"2"}]})")->getArray("data");
    const CountedMemory memory;
    const auto element = list->getObject(1);
    EXPECT_EQ(memory.allocations(), 1U);
}

TEST(JsonMemoryOfATree, IsGivenBack) {
    const std::string text =
        R"({"a":[1,2.5,"a text too long for a string's own storage",{"b":null}],"c":{}})";
    JsonObject::parse(text)->getTree();  // whatever is made once
    const CountedMemory memory;
    JsonObject::parse(text)->getArray("a")->getTree();
    EXPECT_EQ(memory.inUse(), 0);
}

}  // namespace
