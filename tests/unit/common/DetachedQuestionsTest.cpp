#include <ChildProcess.h>
#include <TestBuild.h>
#include <gtest/gtest.h>
#include <internal/DetachedQuestions.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>

namespace {

constexpr std::chrono::seconds kLimit{20};

/// A key whose copies can fail for want of memory.
class CostlyKey {
 public:
    CostlyKey() = default;
    CostlyKey(const CostlyKey& other) {
        static_cast<void>(other);
        if (copiesLeft == 0) {
            throw std::bad_alloc();
        }
        --copiesLeft;
    }
    CostlyKey(CostlyKey&&) noexcept = default;
    CostlyKey& operator=(const CostlyKey&) = delete;
    CostlyKey& operator=(CostlyKey&&) noexcept = default;
    ~CostlyKey() = default;

    bool operator<(const CostlyKey& /*other*/) const { return false; }
    bool operator==(const CostlyKey& /*other*/) const { return true; }

    static int copiesLeft;
};

int CostlyKey::copiesLeft = 0;

using Questions = internal::DetachedQuestions<CostlyKey, std::string>;

// How many copies of the key a question takes until it is asked.
constexpr int kCopies = 3;

class DetachedQuestionsWithoutMemory : public testing::TestWithParam<int> {
 protected:
    Questions sut{{"questions", "test"},
                  [](const CostlyKey&) { return std::string("answer"); },
                  [](const std::string& reason) { return reason; }};
};

INSTANTIATE_TEST_SUITE_P(AtEveryStep, DetachedQuestionsWithoutMemory, testing::Range(0, kCopies));

TEST_P(DetachedQuestionsWithoutMemory, AnswerTheSameQuestionWhenThereIsMemoryAgain) {
    CostlyKey::copiesLeft = GetParam();
    EXPECT_THROW(static_cast<void>(sut.ask({}, [](const std::string&) {})), std::bad_alloc);
    CostlyKey::copiesLeft = kCopies;
    std::promise<std::string> reply;
    auto answered = reply.get_future();
    const auto question = sut.ask({}, [&reply](const std::string& answer) { reply.set_value(answer); });
    ASSERT_EQ(answered.wait_for(kLimit), std::future_status::ready);
    EXPECT_EQ(answered.get(), "answer");
}

using WordQuestions = internal::DetachedQuestions<std::string, std::string>;

// The thread that answers holds a lock meanwhile, and does not come along.
TEST(DetachedQuestionsInAForkedChild, AreAnsweredAlthoughTheParentWasAtWork) {
    if (!test_support::kForkedChildMayStartThreads) {
        GTEST_SKIP() << "the child starts a thread";
    }
    WordQuestions sut(
        {"questions", "test"}, [](const std::string& word) { return "answer to " + word; },
        [](const std::string& reason) { return reason; });
    std::promise<test_support::ChildResult> result;
    const auto question = sut.ask("parent", [&](const std::string&) {
        result.set_value(test_support::runInChild([&sut] {
            ::alarm(20);  // ends a child that hangs
            std::promise<std::string> reply;
            const auto ofChild =
                sut.ask("child", [&reply](const std::string& answer) { reply.set_value(answer); });
            std::cout << reply.get_future().get() << std::endl;
        }));
    });
    EXPECT_EQ(result.get_future().get().output, "answer to child\n");
}

}  // namespace
