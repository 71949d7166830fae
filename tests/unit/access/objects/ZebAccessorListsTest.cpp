#include <gtest/gtest.h>
#include <zeb/ITpAccess.h>
#include <zeb/QueryOptions.h>
#include <zebutil/JsonObject.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "AccessorFixture.h"

namespace {

using test_access::Lamp;
using test_access::LampDescriptor;

/// findAll()
class ZebAccessorLists : public test_access::ZebAccessorTest {
 protected:
    using Lamps = std::vector<std::shared_ptr<const Lamp>>;

    void findAll(const LampDescriptor& descriptor = {}) {
        sut.findAll<Lamp>(
            descriptor, [this](Lamps lamps, const Response&) { answers.push_back(std::move(lamps)); },
            [this](const Response& response) { errors.push_back(response); });
    }

    std::string failureOf(const std::string& body) {
        answerWith(200, body);
        errors.clear();
        findAll();
        runAll();
        return errors.size() == 1 && errors.front()->getHttpException()
                   ? errors.front()->getHttpException()->what()
                   : "";
    }

    std::vector<Lamps> answers;
};

TEST_F(ZebAccessorLists, HoldEveryElementInOrder) {
    answerWith(200, R"({"data":[{"id":"2"}, {"id":"1"} ,{"id":"3"}]})");
    findAll();
    runAll();
    ASSERT_EQ(answers.size(), 1U);
    std::string ids;
    for (const auto& lamp : answers.front()) {
        ids += lamp->getId().getValue();
    }
    EXPECT_EQ(ids, "213");
}

TEST_F(ZebAccessorLists, MayBeEmpty) {
    answerWith(200, R"({"data":[]})");
    findAll();
    runAll();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_TRUE(answers.front().empty());
}

TEST_F(ZebAccessorLists, AreAskedForWithFilterIdAndAllQueryOptions) {
    LampDescriptor descriptor;
    descriptor.getFilter().add("kind", "brake");
    descriptor.setId("7");
    zeb::QueryOptions options;
    options.setLimit(5);
    options.setOffset(10);
    descriptor.setQueryOptions(options);
    findAll(descriptor);
    requests->runAll();
    EXPECT_EQ(access->targets.front(), "lamps/");
    EXPECT_EQ(access->queries.front(),
              (zeb::ITpAccess::Query{{"kind", "brake"}, {"id", "7"}, {"$limit", "5"}, {"$offset", "10"}}));
}

TEST_F(ZebAccessorLists, NameTheirTasks) {
    answerWith(200, R"({"data":[]})");
    findAll();
    requests->runAll();
    EXPECT_EQ(requests->names, std::vector<std::string>{"ZebAccessor::findAll(): Lighting/lamps"});
    EXPECT_EQ(callbacks->names, std::vector<std::string>{"findAll callbackSuccess"});
}

// An incomplete list must not look complete.
TEST_F(ZebAccessorLists, FailWhenOneOfTheirElementsCannotBeRead) {
    EXPECT_EQ(failureOf(R"({"data":[{"id":"1"},{"id":"2"},[5],{"id":"4"}]})"),
              "ZebException: unknown find all failed reason: ZebException: list element 2 cannot be read: "
              "JSON, byte 0: expected an object");
    EXPECT_TRUE(answers.empty());
}

TEST_F(ZebAccessorLists, FailWhenTheIdOfAnElementIsNone) {
    const std::string failure = failureOf(R"({"data":[{"id":"1"},{"id":[]}]})");
    EXPECT_NE(failure.find("list element 1 cannot be read: "), std::string::npos) << failure;
}

TEST_F(ZebAccessorLists, SayInTheLogWhichElementCannotBeRead) {
    failureOf(R"({"data":[{"id":"1"},5]})");
    EXPECT_TRUE(log->contains(
        "ZebAccessor::findAll(): the answer to /Lighting/lamps cannot be read: ZebException: list element 1 "
        "cannot be read: "));
}

TEST_F(ZebAccessorLists, FailWhenTheAnswerIsOfAnotherShape) {
    for (const char* body : {"{}", "[]", R"({"data":{}})", R"({"data":null})", R"({"data":[{}}})",
                             R"({"data":[{},]})", "<html>"}) {
        EXPECT_NE(failureOf(body), "") << body;
    }
}

TEST_F(ZebAccessorLists, FailWhenThereAreTooManyElements) {
    std::string elements = R"({"id":"1"})";
    for (int number = 1; number < 5000; ++number) {
        elements += R"(,{"id":"1"})";
    }
    EXPECT_EQ(failureOf(R"({"data":[)" + elements + R"(,{"id":"1"}]})"),
              "ZebException: unknown find all failed reason: ZebException: list of more than 5000 elements");
    EXPECT_EQ(failureOf(R"({"data":[)" + elements + "]}"), "");
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers.front().size(), 5000U);
}

TEST_F(ZebAccessorLists, SayInTheLogOnceThatElementsHaveNoId) {
    answerWith(200, R"({"data":[{"id":"1"},{},{"id":""},{}]})");
    findAll();
    runAll();
    EXPECT_EQ(log->count("warning "), 2U);
    EXPECT_TRUE(
        log->contains("/Lighting/lamps was answered with element 1 without a usable \"id\": "
                      "expected a string, found nothing"));
    EXPECT_TRUE(log->contains("/Lighting/lamps was answered with 3 elements without a usable \"id\""));
}

TEST_F(ZebAccessorLists, GiveTheStatusOfAnError) {
    answerWith(503, "");
    findAll();
    runAll();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors.front()->getStatusCode(), 503);
    EXPECT_FALSE(errors.front()->getHttpException());
}

TEST_F(ZebAccessorLists, EndWhenTheyAreCancelledBeforeTheirTurn) {
    findAll();
    sut.cancel();
    runAll();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_TRUE(access->queries.empty());
}

TEST_F(ZebAccessorLists, NeedNoHandlers) {
    sut.findAll<Lamp>(LampDescriptor(), nullptr, nullptr);
    EXPECT_TRUE(log->contains("error Accessor: ZebAccessor::findAll(): missing success callback"));
    access->answer = []() -> zeb::ZebResponse { throw std::runtime_error("no route"); };
    sut.findAll<Lamp>(LampDescriptor(), nullptr, nullptr);
    runAll();
    EXPECT_TRUE(log->contains("findAll: exception error occurred but no error callback given"));
}

}  // namespace
