// Part of a separate program, whose operator new counts.
#include <CountedMemory.h>
#include <RecordingLogger.h>
#include <gtest/gtest.h>
#include <zeb/ITpAccess.h>
#include <zeb/XObject.h>
#include <zeb/ZebAccessor.h>
#include <zebutil/ITaskExecutor.h>
#include <zebutil/JsonObject.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace {

using test_support::CountedMemory;
using test_support::RecordedLog;
using Element = zeb::XObject<zeb::XObjectDescriptor>;

constexpr std::size_t kLargestAnswer = std::size_t{1} * 1024 * 1024;

class ImmediateExecutor : public zebutil::ITaskExecutor {
 public:
    void add(std::function<void()> function, const char*) override { function(); }
};

class OneAnswer : public zeb::ITpAccess {
 public:
    explicit OneAnswer(const std::string& body) : body_(body) {}

    zeb::ZebResponse get(const std::string&, const std::string&, const Query&, Deadline) override {
        return {200, body_};
    }
    zeb::ZebResponse post(const std::string&, const std::string&, const std::string&, Deadline) override {
        return {};
    }

 private:
    const std::string& body_;
};

struct List {
    const char* name;
    /// Repeated until the answer is as large as it can be, or has `most` elements.
    std::string element;
    std::size_t most;
};

std::ostream& operator<<(std::ostream& stream, const List& list) {
    return stream << list.name;
}

std::string answerOf(const List& list) {
    std::string answer = R"({"data":[)" + list.element;
    for (std::size_t count = 1;
         count < list.most && answer.size() + list.element.size() + 3 <= kLargestAnswer; ++count) {
        answer += "," + list.element;
    }
    return answer + "]}";
}

std::string manyMembers(const std::string& value, std::size_t size) {
    std::string element = R"({"id":"1")";
    for (int number = 0; element.size() < size; ++number) {
        element += ",\"" + std::to_string(number) + "\":" + value;
    }
    return element + "}";
}

class MemoryOfAList : public testing::TestWithParam<List> {};

TEST_P(MemoryOfAList, IsAtMostEightTimesThatOfTheLargestAnswer) {
    const std::string body = answerOf(GetParam());
    ASSERT_LE(body.size(), kLargestAnswer);
    const auto executor = std::make_shared<ImmediateExecutor>();
    zeb::ZebAccessor sut(std::make_shared<OneAnswer>(body), executor, executor,
                         std::make_shared<test_support::RecordingLogger>(
                             std::make_shared<RecordedLog>(RecordedLog::Keep::Nothing), ""));
    std::vector<std::shared_ptr<const Element>> kept;
    bool isAnswered = false;
    const auto findAll = [&] {
        sut.findAll<Element>(
            zeb::XObjectDescriptor("Lighting", "lamps"),
            [&](std::vector<std::shared_ptr<const Element>> elements, const auto&) {
                isAnswered = true;
                kept = std::move(elements);
            },
            [&](const auto&) { isAnswered = true; });
    };
    findAll();  // what is wrong with the answer is remembered, so as to be logged once
    EXPECT_TRUE(isAnswered);
    std::vector<std::shared_ptr<const Element>>().swap(kept);
    const CountedMemory memory;
    findAll();
    EXPECT_LE(memory.peak(), 8 * kLargestAnswer);
    std::vector<std::shared_ptr<const Element>>().swap(kept);
    EXPECT_LE(memory.inUse(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Of, MemoryOfAList,
    testing::Values(List{"OneElement", R"({"id":"1"})", 1}, List{"TheMostElements", R"({"id":"1"})", 5000},
                    List{"TooManyElements", "{}", 1'000'000},
                    List{"ElementsOfManyNumbers", manyMembers("1", 190), 5000},
                    List{"ElementsOfManyObjects", manyMembers("{}", 190), 5000},
                    List{"LargeElementsOfManyObjects", manyMembers("{}", 250'000), 4},
                    List{"ElementsOfLongTexts", R"({"id":")" + std::string(180, 'x') + "\"}", 5000}),
    [](const auto& testCase) { return testCase.param.name; });

}  // namespace
