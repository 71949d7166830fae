// A separate program, whose operator new counts.
#include <CountedMemory.h>
#include <RecordingLogger.h>
#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <gtest/gtest.h>
#include <zeb/ITpAccess.h>
#include <zeb/ZebAccessor.h>
#include <zebutil/ITaskExecutor.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace {

using test_support::CountedMemory;
using Clamp = zebobjects_ZEB::ClampcontrolService::Clamp;

class ImmediateExecutor : public zebutil::ITaskExecutor {
 public:
    void add(std::function<void()> function, const char*) override { function(); }
};

/// Answers with what it was given.
class LargeAnswer : public zeb::ITpAccess {
 public:
    explicit LargeAnswer(std::string body) : body_(std::move(body)) {}

    zeb::ZebResponse get(const std::string&, const std::string&, const Query&, Deadline) override {
        return zeb::ZebResponse(200, body_);
    }
    zeb::ZebResponse post(const std::string&, const std::string&, const std::string&, Deadline) override {
        return {};
    }

 private:
    std::string body_;
};

// `begin`, with as many times `piece` as there is room for, and then `end`.
std::string filled(const std::string& begin, const std::string& piece, const std::string& end,
                   std::size_t size) {
    std::string text = begin;
    while (text.size() + piece.size() + end.size() <= size) {
        text += piece;
    }
    return text + end;
}

class FindFirstMemory : public testing::Test {
 protected:
    void findFirst(const std::string& answer) {
        zeb::ZebAccessor accessor(std::make_shared<LargeAnswer>(answer), executor_, executor_,
                                  std::make_shared<test_support::RecordingLogger>(
                                      std::make_shared<test_support::RecordedLog>(), ""));
        accessor.findFirst<Clamp>(
            Clamp::Desctype(),
            [this](std::shared_ptr<const Clamp> clamp, const std::shared_ptr<const zeb::ZebResponse>&) {
                clamp_ = std::move(clamp);
            },
            {});
    }

    static constexpr std::size_t kSize = std::size_t{1} << 20U;
    static constexpr std::size_t kSmall = 16384;
    const std::shared_ptr<ImmediateExecutor> executor_ = std::make_shared<ImmediateExecutor>();
    // One element that is asked for, and many small values that nobody asked for.
    const std::string manyElements_ = filled(R"({"data":[{"id":"1","type":"Clamp15"})", ",{}", "]}", kSize);
    const std::string manyMembers_ = filled("{", R"("":{},)", R"("data":[{"id":"1"}]})", kSize);
    const std::string largeElement_ = filled(R"({"data":[{"id":"1","x":[{})", ",{}", "]}]}", kSize);
    std::shared_ptr<const Clamp> clamp_;
};

TEST_F(FindFirstMemory, IsAtMostEightTimesTheAnswerIfAllOfItIsTheElement) {
    const CountedMemory memory;
    findFirst(largeElement_);
    EXPECT_TRUE(clamp_);
    EXPECT_LE(memory.peak(), 8 * kSize);
}

// The answer is there twice: what the access has and what it returns.
TEST_F(FindFirstMemory, IsThatOfTheAnswerAndTheElementWhateverElseIsInItsList) {
    const CountedMemory memory;
    findFirst(manyElements_);
    EXPECT_TRUE(clamp_);
    EXPECT_LE(memory.peak(), 2 * kSize + kSmall);
}

TEST_F(FindFirstMemory, IsThatOfTheAnswerAndTheElementWhateverElseIsInTheAnswer) {
    const CountedMemory memory;
    findFirst(manyMembers_);
    EXPECT_TRUE(clamp_);
    EXPECT_LE(memory.peak(), 2 * kSize + kSmall);
}

TEST_F(FindFirstMemory, DoesNotGrowWithWhatNobodyAskedForOnceTheElementIsFound) {
    const CountedMemory memory;
    findFirst(manyElements_);
    EXPECT_EQ(clamp_->getId().getValue(), "1");
    EXPECT_LE(memory.inUse(), 4096);
}

}  // namespace
