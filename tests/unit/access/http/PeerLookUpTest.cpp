#include <gtest/gtest.h>
#include <zeb/ZebException.h>

#include <boost/asio/ip/address.hpp>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "http/PeerLookUp.h"

namespace {

using namespace std::chrono_literals;
using zeb::NameResolver;
using zeb::PeerLookUp;

std::chrono::steady_clock::time_point in(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
}

std::string failureOf(PeerLookUp& sut, std::chrono::milliseconds limit) {
    try {
        sut.addresses(in(limit));
    } catch (const zeb::ZebException& exception) {
        return exception.what();
    }
    return "none";
}

// Name servers that are silent until the test ends.
class SilentNames {
 public:
    ~SilentNames() { end_.set_value(); }
    void waitForLookUp() { begun_->get_future().wait(); }
    NameResolver& resolver() { return resolver_; }

 private:
    std::promise<void> end_;
    // The look-up may outlive the test.
    const std::shared_ptr<std::promise<void>> begun_ = std::make_shared<std::promise<void>>();
    const std::shared_future<void> ended_ = end_.get_future().share();
    NameResolver resolver_{[begun = begun_, ended = ended_](const std::string&) {
        begun->set_value();
        ended.wait();
        return NameResolver::Answer{{}, "silent"};
    }};
};

TEST(PeerLookUp, GivesAllAddressesOfAName) {
    NameResolver resolver([](const std::string&) {
        return NameResolver::Answer{
            {boost::asio::ip::make_address("::1"), boost::asio::ip::make_address("127.0.0.1")}, ""};
    });
    EXPECT_EQ(PeerLookUp("server", resolver).addresses(in(10s)),
              (std::vector<std::string>{"::1", "127.0.0.1"}));
}

TEST(PeerLookUp, AsksNobodyForTheAddressOfAnAddress) {
    NameResolver resolver([](const std::string&) { return NameResolver::Answer{{}, "asked"}; });
    EXPECT_EQ(PeerLookUp("127.0.0.1", resolver).addresses(in(0s)), std::vector<std::string>{"127.0.0.1"});
    EXPECT_EQ(PeerLookUp("::1", resolver).addresses(in(0s)), std::vector<std::string>{"::1"});
}

TEST(PeerLookUp, SaysWhyANameHasNoAddress) {
    NameResolver resolver([](const std::string&) { return NameResolver::Answer{{}, "no such name"}; });
    PeerLookUp sut("server", resolver);
    EXPECT_EQ(failureOf(sut, 10s), "ZebException: look-up of the host \"server\" no such name");
}

TEST(PeerLookUp, GivesUpAtTheDeadline) {
    SilentNames names;
    PeerLookUp sut("server", names.resolver());
    EXPECT_NE(failureOf(sut, 1ms).find("no answer within the time limit"), std::string::npos);
}

TEST(PeerLookUp, EndsAtOnceWhenItIsCancelled) {
    SilentNames names;
    PeerLookUp sut("server", names.resolver());
    auto failure = std::async(std::launch::async, [&sut] { return failureOf(sut, 1h); });
    names.waitForLookUp();
    sut.cancel();
    EXPECT_NE(failure.get().find("cancelled: "), std::string::npos);
}

TEST(PeerLookUp, StaysCancelled) {
    SilentNames names;
    PeerLookUp sut("server", names.resolver());
    sut.cancel();
    EXPECT_NE(failureOf(sut, 1h).find("cancelled: "), std::string::npos);
}

}  // namespace
