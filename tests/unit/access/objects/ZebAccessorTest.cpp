#include <RecordingLogger.h>
#include <gtest/gtest.h>
#include <zeb/ITpAccess.h>
#include <zeb/XObject.h>
#include <zeb/ZebAccessor.h>
#include <zebutil/ITaskExecutor.h>
#include <zebutil/JsonObject.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

/// Keeps tasks, with their names, until the test runs them.
class HandDrivenExecutor : public zebutil::ITaskExecutor {
 public:
    void add(std::function<void()> function, const char* name) override {
        names.emplace_back(name);
        tasks_.push_back(std::move(function));
    }

    void runAll() {
        for (const auto& task : std::exchange(tasks_, {})) {
            task();
        }
    }

    void drop() { tasks_.clear(); }

    std::vector<std::string> names;

 private:
    std::vector<std::function<void()>> tasks_;
};

class ScriptedAccess : public zeb::ITpAccess {
 public:
    zeb::ZebResponse get(const std::string&, const std::string&, const Query& query,
                         Deadline deadline) override {
        queries.push_back(query);
        deadlines.push_back(deadline);
        return answer();
    }
    zeb::ZebResponse post(const std::string&, const std::string&, const std::string&, Deadline) override {
        return answer();
    }

    void cancel() override { ++cancellations; }

    int cancellations = 0;
    std::function<zeb::ZebResponse()> answer = [] {
        return zeb::ZebResponse(200, R"({"data":[{"id":"1"}]})");
    };
    std::vector<Query> queries;
    std::vector<Deadline> deadlines;
};

class LampDescriptor : public zeb::XObjectDescriptor {
 public:
    LampDescriptor() : XObjectDescriptor("Lighting", "lamps") {}
};
using Lamp = zeb::XObject<LampDescriptor>;

class ZebAccessorTest : public testing::Test {
 public:
    // A task that never ran keeps its executor alive. A real executor drops such tasks when it is stopped.
    ~ZebAccessorTest() override { callbacks->drop(); }

 protected:
    using Response = std::shared_ptr<const zeb::ZebResponse>;

    void findFirst() {
        sut.findFirst<Lamp>(
            LampDescriptor(), [this](const std::shared_ptr<const Lamp>&, const Response&) { ++successes; },
            [this](const Response& response) { errors.push_back(response); });
    }

    const std::shared_ptr<test_support::RecordedLog> log = std::make_shared<test_support::RecordedLog>();
    const std::shared_ptr<ScriptedAccess> access = std::make_shared<ScriptedAccess>();
    const std::shared_ptr<HandDrivenExecutor> requests = std::make_shared<HandDrivenExecutor>();
    const std::shared_ptr<HandDrivenExecutor> callbacks = std::make_shared<HandDrivenExecutor>();
    zeb::ZebAccessor sut{access, requests, callbacks,
                         std::make_shared<test_support::RecordingLogger>(log, "Accessor")};
    int successes = 0;
    std::vector<Response> errors;
};

TEST_F(ZebAccessorTest, NamesTheRequestAfterServiceAndResource) {
    findFirst();
    EXPECT_EQ(requests->names, std::vector<std::string>{"ZebAccessor::findFirst(): Lighting/lamps"});
}

TEST_F(ZebAccessorTest, IssuesTheRequestOnTheRequestExecutorOnly) {
    findFirst();
    EXPECT_TRUE(access->queries.empty());
    requests->runAll();
    EXPECT_EQ(access->queries.size(), 1U);
}

TEST_F(ZebAccessorTest, AsksForOneElement) {
    findFirst();
    requests->runAll();
    EXPECT_EQ(access->queries.front(), (zeb::ITpAccess::Query{{"$limit", "1"}}));
}

TEST_F(ZebAccessorTest, GivesEveryRequestTheTimeThatIsLeftSinceItWasAskedFor) {
    const auto before = zeb::ITpAccess::Deadline::clock::now();
    findFirst();
    const auto after = zeb::ITpAccess::Deadline::clock::now();
    requests->runAll();
    EXPECT_GE(access->deadlines.front(), before + zeb::ITpAccess::kTimeLimit);
    EXPECT_LE(access->deadlines.front(), after + zeb::ITpAccess::kTimeLimit);
}

TEST_F(ZebAccessorTest, NamesTheTaskOfASuccess) {
    findFirst();
    requests->runAll();
    EXPECT_EQ(callbacks->names, std::vector<std::string>{"findFirst callbackSuccess"});
    callbacks->runAll();
    EXPECT_EQ(successes, 1);
}

TEST_F(ZebAccessorTest, SaysInTheLogThatNoElementMatched) {
    access->answer = [] { return zeb::ZebResponse(200, R"({"data":[]})"); };
    LampDescriptor descriptor;
    descriptor.getFilter().add("kind", std::string("brake"));
    sut.findFirst<Lamp>(
        std::move(descriptor), [](const std::shared_ptr<const Lamp>&, const Response&) {},
        [](const Response&) {});
    requests->runAll();
    EXPECT_TRUE(log->contains("ZebAccessor::findFirst(): /Lighting/lamps?kind=brake matched no element"));
}

TEST_F(ZebAccessorTest, SaysInTheLogWhatTheElementHasInPlaceOfAnId) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"name":"left"})", "expected a string, found nothing"},
        {R"({"id":""})", "expected a string, found an empty one"},
    };
    for (const auto& [element, reason] : cases) {
        access->answer = [text = R"({"data":[)" + std::string(element) + "]}"] {
            return zeb::ZebResponse(200, text);
        };
        findFirst();
        requests->runAll();
        EXPECT_TRUE(log->contains(
            R"(ZebAccessor::findFirst(): /Lighting/lamps was answered with an element without a usable "id": )" +
            std::string(reason)))
            << element;
    }
}

// What is not the element is skipped, but a mistake in it is a mistake in the answer.
TEST_F(ZebAccessorTest, RefusesAnAnswerWithAMistakeBehindTheElement) {
    for (const char* body : {
             R"({"data":[{"id":"1"},tru]})",
             R"({"data":[{"id":"1"},{"name":"\q"}]})",
             R"({"data":[{"id":"1"},{"level":01}]})",
             R"({"data":[{"id":"1"},]})",
             R"({"data":[{"id":"1"}}})",
             R"({"data":[{"id":"1"}],"ts":})",
             R"({"data":[{"id":"1"}]} x)",
             "{\"data\":[{\"id\":\"1\"},\"\xff\"]}",
         }) {
        access->answer = [body] { return zeb::ZebResponse(200, body); };
        errors.clear();
        findFirst();
        requests->runAll();
        callbacks->runAll();
        EXPECT_EQ(errors.size(), 1U) << body;
    }
}

TEST_F(ZebAccessorTest, SaysWhereTheMistakeIs) {
    access->answer = [] { return zeb::ZebResponse(200, R"({"data":[{"id":"1"},tru]})"); };
    findFirst();
    requests->runAll();
    callbacks->runAll();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_STREQ(errors.front()->getHttpException()->what(),
                 "ZebException: unknown find first failed reason: JSON, byte 20: expected a value");
}

TEST_F(ZebAccessorTest, SaysWhatItExpectedInsteadOfAList) {
    access->answer = [] { return zeb::ZebResponse(200, R"({"data":{"id":"1"}})"); };
    findFirst();
    requests->runAll();
    callbacks->runAll();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_STREQ(errors.front()->getHttpException()->what(),
                 "ZebException: unknown find first failed reason: ZebException: answer expected a list under "
                 "\"data\", got {\"id\":\"1\"}");
}

TEST_F(ZebAccessorTest, TakesTheLastListIfThereAreSeveral) {
    access->answer = [] { return zeb::ZebResponse(200, R"({"data":[5],"d\u0061ta":[{"id":"1"}]})"); };
    findFirst();
    requests->runAll();
    callbacks->runAll();
    EXPECT_EQ(successes, 1);
}

TEST_F(ZebAccessorTest, NamesTheTaskOfAnError) {
    access->answer = [] { return zeb::ZebResponse(404, ""); };
    findFirst();
    requests->runAll();
    EXPECT_EQ(callbacks->names, std::vector<std::string>{"findFirst callbackError"});
    callbacks->runAll();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors.front()->getStatusCode(), 404);
}

TEST_F(ZebAccessorTest, GivesTheCauseOfAnException) {
    access->answer = []() -> zeb::ZebResponse { throw std::runtime_error("no route"); };
    findFirst();
    requests->runAll();
    callbacks->runAll();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_STREQ(errors.front()->getHttpException()->what(),
                 "ZebException: unknown find first failed reason: no route");
}

TEST_F(ZebAccessorTest, EndsInTheErrorHandlerWhateverIsThrown) {
    access->answer = []() -> zeb::ZebResponse { throw 5; };
    findFirst();
    requests->runAll();
    callbacks->runAll();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_TRUE(errors.front()->getHttpException());
}

TEST_F(ZebAccessorTest, IssuesTheRequestEvenWithoutASuccessHandler) {
    sut.findFirst<Lamp>(LampDescriptor(), nullptr, nullptr);
    EXPECT_TRUE(log->contains("error Accessor: ZebAccessor::findFirst(): missing success callback"));
    requests->runAll();
    callbacks->runAll();
    EXPECT_EQ(access->queries.size(), 1U);
}

/// A request that is never answered: it ends when it is cancelled.
class UnansweredAccess : public zeb::ITpAccess {
 public:
    zeb::ZebResponse get(const std::string&, const std::string&, const Query&, Deadline) override {
        asked.set_value();
        cancelled_.get_future().wait();
        throw std::runtime_error("cancelled");
    }
    zeb::ZebResponse post(const std::string&, const std::string&, const std::string&, Deadline) override {
        return {};
    }
    void cancel() override { cancelled_.set_value(); }

    std::promise<void> asked;

 private:
    std::promise<void> cancelled_;
};

TEST_F(ZebAccessorTest, EndsARequestThatWaitsForItsTurnWhenItIsCancelled) {
    findFirst();
    sut.cancel();
    callbacks->runAll();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_STREQ(errors.front()->getHttpException()->what(),
                 "ZebException: unknown find first failed reason: cancelled: the service is disconnected or "
                 "the client stops");
}

TEST_F(ZebAccessorTest, NeverSendsARequestThatWasCancelledBeforeItsTurn) {
    findFirst();
    sut.cancel();
    requests->runAll();
    EXPECT_TRUE(access->queries.empty());
}

TEST_F(ZebAccessorTest, EndsARequestOnceWhenItIsCancelledWithoutAnAnswer) {
    access->answer = [this]() -> zeb::ZebResponse {
        sut.cancel();
        throw std::runtime_error("cancelled");
    };
    findFirst();
    requests->runAll();
    callbacks->runAll();
    EXPECT_EQ(errors.size(), 1U);
}

TEST_F(ZebAccessorTest, EndsARequestOnceWhenItIsCancelledAndAnswered) {
    access->answer = [this] {
        sut.cancel();
        return zeb::ZebResponse(200, R"({"data":[{"id":"1"}]})");
    };
    findFirst();
    requests->runAll();
    callbacks->runAll();
    EXPECT_EQ(errors.size() + static_cast<std::size_t>(successes), 1U);
}

TEST_F(ZebAccessorTest, EndsEveryRequestAfterItWasCancelledAtOnce) {
    sut.cancel();
    findFirst();
    callbacks->runAll();
    EXPECT_EQ(errors.size(), 1U);
}

TEST_F(ZebAccessorTest, CancelsItsAccess) {
    sut.cancel();
    EXPECT_EQ(access->cancellations, 1);
}

TEST_F(ZebAccessorTest, KeepsNothingOfARequestThatItsExecutorDrops) {
    const auto kept = std::make_shared<int>();
    sut.findFirst<Lamp>(
        LampDescriptor(), [kept](const std::shared_ptr<const Lamp>&, const Response&) {}, nullptr);
    requests->drop();
    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(ZebAccessorTest, CancelsTheRequestUnderWayWhenItsExecutorIsStopped) {
    const auto unanswered = std::make_shared<UnansweredAccess>();
    const auto executor = std::make_shared<zebutil::SingleThreadAsyncTaskExecutor>(
        "requests", std::make_unique<test_support::RecordingLogger>(log, "Executor"));
    executor->start();
    zeb::ZebAccessor accessor(unanswered, executor, callbacks,
                              std::make_shared<test_support::RecordingLogger>(log, "Accessor"));
    accessor.findFirst<Lamp>(LampDescriptor(), nullptr,
                             [this](const Response& response) { errors.push_back(response); });
    unanswered->asked.get_future().wait();
    executor->stop();  // does not return before the request has ended
    callbacks->runAll();
    EXPECT_EQ(errors.size(), 1U);
}

}  // namespace
