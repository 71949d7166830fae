#include "FaultScene.h"

#include <SettableClock.h>
#include <TestBuild.h>

#include <stdexcept>
#include <utility>

namespace e2e {

namespace {

// What a busy machine may need beyond the promised time.
constexpr std::chrono::milliseconds kSlack = 4s;

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

}  // namespace

std::vector<FaultCase> allFaultCases() {
    std::vector<FaultCase> cases;
    for (const FaultRow& row : kFaults) {
        for (std::size_t moment = 0; moment < kMoments.size(); ++moment) {
            if (row.cells.at(moment).outcome != Outcome::None) {
                cases.push_back({&row, moment});
            }
        }
    }
    return cases;
}

bool keepsWhatIsHeld(Fault fault) {
    switch (fault) {
        case Fault::Refused:
        case Fault::Silent:
        case Fault::Reset:
        case Fault::EndOfStream:
        case Fault::Stalled:
            return true;
        default:
            return false;
    }
}

std::string nameOf(const testing::TestParamInfo<FaultCase>& info) {
    return std::string(info.param.row->name) + kMoments.at(info.param.moment).name;
}

void PrintTo(const FaultCase& one, std::ostream* stream) {
    *stream << one.row->title << ", " << kMoments.at(one.moment).title;
}

FaultScene::FaultScene(const FaultCase& faultCase)
    : TlsFiles(faultCase.row->fault == Fault::TrustStoreAway),
      ClientFixture(busOptions(TlsFiles::options, faultCase.row->fault)),
      case_(faultCase) {}

FaultScene::~FaultScene() = default;

zebbussim::BusSimulator::Options FaultScene::busOptions(zebbussim::BusSimulator::Options options,
                                                        Fault fault) {
    options.hostNames = {kName};
    if (fault == Fault::TwoAddresses) {
        options.address = "::1";
    }
    return options;
}

std::chrono::milliseconds FaultScene::within() const {
    return std::chrono::milliseconds(case_.cell().within) + kSlack;
}

void FaultScene::SetUp() {
    if (fault() == Fault::NoDescriptors && test_support::kSanitizerNeedsDescriptors) {
        GTEST_SKIP() << "the sanitizer needs descriptors";
    }
    if (fault() == Fault::PeerStopped || fault() == Fault::NoDescriptors) {
        far_ = std::make_unique<FarServer>(FarServer::Place::ThisNetwork);
    } else if (fault() == Fault::PacketsDropped) {
        try {
            far_ = std::make_unique<FarServer>(FarServer::Place::OwnNetwork);
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
        writeConfiguration(R"({"serviceRegistrySettings":{"mode":"dynamicOnly","httpUri":")" + bus.baseUri() +
                           R"("}})");
    } else {
        writeConfiguration(
            R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{"serverBaseUri":")" +
            baseUri() + R"(","serverBasePathHTTP":"/","watchdogTimeout":100}}})");
    }
}

// Where the client finds the service.
std::string FaultScene::baseUri() const {
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

void FaultScene::TearDown() {
    endBeside();
    if (client) {
        client->Stop();
    }
}

void FaultScene::apply() {
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
            bus.closeConnections("ClampControl", static_cast<std::uint16_t>(case_.row->code));
            break;
        case Fault::HttpStatus:
            bus.answerHttp(everything, case_.row->code, "");
            break;
        case Fault::HttpStatusWithBody:
            bus.answerHttp(everything, case_.row->code,
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
            bus.answerHttpWithBytes(
                everything, isHandshake ? "HTTP/1.1 101 Switching Protocols\r\nUpgra"
                                        : answer("200 OK", R"({"data":[{"id":)", "application/json", 500));
            break;
        case Fault::OversizedBody: {
            const std::size_t size = isHandshake ? 64 * 1024 : 2 * 1024 * 1024;
            bus.answerHttpWithBytes(
                everything,
                isHandshake ? "HTTP/1.1 101 Switching Protocols\r\nX: " + std::string(size, 'x') + "\r\n\r\n"
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
            proxy_.rewrite([](const std::string& frame) { return fragments(payloadOf(frame)); });
            proxy_.inject(joined(fragments(R"({"action":"something that no client knows"})")));
            break;
        case Fault::UnknownSubscription:
            proxy_.inject(webSocketFrame(
                R"({"action":"subscription","subscriptionId":"nobody's","seq":0,"data":{"id":"1"}})"));
            break;
        case Fault::RepeatedMessages:
            proxy_.rewrite([](const std::string& frame) { return std::vector<std::string>{frame, frame}; });
            break;
        case Fault::RepeatedSubscriptionId:
            proxy_.rewrite([](const std::string& frame) {
                return std::vector<std::string>{webSocketFrame(
                    replaced(payloadOf(frame), R"("subscriptionId":"2")", R"("subscriptionId":"1")"))};
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

void FaultScene::clear() {
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
void FaultScene::startBeside(std::function<void()> step) {
    besideRuns_ = true;
    besideThread_ = std::thread([this, step = std::move(step)] {
        while (besideRuns_) {
            step();
        }
    });
}

void FaultScene::endBeside() {
    besideRuns_ = false;
    if (besideThread_.joinable()) {
        besideThread_.join();
    }
}

void FaultScene::change(bool isOn) {
    if (far_) {
        far_->set(kClamp15, isOn ? R"({"isSwitchedOn":true})" : R"({"isSwitchedOn":false})");
    } else {
        setClamp15(isOn);
    }
}

}  // namespace e2e
