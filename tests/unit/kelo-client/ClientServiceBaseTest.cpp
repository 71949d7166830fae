// A process has one client-service base, so every test runs it in a child process. The platform's objects are
// fakes that print what is done with them.

#include <ChildProcess.h>
#include <FakePlatform.h>
#include <RecordingAraLog.h>
#include <TemporaryDirectory.h>
#include <csc_logging/CSCLogging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelo-client/ClientServiceBase.h>
#include <kelo-client/ClientServiceUtils.h>
#include <kelo-client/ConfigurationManager.h>
#include <kelo-client/KeloLoggerFactory.h>
#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zeb/ITpAccessFactory.h>
#include <zeb/ZebClient.h>
#include <zeb/ZebClientServices.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>

#include "WaitingCalls.h"

namespace {

using kelo_client::ClientServiceBase;
using kelo_client::ClientServiceUtils;
using kelo_client::WaitingCalls;
using test_support::RecordingAraLog;
using test_support::runInChild;
using test_support::TemporaryDirectory;
using testing::HasSubstr;

/// What `work` and the exit after it print, in a child process.
std::string saidBy(const std::function<void()>& work) {
    const auto result = runInChild([&work] {
        csc_logging::CSCLogging::CreateLogger("test");
        work();
    });
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    return result.output;
}

void say(const std::string& text) {
    std::puts(text.c_str());
}

void say(const std::string& what, bool holds) {
    say(what + (holds ? ": yes" : ": no"));
}

void sayLog() {
    for (const auto& record : RecordingAraLog::records()) {
        say("log: " + record.text);
    }
}

/// Everything printed from the line "---" on.
std::string afterMark(const std::string& output) {
    return output.substr(output.find("---\n") + 4);
}
void mark() {
    say("---");
}

const std::string kMadeAll =
    "WebSocket manager factory: made\n"
    "HTTP access factory: made\n"
    "zebExecutor: made\n"
    "zebExecutor: start\n"
    "httpExecutor: made\n"
    "httpExecutor: start\n"
    "service registry: made\n"
    "element registry: made\n";

const std::string kTornDown =
    "element registry: unsubscribeFromAll\n"
    "zebExecutor: stop\n"
    "httpExecutor: stop\n"
    "service registry: stop\n"
    "WebSocket manager factory: stopAndClearAll\n";

const std::string kReleased =
    "element registry: destroyed\n"
    "service registry: destroyed\n"
    "httpExecutor: destroyed\n"
    "zebExecutor: destroyed\n"
    "WebSocket manager factory: destroyed\n";

/// The base, complete. Releases what the fakes hold.
std::shared_ptr<ClientServiceBase> filledBase(const std::string& configFile = "") {
    auto base = ClientServiceUtils::CreateClientServiceBase(configFile);
    fake_platform::takeRegistryArguments();
    return base;
}

TEST(ClientServiceBase, IsOneForTheProcess) {
    EXPECT_EQ(
        saidBy([] { say("same", ClientServiceBase::getInstance() == ClientServiceBase::getInstance()); }),
        "same: yes\n");
}

TEST(ClientServiceBase, IsEmptyAtFirst) {
    EXPECT_EQ(saidBy([] {
                  const auto sut = ClientServiceBase::getInstance();
                  say("empty", !sut->getWebsocketManagerFactory() && !sut->getLoggerFactory() &&
                                   !sut->getTpAccessFactory() && !sut->getConfigurationManager() &&
                                   !sut->getZebExecutor() && !sut->getHttpExecutor() &&
                                   !sut->getServiceRegistry() && !sut->getElementRegistry() &&
                                   !sut->isInitialised());
                  say("mode " + std::to_string(sut->getRegistryMode()));
              }),
              "empty: yes\nmode 1\n");
}

TEST(ClientServiceBase, IsFilledInOrder) {
    EXPECT_THAT(saidBy([] {
                    filledBase();
                    mark();
                }),
                testing::StartsWith(kMadeAll + "---\n"));
}

TEST(ClientServiceBase, HasEverythingOnceItIsFilled) {
    EXPECT_THAT(saidBy([] {
                    const auto sut = filledBase();
                    say("all", sut->getWebsocketManagerFactory() && sut->getLoggerFactory() &&
                                   sut->getTpAccessFactory() && sut->getConfigurationManager() &&
                                   sut->getZebExecutor() && sut->getHttpExecutor() &&
                                   sut->getServiceRegistry() && sut->getElementRegistry() &&
                                   sut->isInitialised());
                }),
                HasSubstr("all: yes\n"));
}

TEST(ClientServiceBase, GivesEachPlatformObjectItsLogger) {
    EXPECT_THAT(saidBy([] {
                    filledBase();
                    sayLog();
                }),
                HasSubstr("log: ***ZebExecutor: made\n"
                          "log: ***httpExecutor: made\n"
                          "log: ElementRegistry: made\n"));
}

TEST(ClientServiceBase, LoadsTheConfiguration) {
    EXPECT_THAT(saidBy([] {
                    filledBase("/nowhere/at/all.json");
                    sayLog();
                }),
                HasSubstr("log: Config file does not exist: /nowhere/at/all.json\n"));
}

TEST(ClientServiceBase, LoadsTheConfigurationAfterTheAccessFactoryAndBeforeTheExecutors) {
    EXPECT_THAT(saidBy([] {
                    fake_platform::whenAccessFactoryIsMade(
                        [] { csc_logging::CSCLogging::LogInfo("access factory: made"); });
                    filledBase("/nowhere/at/all.json");
                    sayLog();
                }),
                HasSubstr("log: access factory: made\n"
                          "log: Config file does not exist: /nowhere/at/all.json\n"
                          "log: ***ZebExecutor: made\n"));
}

TEST(ClientServiceBase, IsFilledOnce) {
    EXPECT_THAT(saidBy([] {
                    const auto first = filledBase();
                    RecordingAraLog::reset();
                    mark();
                    say("same", filledBase("/nowhere/at/all.json") == first);
                    sayLog();
                    mark();
                }),
                HasSubstr("---\nsame: yes\n---\n"));
}

TEST(ClientServiceBase, GivesItsObjectsToTheServiceRegistry) {
    EXPECT_THAT(
        saidBy([] {
            const auto sut = ClientServiceUtils::CreateClientServiceBase("");
            const auto arguments = fake_platform::takeRegistryArguments();
            say("WebSockets", arguments.websocketManagerFactory == sut->getWebsocketManagerFactory());
            say("configuration", arguments.configManager == sut->getConfigurationManager());
            say("loggers", arguments.loggerFactory == sut->getLoggerFactory());
            say("requests", arguments.tpAccessFactory == sut->getTpAccessFactory());
            say("zebExecutor", arguments.zebExecutor == sut->getZebExecutor());
            say("httpExecutor", arguments.httpExecutor == sut->getHttpExecutor());
            say("settings",
                arguments.serviceSettings == sut->getConfigurationManager()->getServiceSettings());
        }),
        HasSubstr("WebSockets: yes\nconfiguration: yes\nloggers: yes\nrequests: yes\nzebExecutor: yes\n"
                  "httpExecutor: yes\nsettings: yes\n"));
}

TEST(ClientServiceBase, LogsThroughTheLoggingFacade) {
    EXPECT_THAT(saidBy([] {
                    const auto sut = filledBase();
                    say("facade", dynamic_cast<kelo_client::KeloLoggerFactory*>(
                                      sut->getLoggerFactory().get()) != nullptr);
                }),
                HasSubstr("facade: yes\n"));
}

TEST(ClientServiceBase, GivesTheConfiguredRegistryUriToTheServiceRegistry) {
    const TemporaryDirectory directory;
    const auto file =
        directory.write("config.json", R"({"serviceRegistrySettings":{"httpUri":"http://registry:8080"}})");
    EXPECT_THAT(saidBy([&file] {
                    ClientServiceUtils::CreateClientServiceBase(file);
                    say("uri " + fake_platform::takeRegistryArguments().settings.httpUri);
                }),
                HasSubstr("uri http://registry:8080\n"));
}

struct ModeCase {
    const char* name;
    std::string configuration;
    int mode;
};

void PrintTo(const ModeCase& mode, std::ostream* stream) {
    *stream << mode.name;
}

class ClientServiceBaseMode : public testing::TestWithParam<ModeCase> {};

std::string withMode(const std::string& mode) {
    return "{\"serviceRegistrySettings\":{\"mode\":\"" + mode + "\"}}";
}

INSTANTIATE_TEST_SUITE_P(OfTheConfiguration, ClientServiceBaseMode,
                         testing::Values(ModeCase{"StaticOnly", withMode("staticOnly"), 0},
                                         ModeCase{"DynamicOnly", withMode("dynamicOnly"), 1},
                                         ModeCase{"StaticBeforeDynamic", withMode("staticBeforeDynamic"), 2},
                                         ModeCase{"TheDefaultText", withMode("static"), 1},
                                         ModeCase{"AnUnknownText", withMode("other"), 1},
                                         ModeCase{"AnEmptyText", withMode(""), 1},
                                         ModeCase{"NoRegistrySettings", "{}", 1}),
                         [](const auto& testCase) { return testCase.param.name; });

TEST_P(ClientServiceBaseMode, BecomesTheModeOfTheServiceRegistry) {
    const TemporaryDirectory directory;
    const auto file = directory.write("config.json", GetParam().configuration);
    EXPECT_THAT(
        saidBy([&file] {
            const auto sut = ClientServiceUtils::CreateClientServiceBase(file);
            const auto settings = fake_platform::takeRegistryArguments().settings;
            say("modes " + std::to_string(sut->getRegistryMode()) + " " +
                std::to_string(static_cast<int>(settings.mode)));
        }),
        HasSubstr("modes " + std::to_string(GetParam().mode) + " " + std::to_string(GetParam().mode) + "\n"));
}

TEST(ClientServiceBase, IsTriedAgainAfterItCouldNotBeFilled) {
    EXPECT_THAT(saidBy([] {
                    fake_platform::whenRegistryIsMade([] { throw std::runtime_error("no registry"); });
                    try {
                        filledBase();
                    } catch (const std::exception& exception) {
                        say(std::string("threw ") + exception.what());
                    }
                    fake_platform::whenRegistryIsMade([] {});
                    say("initialised", filledBase()->isInitialised());
                }),
                testing::AllOf(HasSubstr("threw no registry\n"), HasSubstr("initialised: yes\n")));
}

TEST(ClientServiceBase, IsTornDownInOrderWhenItsLastHolderLetsGo) {
    EXPECT_EQ(afterMark(saidBy([] {
                  filledBase();
                  mark();
              })),
              kTornDown + kReleased);
}

TEST(ClientServiceBase, EndsTheCallsThatWaitBeforeItStopsAnything) {
    EXPECT_EQ(afterMark(saidBy([] {
                  const auto sut = filledBase();
                  const auto calls = std::make_shared<WaitingCalls>();
                  const WaitingCalls::Call call(*calls, [] { say("ended"); });
                  sut->tellWhenStopped(calls);
                  mark();
                  sut->stop();
                  std::_Exit(std::fflush(stdout));
              })),
              "ended\n" + kTornDown);
}

TEST(ClientServiceBase, EndsTheCallsOfEveryClient) {
    EXPECT_EQ(saidBy([] {
                  const auto sut = ClientServiceBase::getInstance();
                  const auto first = std::make_shared<WaitingCalls>();
                  const auto second = std::make_shared<WaitingCalls>();
                  const WaitingCalls::Call firstCall(*first, [] { say("first"); });
                  const WaitingCalls::Call secondCall(*second, [] { say("second"); });
                  sut->tellWhenStopped(first);
                  sut->tellWhenStopped(second);
                  sut->stop();
              }),
              "first\nsecond\n");
}

TEST(ClientServiceBase, EndsTheCallsOfAClientThatComesAfterItsStop) {
    EXPECT_EQ(saidBy([] {
                  const auto sut = ClientServiceBase::getInstance();
                  sut->stop();
                  const auto calls = std::make_shared<WaitingCalls>();
                  sut->tellWhenStopped(calls);
                  const WaitingCalls::Call call(*calls, [] { say("ended"); });
              }),
              "ended\n");
}

TEST(ClientServiceBase, IsTornDownAtExitButNotReleasedWhileAClientHoldsIt) {
    EXPECT_EQ(afterMark(saidBy([] {
                  static auto& holder = *new std::shared_ptr<ClientServiceBase>(filledBase());
                  say("held", holder != nullptr);
                  mark();
              })),
              kTornDown);
}

TEST(ClientServiceBase, NeedsNoTearDownWhenItWasNeverFilled) {
    EXPECT_EQ(saidBy([] {
                  ClientServiceBase::getInstance();
                  mark();
              }),
              "---\n");
}

TEST(ClientServiceBase, TearsDownWhatThereIsOfABaseThatCouldNotBeFilled) {
    EXPECT_EQ(afterMark(saidBy([] {
                  fake_platform::whenRegistryIsMade([] { throw std::runtime_error("no registry"); });
                  EXPECT_THROW(filledBase(), std::runtime_error);
                  mark();
              })),
              "zebExecutor: stop\n"
              "httpExecutor: stop\n"
              "WebSocket manager factory: stopAndClearAll\n"
              "httpExecutor: destroyed\n"
              "zebExecutor: destroyed\n"
              "WebSocket manager factory: destroyed\n");
}

TEST(ClientServiceBase, IsNotToBeHadAnyMoreOnceTheProcessHasLetGo) {
    EXPECT_THAT(saidBy([] {
                    std::atexit([] {  // registered before the base is created, so called after its end
                        say("gone", ClientServiceBase::getInstance() == nullptr);
                        try {
                            ClientServiceUtils::CreateClientServiceBase("");
                        } catch (const std::exception& exception) {
                            say(std::string("threw ") + exception.what());
                        }
                    });
                    filledBase();
                }),
                testing::EndsWith(
                    kReleased + "gone: yes\n"
                                "threw the client service base cannot be created while the process exits\n"));
}

TEST(ClientServiceBase, IsTornDownWhileThereIsStillLogging) {
    const auto result = runInChild([] {
        std::atexit(sayLog);  // called last
        ClientServiceBase::getInstance();
        csc_logging::CSCLogging::CreateLogger("test");
        filledBase();
        fake_platform::whenExecutorStops([] { csc_logging::CSCLogging::LogInfo("stopping"); });
    });
    EXPECT_THAT(result.output, HasSubstr("log: stopping\nlog: stopping\n"));
}

TEST(ClientServiceUtils, GiveAClientTheServicesOfTheBase) {
    EXPECT_THAT(saidBy([] {
                    const auto base = filledBase();
                    const auto services = ClientServiceUtils::CreateClientServices(*base, "Any", "a client");
                    say("name " + services->getClientName());
                    say("registry", services->getServiceRegistry() == base->getServiceRegistry());
                    say("loggers", services->getLoggerFactory() == base->getLoggerFactory());
                    say("elements", services->getElementRegistry() == base->getElementRegistry());
                    say("properties", services->getProperties() && services->getProperties()->empty());
                    say("dictionary", services->getValueDictionary() != nullptr);
                }),
                HasSubstr("name a client\nregistry: yes\nloggers: yes\nelements: yes\nproperties: yes\n"
                          "dictionary: no\n"));
}

class SomeClient : public zeb::ZebClient {
 public:
    using zeb::ZebClient::ZebClient;
    void start() override { say("started"); }
    bool has(const std::shared_ptr<zeb::ZebClientServices>& services) const {
        return getClientServices() == services;
    }
};

TEST(ClientServiceUtils, MakeAClientThatIsNotStartedYet) {
    const auto services =
        std::make_shared<zeb::ZebClientServices>("a client", nullptr, nullptr, nullptr, nullptr, nullptr);
    const auto client = ClientServiceUtils::CreateClient<SomeClient>(services);
    EXPECT_TRUE(client->has(services));
}

}  // namespace
