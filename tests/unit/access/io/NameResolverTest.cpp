#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "io/NameResolver.h"

namespace {

using zeb::NameResolver;

constexpr std::chrono::seconds kLimit{20};

NameResolver::Answer answerOf(const std::string& address) {
    return {{boost::asio::ip::make_address(address)}, {}};
}

/// A look-up that waits until it is released, like one whose name servers are silent. It may outlive the
/// test, so its thread shares what it uses.
class SilentLookUp {
 public:
    void waitForFirst() {
        if (state_->firstBegun.get_future().wait_for(kLimit) != std::future_status::ready) {
            throw std::runtime_error("no look-up has begun");
        }
    }
    void release() { state_->released.set_value(); }
    int begun() const { return state_->begun; }

    NameResolver::Function function() {
        return [state = state_](const std::string&) {
            if (++state->begun == 1) {
                state->firstBegun.set_value();
            }
            state->release.wait();
            return answerOf("127.0.0.1");
        };
    }

 private:
    struct State {
        std::promise<void> released;
        std::shared_future<void> release = released.get_future().share();
        std::atomic<int> begun = 0;
        std::promise<void> firstBegun;
    };

    const std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// Receives one answer.
class Reply {
 public:
    NameResolver::Done done() {
        return [this](const NameResolver::Answer& answer) { promise_.set_value(answer); };
    }
    bool hasCome() { return future_.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }
    NameResolver::Answer get() {
        if (future_.wait_for(kLimit) != std::future_status::ready) {
            throw std::runtime_error("no answer");
        }
        return future_.get();
    }

 private:
    std::promise<NameResolver::Answer> promise_;
    std::future<NameResolver::Answer> future_ = promise_.get_future();
};

TEST(NameResolver, FindsTheAddressOfAnAddress) {
    Reply reply;
    NameResolver resolver;
    const auto question = resolver.ask("127.0.0.1", reply.done());
    EXPECT_EQ(reply.get().addresses, answerOf("127.0.0.1").addresses);
}

TEST(NameResolver, SaysWhyThereIsNoAddress) {
    Reply reply;
    NameResolver resolver;
    const auto question = resolver.ask("no host has this name", reply.done());
    const auto answer = reply.get();
    EXPECT_TRUE(answer.addresses.empty());
    EXPECT_FALSE(answer.failure.empty());
}

TEST(NameResolver, AnswersEverybodyWhoAsksForOneNameWithOneLookUp) {
    SilentLookUp lookUp;
    NameResolver resolver(lookUp.function());
    Reply first;
    Reply second;
    const auto firstQuestion = resolver.ask("host", first.done());
    lookUp.waitForFirst();
    const auto secondQuestion = resolver.ask("host", second.done());
    lookUp.release();
    EXPECT_EQ(first.get().addresses, second.get().addresses);
    EXPECT_EQ(lookUp.begun(), 1);
}

TEST(NameResolver, LooksUpAFewNamesAtOnceAndTheOthersLater) {
    SilentLookUp lookUp;
    NameResolver resolver(lookUp.function());
    constexpr std::size_t names = 2 * NameResolver::kMostThreads;
    std::vector<Reply> replies(names);
    std::vector<NameResolver::Question> questions;
    for (std::size_t name = 0; name < names; ++name) {
        questions.push_back(resolver.ask(std::to_string(name), replies[name].done()));
    }
    lookUp.waitForFirst();
    EXPECT_LE(lookUp.begun(), static_cast<int>(NameResolver::kMostThreads));
    lookUp.release();
    for (Reply& reply : replies) {
        EXPECT_EQ(reply.get().addresses.size(), 1U);
    }
}

TEST(NameResolver, DoesNotAnswerAForgottenQuestion) {
    SilentLookUp lookUp;
    NameResolver resolver(lookUp.function());
    Reply forgotten;
    Reply other;
    auto question = resolver.ask("host", forgotten.done());
    lookUp.waitForFirst();
    const auto otherQuestion = resolver.ask("host", other.done());
    question.forget();
    lookUp.release();
    other.get();
    EXPECT_FALSE(forgotten.hasCome());
}

TEST(NameResolver, IsNotAskedTwiceForANameThatEverybodyHasForgotten) {
    SilentLookUp lookUp;
    NameResolver resolver(lookUp.function());
    Reply forgotten;
    Reply other;
    auto forgottenQuestion = resolver.ask("host", forgotten.done());
    lookUp.waitForFirst();
    forgottenQuestion.forget();
    const auto question = resolver.ask("host", other.done());
    lookUp.release();
    EXPECT_EQ(other.get().addresses.size(), 1U);
    EXPECT_EQ(lookUp.begun(), 1);
}

TEST(NameResolver, CanBeDestroyedWhileALookUpIsUnderWay) {
    SilentLookUp lookUp;
    {
        NameResolver resolver(lookUp.function());
        Reply reply;
        const auto question = resolver.ask("host", reply.done());
        lookUp.waitForFirst();
    }
    lookUp.release();
    SUCCEED() << "nobody has waited for the look-up";
}

TEST(NameResolver, TellsALookUpThatThrowsAsAFailure) {
    NameResolver resolver([](const std::string&) -> NameResolver::Answer { throw std::bad_alloc(); });
    Reply reply;
    const auto question = resolver.ask("host", reply.done());
    EXPECT_EQ(reply.get().failure, "out of memory");
}

}  // namespace
