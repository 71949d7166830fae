#include <gtest/gtest.h>
#include <zeb/ITpAccess.h>
#include <zeb/QueryOptions.h>
#include <zeb/ZebException.h>
#include <zebutil/JsonObject.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "AccessorFixture.h"

namespace {

using test_access::Lamp;
using test_access::LampDescriptor;

/// A descriptor with a field to be written.
class DimmerDescriptor : public zeb::XObjectDescriptor {
 public:
    DimmerDescriptor() : XObjectDescriptor("Lighting", "dimmers") {}

    std::shared_ptr<zebutil::JsonObject> getAsZEBBody() const override {
        auto body = XObjectDescriptor::getAsZEBBody();
        body->setInt64("level", level);
        return body;
    }

    std::int64_t level = 0;
};
using Dimmer = zeb::XObject<DimmerDescriptor>;

/// findById() and write()
class ZebAccessorElements : public test_access::ZebAccessorTest {
 protected:
    static LampDescriptor lampOf(const std::string& id) {
        LampDescriptor descriptor;
        descriptor.setId(id);
        return descriptor;
    }

    static DimmerDescriptor dimmerOf(const std::string& id, std::int64_t level = 5) {
        DimmerDescriptor descriptor;
        descriptor.setId(id);
        descriptor.level = level;
        return descriptor;
    }

    void findById(const LampDescriptor& descriptor) {
        sut.findById<Lamp>(
            descriptor,
            [this](const std::shared_ptr<const Lamp>& lamp, const Response&) {
                found.push_back(lamp->getId().getValue());
            },
            [this](const Response& response) { errors.push_back(response); });
    }

    std::string failureOf(const std::string& body) {
        answerWith(200, body);
        errors.clear();
        findById(lampOf("7"));
        runAll();
        return errors.size() == 1 && errors.front()->getHttpException()
                   ? errors.front()->getHttpException()->what()
                   : "";
    }

    void write(const DimmerDescriptor& descriptor) {
        sut.write<Dimmer>(
            descriptor, [this](const Response&) { ++successes; },
            [this](const Response& response) { errors.push_back(response); });
    }

    std::vector<std::string> found;
};

TEST_F(ZebAccessorElements, AreFoundByTheirId) {
    answerWith(200, R"({"data":{"id":"7"}})");
    findById(lampOf("7"));
    runAll();
    EXPECT_EQ(access->targets, std::vector<std::string>{"lamps/7"});
    EXPECT_EQ(found, std::vector<std::string>{"7"});
}

TEST_F(ZebAccessorElements, AreFoundWhateverTheFilterOfTheDescriptor) {
    LampDescriptor descriptor = lampOf("7");
    descriptor.getFilter().add("kind", "brake");
    findById(descriptor);
    requests->runAll();
    EXPECT_TRUE(access->queries.front().empty());
}

TEST_F(ZebAccessorElements, AreAskedForWithTheQueryOptionsThatTheirAddressTakes) {
    LampDescriptor descriptor = lampOf("7");
    zeb::QueryOptions options;
    options.setFields({"kind"});
    options.setExpand(zeb::QueryOptions::EXPAND_LEVEL::ONE);
    options.setLimit(5);
    options.setOffset(10);
    descriptor.setQueryOptions(options);
    findById(descriptor);
    requests->runAll();
    EXPECT_EQ(access->queries.front(), (zeb::ITpAccess::Query{{"$fields", "kind"}, {"$expand", "1"}}));
}

TEST_F(ZebAccessorElements, AreNotSoughtWithoutAnId) {
    EXPECT_THROW(findById(LampDescriptor()), zeb::ZebException);
    EXPECT_THROW(findById(lampOf("")), zeb::ZebException);
    EXPECT_TRUE(requests->names.empty());
}

TEST_F(ZebAccessorElements, ThatDoNotExistAreAnErrorWithItsStatus) {
    answerWith(404, R"({"error":{"number":404}})");
    findById(lampOf("7"));
    runAll();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors.front()->getStatusCode(), 404);
}

TEST_F(ZebAccessorElements, MustHaveTheIdThatWasAskedFor) {
    EXPECT_EQ(failureOf(R"({"data":{"id":"8"}})"),
              "ZebException: unknown find by id failed reason: ZebException: answer expected the element "
              "\"7\", got the element \"8\"");
    EXPECT_NE(failureOf(R"({"data":{}})").find("no usable \"id\""), std::string::npos);
}

TEST_F(ZebAccessorElements, MustBeObjects) {
    EXPECT_EQ(failureOf(R"({"data":[{"id":"7"}]})"),
              "ZebException: unknown find by id failed reason: ZebException: answer expected an object under "
              "\"data\", got [{\"id\":\"7\"}]");
    for (const char* body : {"{}", "[]", R"({"data":null})", R"({"data":{"id":"7"},"ts":})"}) {
        EXPECT_NE(failureOf(body), "") << body;
    }
}

TEST_F(ZebAccessorElements, NameTheirTasks) {
    answerWith(200, R"({"data":{"id":"7"}})");
    findById(lampOf("7"));
    write(dimmerOf("1"));
    requests->runAll();
    EXPECT_EQ(requests->names, (std::vector<std::string>{"ZebAccessor::findById(): Lighting/lamps",
                                                         "ZebAccessor::write(): Lighting/dimmers"}));
    EXPECT_EQ(callbacks->names,
              (std::vector<std::string>{"findById callbackSuccess", "write callbackSuccess"}));
}

TEST_F(ZebAccessorElements, AreWrittenWithTheFieldsOfTheDescriptor) {
    write(dimmerOf("1", 40));
    runAll();
    EXPECT_EQ(access->targets, std::vector<std::string>{"dimmers/1"});
    EXPECT_EQ(access->bodies, std::vector<std::string>{R"({"level":40})"});
    EXPECT_EQ(successes, 1);
}

TEST_F(ZebAccessorElements, AreWrittenWithTheFieldsThatTheyHave) {
    sut.write(Dimmer(dimmerOf("1", 40)), nullptr, nullptr);
    runAll();
    EXPECT_EQ(access->bodies, std::vector<std::string>{R"({"level":40})"});
}

TEST_F(ZebAccessorElements, AreNotWrittenWithoutAnId) {
    EXPECT_THROW(write(DimmerDescriptor()), zeb::ZebException);
    EXPECT_THROW(write(dimmerOf("")), zeb::ZebException);
    EXPECT_TRUE(requests->names.empty());
}

TEST_F(ZebAccessorElements, AreWrittenOnceThoughTheWriteFails) {
    access->answer = []() -> zeb::ZebResponse { throw std::runtime_error("broken pipe"); };
    write(dimmerOf("1"));
    runAll();
    runAll();
    EXPECT_EQ(access->bodies.size(), 1U);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_STREQ(errors.front()->getHttpException()->what(),
                 "ZebException: unknown write failed reason: broken pipe");
}

TEST_F(ZebAccessorElements, AreNotWrittenByAWriteThatWasCancelledBeforeItsTurn) {
    write(dimmerOf("1"));
    sut.cancel();
    runAll();
    EXPECT_TRUE(access->bodies.empty());
    EXPECT_EQ(errors.size(), 1U);
}

TEST_F(ZebAccessorElements, GiveTheStatusOfARefusedWrite) {
    answerWith(413, "");
    write(dimmerOf("1"));
    runAll();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors.front()->getStatusCode(), 413);
    EXPECT_EQ(successes, 0);
}

TEST_F(ZebAccessorElements, AreWrittenSilentlyWithoutAnyHandler) {
    sut.write<Dimmer>(dimmerOf("1"), nullptr, nullptr);
    runAll();
    EXPECT_TRUE(log->lines().empty());
}

TEST_F(ZebAccessorElements, SayInTheLogThatAWriteFailedWithoutAHandler) {
    answerWith(413, "");
    sut.write<Dimmer>(dimmerOf("1"), nullptr, nullptr);
    runAll();
    EXPECT_TRUE(log->contains("write: error occurred but no error callback given"));
}

}  // namespace
