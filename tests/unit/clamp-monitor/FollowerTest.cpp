#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>

#include "Follower.h"

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// A client whose subscribe calls give what the test has put in, and then wait for it to put in more.
class FakeClient : public clampcontrolclient::ClampControlClientIf {
 public:
    void Start() override {}
    void Stop() override { stopped = true; }
    void AssignCallback(clampcontrolclient::ClampControlCallbackIf* assigned) override {
        callback = assigned;
    }
    void UnsubscribeClampControl(const std::string& uuid) override { unsubscribed = uuid; }

    std::string SubscribeClampControl() override {
        std::unique_lock<std::mutex> lock(mutex);
        ++calls;
        changed.notify_all();
        changed.wait_for(lock, seconds(10), [this] { return !results.empty(); });
        const std::string result = results.front();
        results.pop_front();
        if (result == "not ready") {
            throw std::runtime_error(result);
        }
        return result;
    }

    void answer(const std::string& result) {
        const std::lock_guard<std::mutex> lock(mutex);
        results.push_back(result);
        changed.notify_all();
    }

    bool waitForCalls(int wanted) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, seconds(10), [&] { return calls >= wanted; });
    }

    clampcontrolclient::ClampControlCallbackIf* callback = nullptr;
    std::string unsubscribed;
    bool stopped = false;

 private:
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::string> results;
    int calls = 0;
};

class FollowerTest : public testing::Test {
 protected:
    explicit FollowerTest(Follower::Pauses pauses = {milliseconds(1), milliseconds(2)})
        : sut(
              client, printer, [](const std::string&) {}, pauses) {
        sut.start();
    }

    /// What was printed, without the times. To be called after `sut.stop()`.
    std::string events() const {
        std::istringstream lines(stream.str());
        std::string result;
        for (std::string line; std::getline(lines, line);) {
            result += (result.empty() ? "" : "|") + line.substr(14);
        }
        return result;
    }

    FakeClient client;
    std::ostringstream stream;
    EventPrinter printer{stream, EventPrinter::Format::Text, std::chrono::system_clock::now, nullptr};
    Follower sut;
};

TEST_F(FollowerTest, SubscribesWhenTheServiceHasConnected) {
    client.callback->OnConnectionStateChanged(true);
    client.answer("uuid");
    ASSERT_TRUE(client.waitForCalls(1));
    sut.stop();
    EXPECT_EQ(events().find("connection    connected"), 0U);
}

TEST_F(FollowerTest, DoesNotSubscribeBeforeTheServiceHasConnected) {
    sut.stop();
    EXPECT_EQ(events(), "");
}

TEST_F(FollowerTest, SubscribesAgainAfterEachReconnect) {
    client.callback->OnConnectionStateChanged(true);
    client.answer("first");
    ASSERT_TRUE(client.waitForCalls(1));
    client.callback->OnConnectionStateChanged(false);
    client.callback->OnConnectionStateChanged(true);
    client.answer("second");
    EXPECT_TRUE(client.waitForCalls(2));
}

TEST_F(FollowerTest, TriesAgainWhenSubscribingFailedThoughTheServiceIsConnected) {
    client.callback->OnConnectionStateChanged(true);
    client.answer("");
    client.answer("not ready");
    client.answer("uuid");
    EXPECT_TRUE(client.waitForCalls(3));
}

TEST_F(FollowerTest, PrintsWhatItIsTold) {
    client.callback->OnClampNotification();
    client.callback->OnClampStateChanged(true);
    client.callback->OnConnectionStateChanged(false);
    sut.stop();
    EXPECT_EQ(events(), "notification|clamp15       on|connection    disconnected");
}

TEST_F(FollowerTest, StopsTheClient) {
    sut.stop();
    EXPECT_TRUE(client.stopped);
}

class PatientFollowerTest : public FollowerTest {
 protected:
    PatientFollowerTest() : FollowerTest({hours(1), hours(1)}) {}
};

TEST_F(PatientFollowerTest, DoesNotWaitForThePauseWhenTheServiceConnectsAnew) {
    client.callback->OnConnectionStateChanged(true);
    client.answer("");
    ASSERT_TRUE(client.waitForCalls(1));
    client.callback->OnConnectionStateChanged(false);
    client.callback->OnConnectionStateChanged(true);
    client.answer("uuid");
    EXPECT_TRUE(client.waitForCalls(2));
}

TEST_F(PatientFollowerTest, DoesNotWaitForThePauseWhenItStops) {
    client.callback->OnConnectionStateChanged(true);
    client.answer("");
    ASSERT_TRUE(client.waitForCalls(1));
    sut.stop();
    EXPECT_TRUE(client.stopped);
}

}  // namespace
