#include <PlatformFixture.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Numbers are those of the promises in docs/platform-contract.md.

namespace {

using test_support::kLimit;
using test_support::Lamp;
using test_support::LampDescriptor;
using test_support::lampOf;

/// A lamp's level, to be written.
class LevelDescriptor : public LampDescriptor {
 public:
    LevelDescriptor(const std::string& id, std::int64_t level) : level_(level) { setId(id); }

    std::shared_ptr<zebutil::JsonObject> getAsZEBBody() const override {
        auto body = LampDescriptor::getAsZEBBody();
        body->setInt64("level", level_);
        return body;
    }

 private:
    std::int64_t level_;
};

struct Level {
    using Desctype = LevelDescriptor;
};

/// The requests other than findFirst().
class RequestsContract : public test_support::PlatformFixture {
 protected:
    using Response = std::shared_ptr<const zeb::ZebResponse>;

    /// What one request has brought.
    struct Answer {
        bool isSuccess = false;
        std::vector<std::shared_ptr<const Lamp>> lamps;
        Response response;
    };

    // A failure of any request.
    auto failure() {
        return [this](Response response) { answers_.push({false, {}, std::move(response)}); };
    }
    // One lamp, or none.
    auto lamp() {
        return [this](std::shared_ptr<const Lamp> lamp, Response response) {
            answers_.push({true, {std::move(lamp)}, std::move(response)});
        };
    }

    Answer findFirst(const LampDescriptor& descriptor) {
        service()->getAccessor()->findFirst<Lamp>(descriptor, lamp(), failure());
        return next();
    }
    Answer findById(const LampDescriptor& descriptor) {
        service()->getAccessor()->findById<Lamp>(descriptor, lamp(), failure());
        return next();
    }
    Answer findAll(const LampDescriptor& descriptor = {}) {
        service()->getAccessor()->findAll<Lamp>(
            descriptor,
            [this](std::vector<std::shared_ptr<const Lamp>> lamps, Response response) {
                answers_.push({true, std::move(lamps), std::move(response)});
            },
            failure());
        return next();
    }
    Answer write(const LevelDescriptor& descriptor) {
        service()->getAccessor()->write<Level>(
            descriptor,
            [this](Response response) {
                answers_.push({true, {}, std::move(response)});
            },
            failure());
        return next();
    }

 private:
    Answer next() {
        auto answer = answers_.next();
        EXPECT_TRUE(answer) << "no handler was called";
        return answer.value_or(Answer{});
    }

    test_support::Received<Answer> answers_;
};

TEST_F(RequestsContract, FindAllGivesEveryElementInOrder) {
    connect();
    const Answer answer = findAll();
    ASSERT_EQ(answer.lamps.size(), 2U);
    EXPECT_EQ(answer.lamps[0]->getId().getValue(), "1");
    EXPECT_EQ(answer.lamps[1]->level(), 20);
}

TEST_F(RequestsContract, FindAllGivesTheElementsThatMatchTheFilter) {
    connect();
    LampDescriptor descriptor;
    descriptor.getFilter().add("level", std::int64_t{20});
    const Answer answer = findAll(descriptor);
    ASSERT_EQ(answer.lamps.size(), 1U);
    EXPECT_EQ(answer.lamps[0]->getId().getValue(), "2");
}

TEST_F(RequestsContract, FindAllGivesNoElementsWhenNothingMatches) {
    connect();
    const Answer answer = findAll(lampOf("99"));
    EXPECT_TRUE(answer.isSuccess);
    EXPECT_TRUE(answer.lamps.empty());
}

TEST_F(RequestsContract, FindAllGivesAPartOfTheElements) {
    connect();
    LampDescriptor descriptor;
    zeb::QueryOptions options;
    options.setLimit(1);
    options.setOffset(1);
    descriptor.setQueryOptions(options);
    const Answer answer = findAll(descriptor);
    ASSERT_EQ(answer.lamps.size(), 1U);
    EXPECT_EQ(answer.lamps[0]->getId().getValue(), "2");
}

TEST_F(RequestsContract, FindAllFailsWhenAnElementCannotBeRead) {
    connect();
    bus.answerHttp("/Lighting/lamps", 200, R"({"data":[{"id":"1"},5]})");
    const Answer answer = findAll();
    ASSERT_TRUE(answer.response->getHttpException());
    EXPECT_NE(std::string(answer.response->getHttpException()->what()).find("element 1 cannot be read"),
              std::string::npos);
}

TEST_F(RequestsContract, FindAllFailsWhenTheAnswerIsLargerThanOneMebibyte) {
    connect();
    bus.answerHttp("/Lighting/lamps", 200,
                   R"({"data":[{"id":"1","text":")" + std::string(1024 * 1024, 'x') + "\"}]}");
    const Answer answer = findAll();
    EXPECT_FALSE(answer.isSuccess);
    EXPECT_TRUE(answer.response->getHttpException());
}

// P21
TEST_F(RequestsContract, FindFirstGivesTheElementWithTheIdOfItsDescriptor) {
    connect();
    const Answer answer = findFirst(lampOf("2"));
    ASSERT_TRUE(answer.lamps.at(0));
    EXPECT_EQ(answer.lamps[0]->getId().getValue(), "2");
}

// P21
TEST_F(RequestsContract, FindFirstGivesNullWhenTheElementWithTheIdDoesNotMatchTheFilter) {
    connect();
    LampDescriptor descriptor = lampOf("2");
    descriptor.getFilter().add("level", std::int64_t{10});
    const Answer answer = findFirst(descriptor);
    EXPECT_TRUE(answer.isSuccess);
    EXPECT_FALSE(answer.lamps.at(0));
}

TEST_F(RequestsContract, FindByIdGivesTheElement) {
    connect();
    const Answer answer = findById(lampOf("2"));
    ASSERT_TRUE(answer.isSuccess);
    EXPECT_EQ(answer.lamps.at(0)->level(), 20);
}

TEST_F(RequestsContract, FindByIdEncodesTheId) {
    connect();
    bus.addElement("/Lighting/lamps/a b?ä%", R"({"level":30})");
    const Answer answer = findById(lampOf("a b?ä%"));
    ASSERT_TRUE(answer.isSuccess);
    EXPECT_EQ(answer.lamps.at(0)->level(), 30);
}

// Its filter is that of the old values.
TEST_F(RequestsContract, FindByIdReadsAnElementAgainThatHasChanged) {
    connect();
    LampDescriptor descriptor = lampOf("1");
    descriptor.getFilter().add("level", std::int64_t{10});
    setLevel(11);
    const Answer answer = findById(descriptor);
    ASSERT_TRUE(answer.isSuccess);
    EXPECT_EQ(answer.lamps.at(0)->level(), 11);
}

TEST_F(RequestsContract, FindByIdGivesTheStatusWhenThereIsNoSuchElement) {
    connect();
    const Answer answer = findById(lampOf("99"));
    EXPECT_FALSE(answer.isSuccess);
    EXPECT_EQ(answer.response->getStatusCode(), 404);
}

TEST_F(RequestsContract, FindByIdRefusesADescriptorWithoutId) {
    connect();
    EXPECT_THROW(service()->getAccessor()->findById<Lamp>(LampDescriptor(), nullptr, nullptr),
                 std::exception);
}

TEST_F(RequestsContract, WriteChangesTheElementBeforeItSucceeds) {
    connect();
    EXPECT_TRUE(write({"1", 42}).isSuccess);
    EXPECT_EQ(findById(lampOf("1")).lamps.at(0)->level(), 42);
}

TEST_F(RequestsContract, WriteNotifiesASubscription) {
    const auto subscription = subscribe(connect());
    EXPECT_EQ(levels.next(), 10);
    EXPECT_TRUE(write({"1", 42}).isSuccess);
    EXPECT_EQ(levels.next(), 42);
}

TEST_F(RequestsContract, WriteGivesTheStatusOfARefusal) {
    connect();
    const Answer answer = write({"99", 42});
    EXPECT_FALSE(answer.isSuccess);
    EXPECT_EQ(answer.response->getStatusCode(), 404);
}

TEST_F(RequestsContract, WriteRefusesADescriptorWithoutId) {
    connect();
    EXPECT_THROW(service()->getAccessor()->write<Lamp>(LampDescriptor(), nullptr, nullptr), std::exception);
}

// It may have been executed.
TEST_F(RequestsContract, WriteIsSentOnceThoughItGetsNoAnswer) {
    connect();
    bus.answerHttpWithBytes("/Lighting/lamps/1", "HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\n{");
    const Answer answer = write({"1", 42});
    EXPECT_TRUE(answer.response->getHttpException());
    bus.clearHttpFaults();
    findById(lampOf("2"));
    EXPECT_TRUE(bus.waitForRequests("/Lighting/lamps/2", 1, kLimit));
    EXPECT_FALSE(bus.waitForRequests("/Lighting/lamps/1", 2, std::chrono::milliseconds(0)));
}

// P20
TEST_F(RequestsContract, EachIsOverBeforeFiveSecondsWhenTheServerIsSilent) {
    connect();
    bus.ignoreHttp("/Lighting/lamps");
    bus.ignoreHttp("/Lighting/lamps/1");
    const auto begin = std::chrono::steady_clock::now();
    const auto accessor = service()->getAccessor();
    test_support::Received<bool> ends;
    const auto fail = [&](const Response&) { ends.push(true); };
    accessor->findAll<Lamp>(LampDescriptor(), nullptr, fail);
    accessor->findById<Lamp>(lampOf("1"), nullptr, fail);
    accessor->write<Level>({"1", 42}, nullptr, fail);
    EXPECT_TRUE(ends.next() && ends.next() && ends.next());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

// P50
TEST_F(RequestsContract, EachEndsWithItsConnection) {
    connect();
    bus.ignoreHttp("/Lighting/lamps");
    bus.ignoreHttp("/Lighting/lamps/1");
    const auto accessor = service()->getAccessor();
    test_support::Received<std::string> ends;
    const auto fail = [&](const Response& response) { ends.push(response->getHttpException()->what()); };
    accessor->findAll<Lamp>(LampDescriptor(), nullptr, fail);
    accessor->findById<Lamp>(lampOf("1"), nullptr, fail);
    accessor->write<Level>({"1", 42}, nullptr, fail);
    bus.dropConnections("Lighting");
    for (int request = 0; request < 3; ++request) {
        EXPECT_NE(ends.next().value_or("").find("cancelled: "), std::string::npos);
    }
}

}  // namespace
