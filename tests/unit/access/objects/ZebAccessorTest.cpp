#include <RecordingLogger.h>
#include <gtest/gtest.h>
#include <zeb/ITpAccess.h>
#include <zeb/ZebAccessor.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "AccessorFixture.h"

namespace {

using test_access::Lamp;
using test_access::LampDescriptor;
using test_access::ZebAccessorTest;

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

TEST_F(ZebAccessorTest, FiltersByTheIdOfTheDescriptorToo) {
    LampDescriptor descriptor;
    descriptor.getFilter().add("kind", std::string("brake"));
    descriptor.setId("7");
    findFirst(descriptor);
    requests->runAll();
    EXPECT_EQ(access->targets.front(), "lamps/");
    EXPECT_EQ(access->queries.front(),
              (zeb::ITpAccess::Query{{"kind", "brake"}, {"id", "7"}, {"$limit", "1"}}));
}

TEST_F(ZebAccessorTest, AsksForAnIdOnlyOnce) {
    LampDescriptor descriptor;
    descriptor.getFilter().add("id", std::string("7"));
    descriptor.setId("7");
    findFirst(descriptor);
    requests->runAll();
    EXPECT_EQ(access->queries.front(), (zeb::ITpAccess::Query{{"id", "7"}, {"$limit", "1"}}));
}

TEST_F(ZebAccessorTest, FiltersByAnEmptyIdRatherThanFindAnyElement) {
    LampDescriptor descriptor;
    descriptor.setId("");
    findFirst(descriptor);
    requests->runAll();
    EXPECT_EQ(access->queries.front(), (zeb::ITpAccess::Query{{"id", ""}, {"$limit", "1"}}));
}

TEST_F(ZebAccessorTest, NamesTheIdInTheLogWhenNoElementMatched) {
    answerWith(200, R"({"data":[]})");
    LampDescriptor descriptor;
    descriptor.setId("7");
    findFirst(descriptor);
    requests->runAll();
    EXPECT_TRUE(log->contains("/Lighting/lamps?id=7 matched no element"));
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

TEST_F(ZebAccessorTest, LogsARefusalThatIsRepeatedOnce) {
    for (const char* time : {"12:00", "12:01", "12:02"}) {
        answerWith(500, R"({"error":{"number":500},"ts":")" + std::string(time) + "\"}");
        findFirst();
        runAll();
    }
    EXPECT_EQ(log->count("warning "), 1U);
    EXPECT_EQ(errors.size(), 3U);
}

TEST_F(ZebAccessorTest, LogsOnceThatNoElementMatches) {
    answerWith(200, R"({"data":[]})");
    for (int request = 0; request < 3; ++request) {
        findFirst();
        runAll();
    }
    EXPECT_EQ(log->count("warning "), 1U);
}

TEST_F(ZebAccessorTest, CallsTheSuccessHandlerOnceThereIsMemoryForTheCall) {
    findFirst();
    callbacks->lacksMemoryOnce = true;
    runAll();
    EXPECT_EQ(successes, 1);
}

TEST_F(ZebAccessorTest, CallsTheErrorHandlerOnceThereIsMemoryForTheCall) {
    answerWith(404, "");
    findFirst();
    callbacks->lacksMemoryOnce = true;
    runAll();
    EXPECT_EQ(errors.size(), 1U);
}

TEST_F(ZebAccessorTest, EndsARequestInItsTurnForWhoseCancellationThereWasNoMemory) {
    findFirst();
    callbacks->lacksMemoryOnce = true;
    sut.cancel();
    runAll();
    EXPECT_EQ(successes + static_cast<int>(errors.size()), 1);
}

}  // namespace
