#include <Certificates.h>
#include <SettableClock.h>
#include <TemporaryDirectory.h>
#include <TestBuild.h>
#include <TrustedAuthority.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <map>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "ClientFixture.h"
#include "FarServer.h"
#include "FaultProxy.h"
#include "FaultTable.h"
#include "Machine.h"
#include "SubscriptionBeside.h"

namespace {

using namespace std::chrono_literals;
using e2e::Cell;
using e2e::Fault;
using e2e::FaultProxy;
using e2e::FaultRow;
using e2e::kLimit;
using e2e::Moment;
using e2e::Outcome;
using e2e::webSocketFrame;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// What a busy machine may need beyond the promised time.
constexpr milliseconds kSlack = 4s;
// How long the tests wait to see that nothing is reported.
constexpr milliseconds kQuiet = 200ms;

struct Case {
    const FaultRow* row;
    std::size_t moment;

    Moment when() const { return e2e::kMoments.at(moment).moment; }
    Cell cell() const { return row->cells.at(moment); }
};

std::vector<Case> allCases() {
    std::vector<Case> cases;
    for (const FaultRow& row : e2e::kFaults) {
        for (std::size_t moment = 0; moment < e2e::kMoments.size(); ++moment) {
            if (row.cells.at(moment).outcome != Outcome::None) {
                cases.push_back({&row, moment});
            }
        }
    }
    return cases;
}

std::string nameOf(const testing::TestParamInfo<Case>& info) {
    return std::string(info.param.row->name) + e2e::kMoments.at(info.param.moment).name;
}

void PrintTo(const Case& one, std::ostream* stream) {
    *stream << one.row->title << ", " << e2e::kMoments.at(one.moment).title;
}

std::string answer(const std::string& statusLine, const std::string& body, const char* contentType,
                   std::size_t announced) {
    return "HTTP/1.1 " + statusLine + "\r\nContent-Type: " + contentType +
           "\r\nContent-Length: " + std::to_string(announced) + "\r\n\r\n" + body;
}

// A message in fragments of a few bytes, with a ping before each except the first.
std::vector<std::string> fragments(const std::string& message) {
    constexpr std::size_t kSize = 20;
    std::vector<std::string> frames;
    for (std::size_t begin = 0; begin < message.size(); begin += kSize) {
        if (begin > 0) {
            frames.push_back(webSocketFrame("between", 9));
        }
        frames.push_back(webSocketFrame(message.substr(begin, kSize), begin == 0 ? 1 : 0,
                                        begin + kSize >= message.size()));
    }
    return frames;
}

std::string joined(const std::vector<std::string>& frames) {
    std::string bytes;
    for (const std::string& frame : frames) {
        bytes += frame;
    }
    return bytes;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t begin = text.find(from);
    return begin == std::string::npos ? text : text.replace(begin, from.size(), to);
}

struct SubscribeResult {
    std::string uuid;
    milliseconds lasted;
};

// The files of TLS, if the test needs any.
struct TlsFiles {
    explicit TlsFiles(bool isNeeded) {
        if (isNeeded) {
            const test_support::CertificationAuthority authority{directory.path(), "authority"};
            const auto certificate = authority.issue("bus");
            options.tlsCertificateFile = certificate.certificateFile;
            options.tlsKeyFile = certificate.keyFile;
            trustStore = authority.certificateFile();
            trusted.emplace(trustStore);
        }
    }

    void hideTrustStore() const { std::filesystem::rename(trustStore, trustStore + ".hidden"); }
    void showTrustStore() const { std::filesystem::rename(trustStore + ".hidden", trustStore); }

    const test_support::TemporaryDirectory directory;
    std::string trustStore;
    std::optional<test_support::TrustedAuthority> trusted;
    zebbussim::BusSimulator::Options options;
};

class FaultMatrix : private TlsFiles, public e2e::ClientFixture, public testing::WithParamInterface<Case> {
 protected:
    FaultMatrix()
        : TlsFiles(fault() == Fault::TrustStoreAway), ClientFixture(busOptions(TlsFiles::options)) {}

    static zebbussim::BusSimulator::Options busOptions(zebbussim::BusSimulator::Options options) {
        options.hostNames = {kName};
        if (fault() == Fault::TwoAddresses) {
            options.address = "::1";
        }
        return options;
    }

    void SetUp() override {
        if (fault() == Fault::NoDescriptors && test_support::kSanitizerNeedsDescriptors) {
            GTEST_SKIP() << "the sanitizer needs descriptors";
        }
        if (fault() == Fault::PeerStopped || fault() == Fault::NoDescriptors) {
            far_ = std::make_unique<e2e::FarServer>(e2e::FarServer::Place::ThisNetwork);
        } else if (fault() == Fault::PacketsDropped) {
            try {
                far_ = std::make_unique<e2e::FarServer>(e2e::FarServer::Place::OwnNetwork);
            } catch (const std::exception& exception) {
                GTEST_SKIP() << "a network namespace needs root and the program ip: " << exception.what();
            }
        }
        if (fault() == Fault::TwoAddresses || fault() == Fault::SilentNameServer) {
            try {
                machine_.takeOverNames();
            } catch (const std::exception& exception) {
                GTEST_SKIP() << "names of its own need root: " << exception.what();
            }
        }
        clampAtFirst_ = bus.element(kClamp15);
        if (fault() == Fault::RegistryFlaps) {
            writeConfiguration(R"({"serviceRegistrySettings":{"mode":"dynamicOnly","httpUri":")" +
                               bus.baseUri() + R"("}})");
        } else {
            writeConfiguration(
                R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{"serverBaseUri":")" +
                baseUri() + R"(","serverBasePathHTTP":"/","watchdogTimeout":100}}})");
        }
    }

    // Where the client finds the service.
    std::string baseUri() const {
        const std::string proxyPort = ":" + std::to_string(proxy_.port());
        switch (fault()) {
            case Fault::TwoAddresses:
                return std::string("http://") + kName + ":" + std::to_string(bus.port());
            case Fault::SilentNameServer:
                return std::string("http://") + kName + proxyPort;
            case Fault::NoThreads:
                return "http://localhost" + proxyPort;  // a name, since only names need a thread
            case Fault::TrustStoreAway:
                return bus.baseUri();  // the proxy cannot read what is encrypted
            default:
                return far_ ? far_->baseUri() : proxy_.baseUri();
        }
    }

    void TearDown() override {
        endBeside();
        if (client) {
            client->Stop();
        }
    }

    static constexpr const char* kName = "vehicle.test";

    static Fault fault() { return GetParam().row->fault; }
    static Moment moment() { return GetParam().when(); }
    static Outcome outcome() { return GetParam().cell().outcome; }
    static milliseconds within() { return milliseconds(GetParam().cell().within) + kSlack; }

    // ---------------------------------------------------------------------------------------- the faults

    void apply() {
        const std::string everything = "/ClampControl";
        const bool isHandshake = moment() == Moment::BeforeConnect || moment() == Moment::Handshake;
        switch (fault()) {
            case Fault::Refused:
                proxy_.refuse();
                break;
            case Fault::Silent:
                proxy_.abandon();
                break;
            case Fault::Reset:
                proxy_.reset();
                break;
            case Fault::ResetWithinFrame:
                proxy_.resetWithinNextFrame();
                break;
            case Fault::EndOfStream:
                proxy_.end();
                break;
            case Fault::Stalled:
                proxy_.stall();
                break;
            case Fault::PeerStopped:
                far_->stop();
                break;
            case Fault::PacketsDropped:
                far_->cutOff();
                break;
            case Fault::SlowBytes:
                proxy_.slowDown();
                break;
            case Fault::CloseWithCode:
                bus.closeConnections("ClampControl", static_cast<std::uint16_t>(GetParam().row->code));
                break;
            case Fault::HttpStatus:
                bus.answerHttp(everything, GetParam().row->code, "");
                break;
            case Fault::HttpStatusWithBody:
                bus.answerHttp(everything, GetParam().row->code,
                               R"({"error":{"number":500,"reason":"internal_error","message":"no"}})");
                break;
            case Fault::WrongContentType: {
                const std::string body = "{\"data\":[" + clampAtFirst_ + "]}";
                bus.answerHttpWithBytes(everything, answer("200 OK", body, "text/html", body.size()));
                break;
            }
            case Fault::WrongContent:
                bus.answerHttpWithBytes(everything, answer("200 OK", "<p>Hello</p>", "text/html", 12));
                break;
            case Fault::TruncatedBody:
                bus.answerHttpWithBytes(everything, isHandshake ? "HTTP/1.1 101 Switching Protocols\r\nUpgra"
                                                                : answer("200 OK", R"({"data":[{"id":)",
                                                                         "application/json", 500));
                break;
            case Fault::OversizedBody: {
                const std::size_t size = isHandshake ? 64 * 1024 : 2 * 1024 * 1024;
                bus.answerHttpWithBytes(
                    everything,
                    isHandshake
                        ? "HTTP/1.1 101 Switching Protocols\r\nX: " + std::string(size, 'x') + "\r\n\r\n"
                        : answer("200 OK", std::string(size, ' '), "application/json", size));
                break;
            }
            case Fault::GarbageFrame:
                if (isHandshake) {
                    bus.answerHttpWithBytes(everything, "\xde\xad\xbe\xef\r\n\r\n");
                } else {
                    proxy_.inject("\xff\xff\xff\xff\xff\xff\xff\xff");
                }
                break;
            case Fault::NoUtf8:
                proxy_.inject(webSocketFrame("{\"action\":\"\xff\xfe\"}"));
                break;
            case Fault::OversizedMessage:
                proxy_.inject(std::string("\x81\x7f\0\0\0\0\x80\0\0\0", 10));
                break;
            case Fault::Fragments:
                proxy_.rewrite([](const std::string& frame) { return fragments(e2e::payloadOf(frame)); });
                proxy_.inject(joined(fragments(R"({"action":"something that no client knows"})")));
                break;
            case Fault::UnknownSubscription:
                proxy_.inject(webSocketFrame(
                    R"({"action":"subscription","subscriptionId":"nobody's","seq":0,"data":{"id":"1"}})"));
                break;
            case Fault::RepeatedMessages:
                proxy_.rewrite([](const std::string& frame) {
                    return std::vector<std::string>{frame, frame};
                });
                break;
            case Fault::RepeatedSubscriptionId:
                proxy_.rewrite([](const std::string& frame) {
                    return std::vector<std::string>{webSocketFrame(replaced(
                        e2e::payloadOf(frame), R"("subscriptionId":"2")", R"("subscriptionId":"1")"))};
                });
                break;
            case Fault::Gap:
                // The second one from now.
                proxy_.rewrite([count = 0](const std::string& frame) mutable {
                    return ++count == 2 ? std::vector<std::string>{} : std::vector<std::string>{frame};
                });
                break;
            case Fault::ElementDeleted:
                bus.removeElement(kClamp15);
                isDeleted_ = true;
                break;
            case Fault::ClockSet:
                startBeside([] {
                    test_support::setSystemClock(-1h);
                    std::this_thread::sleep_for(10ms);
                    test_support::setSystemClock(1h);
                    std::this_thread::sleep_for(10ms);
                });
                break;
            case Fault::TwoAddresses:
                machine_.nameHas(kName, {"127.0.0.1", "::1"});
                break;
            case Fault::SilentNameServer:
                break;  // until the name is known
            case Fault::NoDescriptors:
                if (moment() == Moment::Idle) {
                    far_->stop();
                }
                machine_.takeDescriptors();
                break;
            case Fault::NoThreads:
                machine_.refuseThreads();
                proxy_.reset();
                break;
            case Fault::TrustStoreAway:
                hideTrustStore();
                break;
            case Fault::RegistryFlaps:
                startBeside([this] {
                    bus.removeService("ClampControl");
                    std::this_thread::sleep_for(1ms);
                    bus.addService("ClampControl");
                    std::this_thread::sleep_for(1ms);
                });
                break;
        }
    }

    void clear() {
        proxy_.clear();
        bus.clearHttpFaults();
        bus.releaseFirstNotifications();
        if (isDeleted_) {
            bus.addElement(kClamp15, clampAtFirst_);
            isDeleted_ = false;
        }
        endBeside();
        test_support::setSystemClock(0s);
        machine_.giveDescriptorsBack();
        machine_.allowThreads();
        switch (fault()) {
            case Fault::PeerStopped:
            case Fault::NoDescriptors:
                far_->goOn();
                break;
            case Fault::PacketsDropped:
                far_->reconnect();
                break;
            case Fault::SilentNameServer:
                machine_.nameHas(kName, {"127.0.0.1"});
                break;
            case Fault::TrustStoreAway:
                showTrustStore();
                break;
            default:
                break;
        }
    }

    // Repeats `step` on a thread beside the test until endBeside().
    void startBeside(std::function<void()> step) {
        besideRuns_ = true;
        besideThread_ = std::thread([this, step = std::move(step)] {
            while (besideRuns_) {
                step();
            }
        });
    }

    void endBeside() {
        besideRuns_ = false;
        if (besideThread_.joinable()) {
            besideThread_.join();
        }
    }

    // ------------------------------------------------------------------------------------ the application

    void change(bool isOn) {
        if (far_) {
            far_->set(kClamp15, isOn ? R"({"isSwitchedOn":true})" : R"({"isSwitchedOn":false})");
        } else {
            setClamp15(isOn);
        }
    }

    void changeIfPossible() {
        if (!far_ && !isDeleted_ && fault() != Fault::RegistryFlaps) {
            change(true);
        }
    }

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
            ASSERT_TRUE(machine_.waitForQuestion(kLimit));
        }
        expectFirstConnection();
    }

    void duringHandshake() {
        proxy_.hold();
        startClient();
        ASSERT_TRUE(proxy_.waitForHeldBytes(kLimit));
        apply();
        switch (fault()) {
            case Fault::Refused:
            case Fault::Silent:
            case Fault::Reset:
            case Fault::EndOfStream:
            case Fault::Stalled:
                break;  // held data is never forwarded, or only after the stall
            default:
                proxy_.release();
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
                if (!far_) {
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
            ASSERT_TRUE(machine_.waitForQuestion(kLimit));
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
        if (!far_ && fault() != Fault::Silent) {
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
    FaultProxy proxy_{bus.port()};
    std::unique_ptr<e2e::FarServer> far_;
    std::unique_ptr<e2e::SubscriptionBeside> beside_;
    std::string clampAtFirst_;
    bool isDeleted_ = false;
    bool isConnected_ = false;
    e2e::Machine machine_;
    std::atomic<bool> besideRuns_ = false;
    std::thread besideThread_;
};

TEST_P(FaultMatrix, KeepsItsPromises) {
    runMoment();
    if (moment() != Moment::Stop && !HasFatalFailure()) {
        expectUsable();
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, testing::ValuesIn(allCases()), nameOf);

}  // namespace
