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

/// Answers with one element that is asked for and with many small values that nobody asked for.
class LargeAnswer : public zeb::ITpAccess {
 public:
    explicit LargeAnswer(std::size_t size) : body_(R"({"data":[{"id":"1","type":"Clamp15"})") {
        while (body_.size() + 5 < size) {
            body_ += ",{}";
        }
        body_ += "]}";
    }

    zeb::ZebResponse get(const std::string&, const std::string&, const Query&, Deadline) override {
        return zeb::ZebResponse(200, body_);
    }
    zeb::ZebResponse post(const std::string&, const std::string&, const std::string&, Deadline) override {
        return {};
    }

 private:
    std::string body_;
};

class FindFirstMemory : public testing::Test {
 protected:
    void findFirst() {
        accessor_.findFirst<Clamp>(
            Clamp::Desctype(),
            [this](std::shared_ptr<const Clamp> clamp, const std::shared_ptr<const zeb::ZebResponse>&) {
                clamp_ = std::move(clamp);
            },
            {});
    }

    static constexpr std::size_t kSize = std::size_t{1} << 20U;
    const std::shared_ptr<ImmediateExecutor> executor_ = std::make_shared<ImmediateExecutor>();
    zeb::ZebAccessor accessor_{
        std::make_shared<LargeAnswer>(kSize), executor_, executor_,
        std::make_shared<test_support::RecordingLogger>(std::make_shared<test_support::RecordedLog>(), "")};
    std::shared_ptr<const Clamp> clamp_;
};

TEST_F(FindFirstMemory, IsAtMostEightTimesTheAnswer) {
    const CountedMemory memory;
    findFirst();
    EXPECT_TRUE(clamp_);
    EXPECT_LE(memory.peak(), 8 * kSize);
}

TEST_F(FindFirstMemory, DoesNotGrowWithWhatNobodyAskedForOnceTheElementIsFound) {
    const CountedMemory memory;
    findFirst();
    EXPECT_EQ(clamp_->getId().getValue(), "1");
    EXPECT_LE(memory.inUse(), 4096);
}

}  // namespace
