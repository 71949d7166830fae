#include <algorithm>
#include <future>
#include <map>
#include <stdexcept>
#include <thread>
#include <vector>

#include "FaultScene.h"
#include "SubscriptionBeside.h"

namespace {

using namespace std::chrono_literals;
using e2e::Fault;
using e2e::kLimit;
using e2e::Moment;
using e2e::Outcome;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// What a busy machine may need beyond the promised time.
constexpr milliseconds kSlack = 4s;
// How long the tests wait to see that nothing is reported.
constexpr milliseconds kQuiet = 200ms;

struct SubscribeResult {
    std::string uuid;
    milliseconds lasted;
};

class FaultMatrix : public e2e::FaultScene, public testing::WithParamInterface<e2e::FaultCase> {
 protected:
    FaultMatrix() : FaultScene(GetParam()) {}

    // The next word. It must be consistent with the words before it.
    std::optional<std::string> next(milliseconds limit) {
        auto word = application.next(limit);
        if (word == "connected" || word == "disconnected") {
            EXPECT_NE(isConnected_, word == "connected") << *word << " was reported twice";
            isConnected_ = word == "connected";
        } else if (word) {
            EXPECT_TRUE(isConnected_) << *word << " was reported outside a connection";
        }
        return word;
    }

    void expect(const std::vector<std::string>& words, milliseconds limit = kLimit) {
        for (const std::string& word : words) {
            ASSERT_EQ(next(limit), word);
        }
    }

    // Skips other words: values may be in transit when a connection is lost.
    void await(const std::string& wanted, milliseconds limit) {
        const auto end = Clock::now() + limit;
        while (true) {
            const auto word =
                next(std::max(1ms, std::chrono::duration_cast<milliseconds>(end - Clock::now())));
            ASSERT_TRUE(word) << wanted << " was not reported within " << limit.count() << " ms";
            if (*word == wanted) {
                return;
            }
        }
    }

    void expectQuiet() { EXPECT_EQ(next(kQuiet), std::nullopt); }

    void connect() {
        startClient();
        expect({"connected"});
    }

    void subscribe() {
        connect();
        ASSERT_EQ(client->SubscribeClampControl(), "1");
        expect({"notification", "off"});
    }

    std::future<SubscribeResult> subscribeLater() {
        return std::async(std::launch::async, [this] {
            const auto begin = Clock::now();
            std::string answered;
            try {
                answered = client->SubscribeClampControl();
            } catch (const std::runtime_error& error) {
                answered = error.what();
            }
            return SubscribeResult{answered, std::chrono::duration_cast<milliseconds>(Clock::now() - begin)};
        });
    }

    // The end of every cell except those of Stop: the client is fully usable again.
    void expectUsable() {
        ASSERT_EQ(client->SubscribeClampControl(), "1");
        for (const char* word : {"on", "off"}) {
            change(std::string(word) == "on");
            await(word, kLimit);
        }
    }

    void expectLoss() {
        await("disconnected", within());
        clear();
        await("connected", milliseconds(e2e::cells::kPause + e2e::cells::kConnectLimit) + kSlack);
    }

    // -------------------------------------------------------------------------------------- the moments

    void beforeConnect() {
        if (fault() == Fault::NoDescriptors || fault() == Fault::NoThreads) {
            // Without these a client cannot be created, and says so.
            createClient();
            apply();
        } else {
            apply();
            createClient();
        }
        client->Start();
        if (fault() == Fault::SilentNameServer) {
            ASSERT_TRUE(machine().waitForQuestion(kLimit));
        }
        expectFirstConnection();
    }

    void duringHandshake() {
        proxy().hold();
        startClient();
        ASSERT_TRUE(proxy().waitForHeldBytes(kLimit));
        apply();
        if (!e2e::keepsWhatIsHeld(fault())) {
            proxy().release();
        }
        expectFirstConnection();
    }

    void expectFirstConnection() {
        if (outcome() == Outcome::Waits) {
            expectQuiet();
            clear();
            expect({"connected"}, within());
        } else {
            expect({"connected"}, within());
            clear();
        }
    }

    void connectedAndIdle() {
        connect();
        apply();
        if (outcome() == Outcome::Disconnected) {
            expectLoss();
        } else {
            expectQuiet();
            clear();
        }
    }

    void duringFindFirst() {
        connect();
        std::future<SubscribeResult> result;
        switch (fault()) {
            case Fault::Refused:
            case Fault::Silent:
            case Fault::Reset:
            case Fault::EndOfStream:
            case Fault::Stalled:
            case Fault::CloseWithCode:
            case Fault::GarbageFrame:
                // The request has been sent and not answered yet.
                bus.delayHttp("/ClampControl/clamps", 60s);
                result = subscribeLater();
                ASSERT_TRUE(bus.waitForRequests("/ClampControl/clamps", 1, kLimit));
                apply();
                break;
            default:
                apply();
                result = subscribeLater();
        }
        expectResult(result);
    }

    void beforeFirstNotification() {
        connect();
        std::size_t subscribers = 1;
        if (fault() == Fault::RepeatedSubscriptionId) {
            const auto isTold = std::make_shared<std::promise<void>>();
            e2e::SubscriptionBeside::Events events;
            events.told = [isTold, count = 0](const auto&) mutable {
                if (++count == 1) {
                    isTold->set_value();
                }
            };
            beside_ = std::make_unique<e2e::SubscriptionBeside>(events);
            isTold->get_future().wait();
            subscribers = 2;
            apply();
        }
        bus.withholdFirstNotifications();
        auto result = subscribeLater();
        ASSERT_TRUE(subscribers == 2 || bus.waitForSubscribers(kClamp15, subscribers, kLimit));
        if (fault() != Fault::RepeatedSubscriptionId) {
            apply();
        }
        if (outcome() == Outcome::GoesOn || fault() == Fault::ResetWithinFrame) {
            bus.releaseFirstNotifications();
        }
        expectResult(result);
    }

    void expectResult(std::future<SubscribeResult>& result) {
        switch (outcome()) {
            case Outcome::GoesOn: {
                const SubscribeResult subscribed = result.get();
                EXPECT_EQ(subscribed.uuid, "1");
                EXPECT_LT(subscribed.lasted, within());
                clear();
                expect({"notification", "off"});
                break;
            }
            default: {
                if (outcome() == Outcome::RefusedAndDisconnected) {
                    await("disconnected", milliseconds(e2e::cells::kPongTimeOut) + kSlack);
                }
                const SubscribeResult refused = result.get();
                EXPECT_EQ(refused.uuid, "");
                EXPECT_LT(refused.lasted, within());
                clear();
                if (outcome() == Outcome::RefusedAndDisconnected) {
                    await("connected", milliseconds(e2e::cells::kPause + e2e::cells::kConnectLimit) + kSlack);
                } else {
                    expectQuiet();
                }
            }
        }
    }

    void changes(int count) {
        for (int number = 0; number < count; ++number) {
            change(number % 2 == 0);
        }
    }

    void expectChanges(int count) {
        for (int number = 0; number < count; ++number) {
            expect({"notification", number % 2 == 0 ? "on" : "off"});
        }
    }

    void inTheMiddleOfAStream() {
        subscribe();
        changes(10);
        expectChanges(10);
        apply();
        switch (outcome()) {
            case Outcome::GoesOn: {
                const auto begin = Clock::now();
                const int count = fault() == Fault::SlowBytes ? 2 : 20;
                changes(count);
                expectChanges(count);
                EXPECT_LT(Clock::now() - begin, within());
                clear();
                break;
            }
            case Outcome::OneLost:
                changes(4);
                expect({"notification", "on", "notification", "on", "notification", "off"});
                clear();
                break;
            case Outcome::Ended:
                expectQuiet();
                clear();
                change(true);
                expectQuiet();
                break;
            default:
                if (!isFar()) {
                    changes(4);
                }
                expectLoss();
        }
    }

    void duringUnsubscribe() {
        subscribe();
        apply();
        const auto begin = Clock::now();
        client->UnsubscribeClampControl("1");
        EXPECT_LT(Clock::now() - begin, milliseconds(e2e::cells::kAtOnce) + kSlack);
        changeIfPossible();
        if (outcome() == Outcome::Disconnected) {
            ASSERT_EQ(next(within()), "disconnected") << "expected as the first word";
            clear();
            await("connected", milliseconds(e2e::cells::kPause + e2e::cells::kConnectLimit) + kSlack);
        } else {
            expectQuiet();
            clear();
        }
    }

    void duringStop() {
        if (fault() == Fault::SilentNameServer) {
            startClient();
            ASSERT_TRUE(machine().waitForQuestion(kLimit));
        } else {
            subscribe();
        }
        apply();
        const auto begin = Clock::now();
        client->Stop();
        EXPECT_LT(Clock::now() - begin, within());
        // Words from before the return may still be pending, but no more may arrive.
        const std::size_t told = application.pending();
        changeIfPossible();
        std::this_thread::sleep_for(kQuiet);
        EXPECT_EQ(application.pending(), told) << "something was reported after Stop had returned";
        clear();
        if (!isFar() && fault() != Fault::Silent) {
            EXPECT_TRUE(bus.waitForWebSockets("ClampControl", 0, kLimit)) << "its connection is still open";
        }
    }

    void runMoment() {
        static const std::map<Moment, void (FaultMatrix::*)()> moments{
            {Moment::BeforeConnect, &FaultMatrix::beforeConnect},
            {Moment::Handshake, &FaultMatrix::duringHandshake},
            {Moment::Idle, &FaultMatrix::connectedAndIdle},
            {Moment::FindFirst, &FaultMatrix::duringFindFirst},
            {Moment::FirstNotification, &FaultMatrix::beforeFirstNotification},
            {Moment::Stream, &FaultMatrix::inTheMiddleOfAStream},
            {Moment::Unsubscribe, &FaultMatrix::duringUnsubscribe},
            {Moment::Stop, &FaultMatrix::duringStop}};
        (this->*moments.at(moment()))();
    }

 private:
    std::unique_ptr<e2e::SubscriptionBeside> beside_;
    bool isConnected_ = false;
};

TEST_P(FaultMatrix, KeepsItsPromises) {
    runMoment();
    if (moment() != Moment::Stop && !HasFatalFailure()) {
        expectUsable();
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, testing::ValuesIn(e2e::allFaultCases()), e2e::nameOf);

}  // namespace
