#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Follower.h"

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

using Lines = std::vector<std::string>;

/// Lines that one thread writes and another waits for.
class Record {
 public:
    void add(std::string line) {
        const std::lock_guard lock(mutex_);
        lines_.push_back(std::move(line));
        changed_.notify_all();
    }

    bool waitFor(const std::string& line) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(
            lock, seconds(10), [&] { return std::find(lines_.begin(), lines_.end(), line) != lines_.end(); });
    }

    bool waitForLines(std::size_t wanted) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, seconds(10), [&] { return lines_.size() >= wanted; });
    }

    Lines lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

 private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Lines lines_;
};

/// Records each line of a printer when it is flushed, without its time.
class RecordingBuffer : public std::stringbuf {
 public:
    explicit RecordingBuffer(Record& record) : record_(record) {}

 protected:
    int sync() override {
        const std::string line = str();
        str("");
        const std::size_t widthOfTime = 14;
        record_.add(line.substr(widthOfTime, line.size() - widthOfTime - 1));
        return 0;
    }

 private:
    Record& record_;
};

/// A client whose subscribe calls return what the test has queued. A call with nothing queued waits for the
/// test to queue more, or to stop the client.
class FakeClient : public clampcontrolclient::ClampControlClientIf {
 public:
    void AssignCallback(clampcontrolclient::ClampControlCallbackIf* assigned) override {
        callback = assigned;
        others.add("AssignCallback");
    }

    void Start() override { others.add("Start"); }

    void UnsubscribeClampControl(const std::string& uuid) override { others.add("Unsubscribe " + uuid); }

    void Stop() override {
        others.add("Stop");
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }

    std::string SubscribeClampControl() override {
        std::unique_lock lock(mutex_);
        subscribeCalls_.push_back(steady_clock::now());
        changed_.notify_all();
        changed_.wait_for(lock, seconds(10), [this] { return stopped_ || !results_.empty(); });
        if (results_.empty()) {
            return {};
        }
        const std::string result = results_.front();
        results_.pop_front();
        if (result == "not ready") {
            throw std::runtime_error(result);
        }
        return result;
    }

    void answer(const std::string& result) {
        const std::lock_guard lock(mutex_);
        results_.push_back(result);
        changed_.notify_all();
    }

    bool waitForCalls(std::size_t wanted, milliseconds timeout = seconds(10)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [&] { return subscribeCalls_.size() >= wanted; });
    }

    std::vector<steady_clock::time_point> timesOfCalls() {
        const std::lock_guard lock(mutex_);
        return subscribeCalls_;
    }

    clampcontrolclient::ClampControlCallbackIf* callback = nullptr;
    Record others;  ///< the calls other than subscribe

 private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> results_;
    std::vector<steady_clock::time_point> subscribeCalls_;
    bool stopped_ = false;
};

class FollowerTest : public testing::Test {
 protected:
    explicit FollowerTest(Follower::Pauses pauses = {milliseconds(1), milliseconds(3)})
        : sut(
              client, printer, [this](const std::string& text) { complaints.add(text); }, pauses) {
        sut.start();
    }

    void connect() { client.callback->OnConnectionStateChanged(true); }
    void disconnect() { client.callback->OnConnectionStateChanged(false); }

    FakeClient client;
    Record events;
    Record complaints;
    RecordingBuffer buffer{events};
    std::ostream stream{&buffer};
    EventPrinter printer{stream, EventPrinter::Format::Text, std::chrono::system_clock::now, nullptr};
    Follower sut;
};

TEST_F(FollowerTest, AssignsItselfBeforeItStartsTheClient) {
    EXPECT_EQ(client.others.lines(), (Lines{"AssignCallback", "Start"}));
}

TEST_F(FollowerTest, SubscribesWhenTheServiceHasConnected) {
    connect();
    EXPECT_TRUE(client.waitForCalls(1));
}

TEST_F(FollowerTest, DoesNotSubscribeBeforeTheServiceHasConnected) {
    EXPECT_FALSE(client.waitForCalls(1, milliseconds(50)));
}

TEST_F(FollowerTest, TellsOfTheSubscriptionAfterTheConnection) {
    connect();
    client.answer("uuid");
    events.waitForLines(2);
    EXPECT_EQ(events.lines(), (Lines{"connection    connected", "subscribed    uuid"}));
}

TEST_F(FollowerTest, SubscribesAgainAfterEachReconnect) {
    connect();
    client.answer("first");
    ASSERT_TRUE(client.waitForCalls(1));
    disconnect();
    connect();
    EXPECT_TRUE(client.waitForCalls(2));
}

TEST_F(FollowerTest, TriesAgainWhenSubscribingFailedThoughTheServiceIsConnected) {
    connect();
    client.answer("");
    EXPECT_TRUE(client.waitForCalls(2));
}

TEST_F(FollowerTest, TriesAgainWhenSubscribingHasThrown) {
    connect();
    client.answer("not ready");
    EXPECT_TRUE(client.waitForCalls(2));
}

TEST_F(FollowerTest, DoublesThePauseUpToTheLongest) {
    connect();
    for (int failure = 0; failure < 4; ++failure) {
        client.answer("");
    }
    complaints.waitForLines(4);
    EXPECT_EQ(
        complaints.lines(),
        (Lines{"could not subscribe, trying again in 1 ms", "could not subscribe, trying again in 2 ms",
               "could not subscribe, trying again in 3 ms", "could not subscribe, trying again in 3 ms"}));
}

TEST_F(FollowerTest, BeginsWithTheFirstPauseAgainAfterAReconnect) {
    connect();
    client.answer("");
    client.answer("");
    ASSERT_TRUE(client.waitForCalls(3));
    disconnect();
    connect();
    client.answer("");  // for the lost connection
    client.answer("");
    ASSERT_TRUE(complaints.waitForLines(3));
    EXPECT_EQ(complaints.lines()[2], "could not subscribe, trying again in 1 ms");
}

TEST_F(FollowerTest, DoesNotComplainWhenTheServiceWasLostWhileItSubscribed) {
    connect();
    ASSERT_TRUE(client.waitForCalls(1));
    disconnect();
    client.answer("not ready");
    connect();
    ASSERT_TRUE(client.waitForCalls(2));
    EXPECT_EQ(complaints.lines(), Lines());
}

TEST_F(FollowerTest, DoesNotTellOfASubscriptionWhoseServiceWasLostWhileItSubscribed) {
    connect();
    ASSERT_TRUE(client.waitForCalls(1));
    disconnect();
    connect();
    client.answer("of the lost connection");
    client.answer("uuid");
    events.waitForLines(4);
    EXPECT_EQ(events.lines(), (Lines{"connection    connected", "connection    disconnected",
                                     "connection    connected", "subscribed    uuid"}));
}

TEST_F(FollowerTest, PrintsWhatItIsTold) {
    client.callback->OnClampNotification();
    client.callback->OnClampStateChanged(true);
    disconnect();
    EXPECT_EQ(events.lines(), (Lines{"notification", "clamp15       on", "connection    disconnected"}));
}

TEST_F(FollowerTest, StopsTheClientOnce) {
    sut.stop();
    sut.stop();
    EXPECT_EQ(client.others.lines(), (Lines{"AssignCallback", "Start", "Stop"}));
}

TEST_F(FollowerTest, EndsItsSubscriptionBeforeItStopsTheClient) {
    connect();
    client.answer("uuid");
    ASSERT_TRUE(events.waitFor("subscribed    uuid"));
    sut.stop();
    EXPECT_EQ(client.others.lines(), (Lines{"AssignCallback", "Start", "Unsubscribe uuid", "Stop"}));
}

TEST_F(FollowerTest, DoesNotEndASubscriptionThatWasLostWithItsService) {
    connect();
    client.answer("uuid");
    ASSERT_TRUE(events.waitFor("subscribed    uuid"));
    disconnect();
    sut.stop();
    EXPECT_EQ(client.others.lines(), (Lines{"AssignCallback", "Start", "Stop"}));
}

TEST_F(FollowerTest, StopsTheClientWhileASubscribeCallIsUnderWay) {
    connect();
    ASSERT_TRUE(client.waitForCalls(1));
    sut.stop();
    EXPECT_EQ(client.others.lines(), (Lines{"AssignCallback", "Start", "Stop"}));
}

TEST_F(FollowerTest, DoesNotComplainOfASubscribeCallThatItsStopHasEnded) {
    connect();
    ASSERT_TRUE(client.waitForCalls(1));
    sut.stop();
    EXPECT_EQ(complaints.lines(), Lines());
}

class UnhurriedFollowerTest : public FollowerTest {
 protected:
    UnhurriedFollowerTest() : FollowerTest({milliseconds(10), milliseconds(20)}) {}
};

TEST_F(UnhurriedFollowerTest, PausesForAsLongAsItSays) {
    connect();
    client.answer("");
    client.answer("");
    ASSERT_TRUE(client.waitForCalls(3));
    const auto times = client.timesOfCalls();
    EXPECT_GE(times[2] - times[1], milliseconds(20));
}

class PatientFollowerTest : public FollowerTest {
 protected:
    PatientFollowerTest() : FollowerTest({hours(1), hours(1)}) {}
};

TEST_F(PatientFollowerTest, DoesNotWaitForThePauseWhenTheServiceConnectsAnew) {
    connect();
    client.answer("");
    ASSERT_TRUE(complaints.waitForLines(1));
    disconnect();
    connect();
    EXPECT_TRUE(client.waitForCalls(2));
}

TEST_F(PatientFollowerTest, DoesNotWaitForThePauseWhenItStops) {
    connect();
    client.answer("");
    ASSERT_TRUE(complaints.waitForLines(1));
    sut.stop();
    EXPECT_TRUE(client.others.waitFor("Stop"));
}

}  // namespace
