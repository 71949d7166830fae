#include <PlatformFixture.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using test_support::kLimit;
using test_support::Lamp;
using test_support::LampDescriptor;

/// A subscription to all lamps.
class CollectionContract : public test_support::PlatformFixture {
 protected:
    std::shared_ptr<zeb::Subscription> followAll(const LampDescriptor& descriptor = {}) {
        return service()->subscribeCollection<Lamp>(
            descriptor,
            [this](const std::vector<std::shared_ptr<const Lamp>>& lamps) {
                std::string all = "levels";
                for (const auto& lamp : lamps) {
                    all += " " + std::to_string(lamp->level());
                }
                calls.push(all);
            },
            events());
    }

    zeb::SubscriptionEvents events() {
        return {[this](const std::string& reason) { calls.push("ended: " + reason); },
                [this](const std::string& reason) { calls.push("unreadable: " + reason); }};
    }

    void notifyAll(int seq, const std::string& data) {
        bus.sendText("/Lighting/lamps", R"({"action":"subscription","subscriptionId":"1","seq":)" +
                                            std::to_string(seq) + R"(,"data":)" + data + "}");
    }

    test_support::Received<std::string> calls;
};

TEST_F(CollectionContract, GivesAllElementsAtOnce) {
    connect();
    const auto sut = followAll();
    EXPECT_EQ(calls.next(), "levels 10 20");
}

TEST_F(CollectionContract, GivesAllElementsAgainWhenOneIsChangedAddedOrRemoved) {
    connect();
    const auto sut = followAll();
    EXPECT_EQ(calls.next(), "levels 10 20");
    setLevel(11);
    EXPECT_EQ(calls.next(), "levels 11 20");
    bus.addElement("/Lighting/lamps/3", R"({"level":30})");
    EXPECT_EQ(calls.next(), "levels 11 20 30");
    bus.removeElement("/Lighting/lamps/1");
    EXPECT_EQ(calls.next(), "levels 20 30");
}

TEST_F(CollectionContract, MayBeEmpty) {
    connect();
    const auto sut = followAll();
    EXPECT_EQ(calls.next(), "levels 10 20");
    notifyAll(1, "[]");
    EXPECT_EQ(calls.next(), "levels");
}

// An incomplete list must not look complete.
TEST_F(CollectionContract, SaysWhichElementCannotBeRead) {
    connect();
    const auto sut = followAll();
    EXPECT_EQ(calls.next(), "levels 10 20");
    notifyAll(1, R"([{"id":"1","level":1},5])");
    EXPECT_EQ(
        calls.next(),
        "unreadable: a notification of /Lighting/lamps cannot be read: ZebException: list element 1 cannot "
        "be read: JSON, byte 0: expected an object");
    notifyAll(2, R"([{"id":"1","level":1}])");
    EXPECT_EQ(calls.next(), "levels 1");
}

TEST_F(CollectionContract, IsUnreadableIfItIsNoList) {
    connect();
    const auto sut = followAll();
    EXPECT_EQ(calls.next(), "levels 10 20");
    int seq = 0;
    for (const char* data : {"null", R"({"id":"1","level":1})", "[5}", R"([{"id":"1"},])", R"([{"id":}])"}) {
        notifyAll(++seq, data);
        EXPECT_EQ(calls.next().value_or("").rfind("unreadable: ", 0), 0U) << data;
    }
}

TEST_F(CollectionContract, IsUnreadableIfItHasTooManyElements) {
    connect();
    const auto sut = followAll();
    EXPECT_EQ(calls.next(), "levels 10 20");
    std::string list = "[{}";
    for (int count = 1; count <= 5000; ++count) {
        list += ",{}";
    }
    notifyAll(1, list + "]");
    const std::string told = calls.next().value_or("");
    EXPECT_NE(told.find("more than 5000 elements"), std::string::npos) << told;
}

TEST_F(CollectionContract, TellsWhyTheServerHasRefusedTheSubscription) {
    connect();
    const auto sut = service()->subscribeCollection<zeb::XObject<zeb::XObjectDescriptor>>(
        zeb::XObjectDescriptor("Lighting", "fans"), [](const auto&) {}, events());
    const std::string told = calls.next().value_or("");
    EXPECT_EQ(told.rfind("ended: 404 invalid_path: ", 0), 0U) << told;
}

TEST_F(CollectionContract, EndsWhenItIsUnsubscribed) {
    connect();
    const auto sut = followAll();
    EXPECT_EQ(calls.next(), "levels 10 20");
    EXPECT_EQ(sut->getUuidOfElement(), "");
    sut->unsubscribe();
    EXPECT_TRUE(bus.waitForSubscribers("/Lighting/lamps", 0, kLimit));
}

// The bus has no subscription to a part.
TEST_F(CollectionContract, IsRefusedForADescriptorThatSelectsAPart) {
    connect();
    LampDescriptor one;
    one.setId("1");
    EXPECT_THROW(followAll(one), std::exception);
    LampDescriptor filtered;
    filtered.getFilter().add("level", std::int64_t{10});
    EXPECT_THROW(followAll(filtered), std::exception);
    LampDescriptor limited;
    zeb::QueryOptions options;
    options.setLimit(1);
    limited.setQueryOptions(options);
    EXPECT_THROW(followAll(limited), std::exception);
}

}  // namespace
