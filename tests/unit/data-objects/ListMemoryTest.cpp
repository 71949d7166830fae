// A separate program, whose operator new counts.
#include <CountedMemory.h>
#include <RecordingLogger.h>
#include <ZebDataObjects_ZEB/Servicemanagement.h>
#include <gtest/gtest.h>
#include <zebutil/JsonObject.h>
#include <zebutil/LoggerFactory.h>

#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>

namespace {

using test_support::CountedMemory;
using TransactionType = zebobjects_ZEB::ServicemanagementService::TransactionType;

constexpr std::size_t kElements = 10'000;

std::string listOf(const std::string& element, const std::string& key) {
    std::string text = R"({")" + key + R"(":[)" + element;
    for (std::size_t i = 1; i < kElements; ++i) {
        text += "," + element;
    }
    return text + "]}";
}

TEST(ListMemory, IsOfReferencesThatOfTheElementsAndLittleMore) {
    using Operations = std::decay_t<decltype(TransactionType().getAttachedOperations().getValue())>;
    const auto json = zebutil::JsonObject::parse(listOf("{}", "attachedOperations"));
    const CountedMemory memory;
    const TransactionType sut(json);
    EXPECT_EQ(sut.getAttachedOperations().getValue().size(), kElements);
    EXPECT_LE(memory.peak(), kElements * (sizeof(Operations::value_type) + 100));
}

TEST(ListMemory, IsOfLiteralsAtMostThriceThatOfTheText) {
    const std::string text = listOf(R"("trackingData")", "privacyGroups");
    const auto json = zebutil::JsonObject::parse(text);
    const CountedMemory memory;
    const TransactionType sut(json);
    EXPECT_EQ(sut.getPrivacyGroups().getValue().size(), kElements);
    EXPECT_LE(memory.peak(), 3 * text.size());
}

TEST(ListMemory, IsOfUnknownLiteralsThatOfOneMessage) {
    using test_support::RecordedLog;
    zebutil::LoggerFactory::setDefaultLoggerFactoryOnce(
        std::make_shared<test_support::RecordingLoggerFactory>(
            std::make_shared<RecordedLog>(RecordedLog::Keep::Nothing)));
    const auto json = zebutil::JsonObject::parse(listOf(R"("")", "privacyGroups"));
    const CountedMemory memory;
    const TransactionType sut(json);
    EXPECT_LT(memory.allocations(), 100U);
}

}  // namespace
