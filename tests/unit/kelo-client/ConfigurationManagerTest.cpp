#include <NoDescriptors.h>
#include <Poco/Exception.h>
#include <RecordingAraLog.h>
#include <TemporaryDirectory.h>
#include <TestBuild.h>
#include <csc_logging/CSCLogging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelo-client/ConfigurationManager.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <zebutil/JsonObject.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>

#include "LimitedAllocation.h"

namespace {

using ara::log::LogLevel;
using kelo_client::ConfigurationManager;
using std::chrono::milliseconds;
using test_support::RecordingAraLog;
using test_support::TemporaryDirectory;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kLoopback = "http://[::1]:80";

template <typename Text>
auto isRecord(LogLevel level, const Text& text) {
    return AllOf(Field(&RecordingAraLog::Record::level, level), Field(&RecordingAraLog::Record::text, text));
}

class ConfigurationManagerTest : public testing::Test {
 protected:
    ConfigurationManagerTest() {
        csc_logging::CSCLogging::CreateLogger("Test");
        RecordingAraLog::reset();
    }

    ConfigurationManager loaded(const std::string& content) const {
        ConfigurationManager sut(directory.write("config.json", content).string());
        sut.load();
        return sut;
    }

    /// Loads a file whose "services" section is the given text.
    ConfigurationManager withServices(const std::string& services) const {
        return loaded(R"({"services": )" + services + "}");
    }

    /// Loads a file whose "serviceRegistrySettings" section is the given text.
    ConfigurationManager withRegistry(const std::string& settings) const {
        return loaded(R"({"serviceRegistrySettings": )" + settings + "}");
    }

    TemporaryDirectory directory;
};

void expectDefaults(const ConfigurationManager& sut) {
    EXPECT_EQ(sut.getServiceRegistrySettings().mode, "static");
    EXPECT_EQ(sut.getServiceRegistrySettings().httpUri, kLoopback);
    EXPECT_THAT(*sut.getServiceSettings(), IsEmpty());
    EXPECT_THAT(*sut.getServices(), IsEmpty());
    EXPECT_FALSE(sut.isServiceConfigurationKnown("ClampControl"));
    EXPECT_EQ(sut.getServerBaseUri("ClampControl"), "/");
    EXPECT_EQ(sut.getWatchdogPingInterval("ClampControl"), milliseconds(0));
}

TEST_F(ConfigurationManagerTest, HasDefaultsBeforeItLoads) {
    expectDefaults(ConfigurationManager());
}

TEST_F(ConfigurationManagerTest, DoesNotReadTheFileBeforeItIsToldTo) {
    const auto file = directory.write("config.json", R"({"services": {"ClampControl": {}}})");
    const ConfigurationManager sut(file.string());
    EXPECT_FALSE(sut.isServiceConfigurationKnown("ClampControl"));
    EXPECT_THAT(RecordingAraLog::records(), IsEmpty());
}

TEST_F(ConfigurationManagerTest, HasDefaultsForTheSettingsOfAService) {
    const ConfigurationManager::ServiceSettings sut;
    EXPECT_EQ(*sut.serverBaseUri, kLoopback);
    EXPECT_EQ(sut.serverBaseUri->size(), 15u);
    EXPECT_EQ(*sut.serverBasePathHTTP, "/");
    EXPECT_EQ(*sut.serverBasePathWS, "/");
    EXPECT_EQ(*sut.separatorAfterResource, "/");
    EXPECT_EQ(*sut.watchdogTimeout, 0);
}

TEST_F(ConfigurationManagerTest, SaysThatNoFileWasGiven) {
    ConfigurationManager sut;
    sut.load();
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(isRecord(LogLevel::kError, "Config File is not given!")));
    expectDefaults(sut);
}

TEST_F(ConfigurationManagerTest, SaysThatAPathWithoutAFileNameIsNotAFileEvenWhenTheDirectoryExists) {
    const std::string path = directory.path().string() + "/";
    ConfigurationManager sut(path);
    sut.load();
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(isRecord(LogLevel::kError, "Config File is not a file: " + path)));
    expectDefaults(sut);
}

TEST_F(ConfigurationManagerTest, SaysThatAPathWithoutAFileNameIsNotAFileEvenWhenNothingIsThere) {
    const std::string path = (directory.path() / "missing/").string();
    ConfigurationManager sut(path);
    sut.load();
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(isRecord(LogLevel::kError, "Config File is not a file: " + path)));
}

TEST_F(ConfigurationManagerTest, SaysThatTheFileDoesNotExist) {
    const std::string path = (directory.path() / "missing.json").string();
    ConfigurationManager sut(path);
    sut.load();
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(isRecord(LogLevel::kError, "Config file does not exist: " + path)));
    expectDefaults(sut);
}

TEST_F(ConfigurationManagerTest, SaysThatAFileBelowAnotherFileDoesNotExist) {
    const std::string path = directory.write("file", "{}").string() + "/config.json";
    ConfigurationManager sut(path);
    sut.load();
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(isRecord(LogLevel::kError, "Config file does not exist: " + path)));
}

/// Relative paths begin in that directory while this object exists.
class WorkingDirectory {
 public:
    explicit WorkingDirectory(const std::filesystem::path& path) { std::filesystem::current_path(path); }
    ~WorkingDirectory() { std::filesystem::current_path(before_); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

 private:
    const std::filesystem::path before_ = std::filesystem::current_path();
};

TEST_F(ConfigurationManagerTest, TakesATildeForTheNameOfAFile) {
    directory.write("~", R"({"services": {"ClampControl": {}}})");
    const WorkingDirectory here(directory.path());
    ConfigurationManager sut("~");
    sut.load();
    EXPECT_TRUE(sut.isServiceConfigurationKnown("ClampControl"));
}

TEST_F(ConfigurationManagerTest, TakesATildeForTheNameOfADirectory) {
    std::filesystem::create_directory(directory.path() / "~");
    directory.write("~/config.json", R"({"services": {"ClampControl": {}}})");
    const WorkingDirectory here(directory.path());
    ConfigurationManager sut("~/config.json");
    sut.load();
    EXPECT_TRUE(sut.isServiceConfigurationKnown("ClampControl"));
}

TEST_F(ConfigurationManagerTest, SaysThatAPathWithANulCharacterDoesNotExist) {
    const std::string path = directory.write("config.json", R"({"services": {"ClampControl": {}}})");
    ConfigurationManager sut(path + std::string("\0.bak", 5));
    sut.load();
    EXPECT_THAT(RecordingAraLog::records().back(),
                isRecord(LogLevel::kError, "Config file does not exist: " + path));
    expectDefaults(sut);
}

TEST_F(ConfigurationManagerTest, SaysWhyItCannotReadALoopOfSymbolicLinks) {
    const std::filesystem::path path = directory.path() / "config.json";
    std::filesystem::create_symlink(path, path);
    ConfigurationManager sut(path.string());
    sut.load();
    EXPECT_THAT(RecordingAraLog::records().back(),
                isRecord(LogLevel::kError,
                         testing::MatchesRegex("Loading config file failed, error: .*: Too many levels of "
                                               "symbolic links.*")));
    expectDefaults(sut);
}

TEST_F(ConfigurationManagerTest, SaysThatItFoundTheFile) {
    const auto file = directory.write("config.json", "{}");
    ConfigurationManager sut(file.string());
    sut.load();
    EXPECT_THAT(
        RecordingAraLog::records(),
        ElementsAre(isRecord(LogLevel::kInfo, "Found config file: " + file.string() + " - try to load it")));
}

TEST_F(ConfigurationManagerTest, LogsAFileThatIsNotJsonAndKeepsTheDefaults) {
    for (const char* const content : {"", "{", "no JSON", R"({"services": )", "{'a': 1}"}) {
        RecordingAraLog::reset();
        const ConfigurationManager sut = loaded(content);
        EXPECT_THAT(
            RecordingAraLog::records(),
            ElementsAre(isRecord(LogLevel::kInfo, StartsWith("Found config file: ")),
                        isRecord(LogLevel::kError, StartsWith("Loading config file failed, error: "))))
            << content;
        expectDefaults(sut);
    }
}

TEST_F(ConfigurationManagerTest, LogsARootThatIsNotAnObject) {
    const ConfigurationManager sut = loaded("[1, 2]");
    EXPECT_THAT(RecordingAraLog::records().back(),
                isRecord(LogLevel::kError,
                         testing::MatchesRegex("Loading config file failed, error: .*Can not convert .* "
                                               "to .*\\.")));
    expectDefaults(sut);
}

TEST_F(ConfigurationManagerTest, LogsARootThatIsNullOrAnotherScalar) {
    for (const char* const content : {"null", "true", "5", R"("services")"}) {
        const ConfigurationManager sut = loaded(content);
        EXPECT_THAT(RecordingAraLog::records().back(),
                    isRecord(LogLevel::kError, StartsWith("Loading config file failed, error: ")))
            << content;
        expectDefaults(sut);
    }
}

TEST_F(ConfigurationManagerTest, LogsAnExceptionThatIsNotOfTheJsonLibrary) {
    const auto file = directory.write("config.json", R"({"services": {"ClampControl": {"serverBaseUri": ")" +
                                                         std::string(1'000'000, 'x') + "\"}}}");
    ConfigurationManager sut(file.string());
    {
        const test_support::LimitedAllocation limited(500'000);
        sut.load();
    }
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(isRecord(LogLevel::kInfo, StartsWith("Found config file: ")),
                            isRecord(LogLevel::kError, "Unknown exception when loading config file ")));
    expectDefaults(sut);
}

TEST_F(ConfigurationManagerTest, LogsADirectoryInPlaceOfTheFile) {
    ConfigurationManager sut(directory.path().string());
    sut.load();
    EXPECT_THAT(RecordingAraLog::records().back(),
                isRecord(LogLevel::kError, StartsWith("Loading config file failed, error: ")));
    expectDefaults(sut);
}

TEST_F(ConfigurationManagerTest, LogsAFileThatIsNestedTooDeeply) {
    const ConfigurationManager sut =
        loaded(R"({"services": )" + std::string(1000, '[') + std::string(1000, ']') + "}");
    EXPECT_THAT(RecordingAraLog::records().back(),
                isRecord(LogLevel::kError, StartsWith("Loading config file failed, error: ")));
    expectDefaults(sut);
}

TEST_F(ConfigurationManagerTest, KeepsTheDefaultsForAnEmptyObject) {
    expectDefaults(loaded("{}"));
}

TEST_F(ConfigurationManagerTest, ChangesNothingForANullRoot) {
    ConfigurationManager sut;
    sut.parseProperties(nullptr);
    expectDefaults(sut);
}

TEST_F(ConfigurationManagerTest, TakesModeAndUriOfTheRegistry) {
    const ConfigurationManager sut =
        withRegistry(R"({"mode": "dynamicOnly", "httpUri": "http://10.0.0.1:8080"})");
    EXPECT_EQ(sut.getServiceRegistrySettings().mode, "dynamicOnly");
    EXPECT_EQ(sut.getServiceRegistrySettings().httpUri, "http://10.0.0.1:8080");
}

TEST_F(ConfigurationManagerTest, IgnoresModeAndUriOfTheWrongType) {
    const ConfigurationManager sut = withRegistry(R"({"mode": 1, "httpUri": null})");
    EXPECT_EQ(sut.getServiceRegistrySettings().mode, "static");
    EXPECT_EQ(sut.getServiceRegistrySettings().httpUri, kLoopback);
}

TEST_F(ConfigurationManagerTest, IgnoresSectionsOfTheWrongType) {
    expectDefaults(loaded(R"({"serviceRegistrySettings": [], "services": "none"})"));
}

TEST_F(ConfigurationManagerTest, ReadsTheServicesWhenTheRegistrysSectionIsBroken) {
    const ConfigurationManager sut =
        loaded(R"({"serviceRegistrySettings": 5, "services": {"ClampControl": {}}})");
    EXPECT_EQ(sut.getServices()->count("ClampControl"), 1u);
}

TEST_F(ConfigurationManagerTest, TakesTheConnectionSettingsOfAService) {
    const ConfigurationManager sut = withRegistry(
        R"({"serviceSettings": [{"service": "ClampControl", "useSeparator": true, "watchdogTimeout": 1000}]})");
    const auto& setting = sut.getServiceSettings()->at("ClampControl");
    EXPECT_TRUE(setting.useSeparator);
    EXPECT_EQ(setting.watchdogPingInterval.getValue(), milliseconds(1000));
    EXPECT_EQ(setting.watchdogPongTimeout.getValue(), milliseconds(3000));
}

TEST_F(ConfigurationManagerTest, RaisesANegativeConnectionWatchdogToZero) {
    const ConfigurationManager sut = withRegistry(
        R"({"serviceSettings": [{"service": "ClampControl", "useSeparator": false, "watchdogTimeout": -5}]})");
    const auto& setting = sut.getServiceSettings()->at("ClampControl");
    EXPECT_FALSE(setting.useSeparator);
    EXPECT_EQ(setting.watchdogPingInterval.getValue(), milliseconds(0));
    EXPECT_EQ(setting.watchdogPongTimeout.getValue(), milliseconds(0));
}

TEST_F(ConfigurationManagerTest, SkipsConnectionSettingsThatAreIncompleteOrOfTheWrongType) {
    const ConfigurationManager sut = withRegistry(R"({"serviceSettings": [
        {"service": "A", "watchdogTimeout": 1},
        {"service": "B", "useSeparator": true},
        {"useSeparator": true, "watchdogTimeout": 1},
        {"service": 4, "useSeparator": true, "watchdogTimeout": 1},
        {"service": "C", "useSeparator": "true", "watchdogTimeout": 1},
        {"service": "D", "useSeparator": 1, "watchdogTimeout": 1},
        {"service": "E", "useSeparator": true, "watchdogTimeout": "1"},
        {"service": "F", "useSeparator": true, "watchdogTimeout": 1.5},
        {"service": "G", "useSeparator": true, "watchdogTimeout": true},
        "H", null, [],
        {"service": "I", "useSeparator": true, "watchdogTimeout": 1}]})");
    ASSERT_EQ(sut.getServiceSettings()->size(), 1u);
    EXPECT_EQ(sut.getServiceSettings()->begin()->first, "I");
}

TEST_F(ConfigurationManagerTest, SkipsConnectionSettingsSilently) {
    withRegistry(R"({"serviceSettings": [{"service": "A", "watchdogTimeout": 1}]})");
    EXPECT_THAT(RecordingAraLog::records(),
                ElementsAre(isRecord(LogLevel::kInfo, StartsWith("Found config file: "))));
}

TEST_F(ConfigurationManagerTest, CountsTheFirstOfTwoConnectionSettingsOfAService) {
    const ConfigurationManager sut = withRegistry(R"({"serviceSettings": [
        {"service": "ClampControl", "useSeparator": true, "watchdogTimeout": 1},
        {"service": "ClampControl", "useSeparator": false, "watchdogTimeout": 2}]})");
    EXPECT_TRUE(sut.getServiceSettings()->at("ClampControl").useSeparator);
}

TEST_F(ConfigurationManagerTest, SharesTheConnectionSettings) {
    const ConfigurationManager sut;
    EXPECT_EQ(sut.getServiceSettings(), sut.getServiceSettings());
}

TEST_F(ConfigurationManagerTest, TakesTheSettingsOfAService) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {
        "serverBaseUri": "http://10.0.0.1:80", "serverBasePathHTTP": "/http/", "serverBasePathWS": "/ws/",
        "separatorAfterRessource": "-"}})");
    const auto& settings = sut.getServices()->at("ClampControl");
    EXPECT_EQ(*settings.serverBaseUri, "http://10.0.0.1:80");
    EXPECT_EQ(*settings.serverBasePathHTTP, "/http/");
    EXPECT_EQ(*settings.serverBasePathWS, "/ws/");
    EXPECT_EQ(*settings.separatorAfterResource, "-");
    EXPECT_EQ(sut.getServerBaseUri("ClampControl"), "http://10.0.0.1:80");
    EXPECT_EQ(sut.getServerBasePath("ClampControl"), "/http/");
    EXPECT_EQ(sut.getSeparatorAfterResource("ClampControl"), "-");
}

TEST_F(ConfigurationManagerTest, LeavesTheWatchdogOutOfTheSettingsOfAService) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {"watchdogTimeout": 7}})");
    EXPECT_EQ(*sut.getServices()->at("ClampControl").watchdogTimeout, 0);
    EXPECT_EQ(sut.getWatchdogPingInterval("ClampControl"), milliseconds(7));
}

TEST_F(ConfigurationManagerTest, KeepsTheDefaultsOfASettingOfTheWrongType) {
    const ConfigurationManager sut =
        withServices(R"({"ClampControl": {"serverBaseUri": 1, "serverBasePathWS": true}})");
    const auto& settings = sut.getServices()->at("ClampControl");
    EXPECT_EQ(*settings.serverBaseUri, kLoopback);
    EXPECT_EQ(*settings.serverBasePathWS, "/");
}

TEST_F(ConfigurationManagerTest, SharesNoDefaultAmongServices) {
    const ConfigurationManager sut = withServices(R"({"A": {}, "B": {}})");
    *sut.getServices()->at("A").watchdogTimeout = 7;
    *sut.getServices()->at("A").serverBaseUri = "changed";
    EXPECT_EQ(*sut.getServices()->at("B").watchdogTimeout, 0);
    EXPECT_EQ(*sut.getServices()->at("B").serverBaseUri, kLoopback);
}

TEST_F(ConfigurationManagerTest, SkipsAServiceThatIsNotAnObject) {
    const ConfigurationManager sut = withServices(R"({"A": "text", "B": [], "C": null, "D": {}})");
    ASSERT_EQ(sut.getServices()->size(), 1u);
    EXPECT_EQ(sut.getServices()->begin()->first, "D");
}

TEST_F(ConfigurationManagerTest, AnswersSlashesForAServiceThatIsNotThere) {
    const ConfigurationManager sut = withServices(R"({"Other": {"serverBaseUri": "http://10.0.0.1:80"}})");
    EXPECT_EQ(sut.getServerBaseUri("ClampControl"), "/");
    EXPECT_EQ(sut.getServerBasePath("ClampControl"), "/");
    EXPECT_EQ(sut.getSeparatorAfterResource("ClampControl"), "/");
}

TEST_F(ConfigurationManagerTest, KnowsTheSeparatorWithADoubleSOnly) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {"separatorAfterResource": "-"}})");
    EXPECT_EQ(sut.getSeparatorAfterResource("ClampControl"), "/");
    EXPECT_EQ(*sut.getServices()->at("ClampControl").separatorAfterResource, "/");
}

TEST_F(ConfigurationManagerTest, GivesThePingIntervalAndThreeOfThem) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {"watchdogTimeout": 1000}})");
    EXPECT_EQ(sut.getWatchdogPingInterval("ClampControl"), milliseconds(1000));
    EXPECT_EQ(sut.getWatchdogPongTimeout("ClampControl"), milliseconds(3000));
}

TEST_F(ConfigurationManagerTest, RaisesANegativeWatchdogToZero) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {"watchdogTimeout": -5}})");
    EXPECT_EQ(sut.getWatchdogPingInterval("ClampControl"), milliseconds(0));
    EXPECT_EQ(sut.getWatchdogPongTimeout("ClampControl"), milliseconds(0));
}

TEST_F(ConfigurationManagerTest, GivesTheLongestTimeForAWatchdogThatCannotBeTripled) {
    const ConfigurationManager sut =
        withServices(R"({"ClampControl": {"watchdogTimeout": 9223372036854775807}})");
    EXPECT_EQ(sut.getWatchdogPongTimeout("ClampControl"), milliseconds::max());
}

TEST_F(ConfigurationManagerTest, HasNoWatchdogUnlessItIsConfigured) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {}})");
    EXPECT_EQ(sut.getWatchdogPingInterval("ClampControl"), milliseconds(0));
    EXPECT_EQ(sut.getWatchdogPongTimeout("ClampControl"), milliseconds(0));
}

TEST_F(ConfigurationManagerTest, KnowsTheServicesOfTheFileOnly) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {}, "Text": "text"})");
    EXPECT_TRUE(sut.isServiceConfigurationKnown("ClampControl"));
    EXPECT_FALSE(sut.isServiceConfigurationKnown("Text"));
    EXPECT_FALSE(sut.isServiceConfigurationKnown("Immobilizer"));
}

TEST_F(ConfigurationManagerTest, KnowsNoServiceWithoutAServicesSection) {
    EXPECT_FALSE(loaded("{}").isServiceConfigurationKnown("ClampControl"));
    EXPECT_FALSE(loaded(R"({"services": []})").isServiceConfigurationKnown("ClampControl"));
}

TEST_F(ConfigurationManagerTest, GivesAnyValueOfAService) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {"text": "t", "number": 4}})");
    EXPECT_EQ(sut.getValueOfService("ClampControl", "text", "default"), "t");
    EXPECT_EQ(sut.getValueOfService("ClampControl", "missing", "default"), "default");
    EXPECT_EQ(sut.getIntValueOfService("ClampControl", "number", 9), 4);
    EXPECT_EQ(sut.getIntValueOfService("ClampControl", "missing", 9), 9);
}

TEST_F(ConfigurationManagerTest, GivesDefaultsBeforeAFileIsLoaded) {
    const ConfigurationManager sut;
    EXPECT_EQ(sut.getValueOfService("ClampControl", "serverBaseUri", "default"), "default");
    EXPECT_EQ(sut.getIntValueOfService("ClampControl", "watchdogTimeout", 9), 9);
}

TEST_F(ConfigurationManagerTest, ThrowsForAValueThatIsNotAString) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {"serverBaseUri": 1}})");
    try {
        sut.getServerBaseUri("ClampControl");
        FAIL() << "no exception";
    } catch (const Poco::BadCastException& exception) {
        EXPECT_THAT(exception.message(), testing::MatchesRegex("Can not convert .* to .*\\."));
    }
}

TEST_F(ConfigurationManagerTest, ThrowsForAnEmptyValue) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {"serverBaseUri": null}})");
    try {
        sut.getServerBaseUri("ClampControl");
        FAIL() << "no exception";
    } catch (const Poco::InvalidAccessException& exception) {
        EXPECT_EQ(exception.message(), "Can not extract empty value.");
    }
}

TEST_F(ConfigurationManagerTest, ThrowsForAnIntegerThatIsNone) {
    const ConfigurationManager sut =
        withServices(R"({"A": {"watchdogTimeout": "1"}, "B": {"watchdogTimeout": 1.5}})");
    for (const char* const service : {"A", "B"}) {
        try {
            sut.getIntValueOfService(service, "watchdogTimeout", 0);
            ADD_FAILURE() << "no exception for " << service;
        } catch (const Poco::BadCastException& exception) {
            EXPECT_THAT(exception.message(), testing::MatchesRegex("Can not convert .* to .*\\."));
        }
    }
}

TEST_F(ConfigurationManagerTest, ThrowsForAnEmptyInteger) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {"watchdogTimeout": null}})");
    try {
        sut.getIntValueOfService("ClampControl", "watchdogTimeout", 0);
        FAIL() << "no exception";
    } catch (const Poco::InvalidAccessException& exception) {
        EXPECT_EQ(exception.message(), "Can not extract empty value.");
    }
}

TEST_F(ConfigurationManagerTest, AssemblesTheRecordOfAService) {
    const ConfigurationManager sut = withServices(R"({"ClampControl": {
        "serverBaseUri": "http://10.0.0.1:80", "serverBasePathHTTP": "/http/", "separatorAfterRessource": "-",
        "watchdogTimeout": 10}})");
    const auto record = sut.getServiceConfiguration("ClampControl");
    EXPECT_EQ(record.serverBaseUri, "http://10.0.0.1:80");
    EXPECT_EQ(record.serverBasePath, "/http/");
    EXPECT_EQ(record.separatorAfterResource, "-");
    EXPECT_EQ(record.watchdogPingInterval, milliseconds(10));
    EXPECT_EQ(record.watchdogPongTimeout, milliseconds(30));
    EXPECT_FALSE(record.useSeparator);
}

TEST_F(ConfigurationManagerTest, CanBeAskedThroughThePlatformsInterface) {
    const auto sut = std::make_shared<ConfigurationManager>();
    const std::shared_ptr<zeb::IConfigManager> asked = sut;
    EXPECT_EQ(asked->getServerBaseUri("ClampControl"), "/");
}

// ---------------------------------------------------------------------------------------- the file

/// The error line that loading the file leads to, without its beginning.
std::string errorOf(const std::string& path) {
    RecordingAraLog::reset();
    ConfigurationManager sut(path);
    sut.load();
    expectDefaults(sut);
    const std::string beginning = "Loading config file failed, error: ";
    const std::string text = RecordingAraLog::records().back().text;
    EXPECT_EQ(text.substr(0, beginning.size()), beginning);
    return text.substr(std::min(beginning.size(), text.size()));
}

class ConfigurationFileTest : public ConfigurationManagerTest {
 protected:
    std::string errorOfContent(const std::string& content) {
        return errorOf(directory.write("config.json", content).string());
    }

    std::string path() const { return (directory.path() / "config").string(); }
};

TEST_F(ConfigurationFileTest, IsNotWaitedForWhenItIsANamedPipe) {
    ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(errorOf(path()), "Cannot open file: it is not a regular file: " + path());
}

TEST_F(ConfigurationFileTest, IsNoDevice) {
    EXPECT_EQ(errorOf("/dev/zero"), "Cannot open file: it is not a regular file: /dev/zero");
}

TEST_F(ConfigurationFileTest, IsNoSocket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path().c_str(), sizeof(address.sun_path) - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(errorOf(path()), "Cannot open file: it is not a regular file: " + path());
    ::close(socket);
}

TEST_F(ConfigurationFileTest, IsNoDirectory) {
    EXPECT_EQ(errorOf(directory.path().string()),
              "Cannot open file: it is not a regular file: " + directory.path().string());
}

TEST_F(ConfigurationFileTest, MayHaveAMebibyte) {
    const std::string settings = R"({"services":{"ClampControl":{"serverBaseUri":"http://a"}}})";
    const ConfigurationManager sut = loaded(settings + std::string(1'048'576 - settings.size(), ' '));
    EXPECT_EQ(sut.getServerBaseUri("ClampControl"), "http://a");
}

TEST_F(ConfigurationFileTest, MayNotHaveMore) {
    const std::string content = "{}" + std::string(1'048'575, ' ');
    EXPECT_THAT(errorOfContent(content), testing::HasSubstr("it is larger than 1048576 bytes: "));
}

TEST_F(ConfigurationFileTest, IsReportedWithLineAndColumnOfItsMistake) {
    EXPECT_EQ(errorOfContent("{\n  \"services\": {\n    oops\n  }\n}"),
              "JSON Exception: line 3, column 5: expected a key in quotes");
}

TEST_F(ConfigurationFileTest, IsReportedWithColumnsThatBeginAtOne) {
    EXPECT_EQ(errorOfContent("oops"), "JSON Exception: line 1, column 1: expected an object");
}

TEST_F(ConfigurationFileTest, IsReportedWithPocosTextsWhenItsRootHasAnotherType) {
    EXPECT_THAT(errorOfContent(" [1, 2]"),
                testing::MatchesRegex("Bad cast exception: Can not convert .*Array.* to .*Object.*\\."));
    EXPECT_EQ(errorOfContent("null"), "Invalid access: Can not extract empty value.");
}

TEST_F(ConfigurationFileTest, IsNoJsonWhenSeveralValuesFollowEachOther) {
    EXPECT_EQ(errorOfContent(R"(1, "a": 2)"), "JSON Exception: line 1, column 1: expected an object");
}

// ---------------------------------------------------------------------------------------- wrong types

/// What the exception says that reading the value as a string, or as an integer, throws.
std::string complaintAbout(const std::string& value, bool asString) {
    const TemporaryDirectory directory;
    ConfigurationManager sut(
        directory.write("config.json", R"({"services":{"S":{"k":)" + value + "}}}").string());
    sut.load();
    try {
        if (asString) {
            sut.getValueOfService("S", "k", "");
        } else {
            sut.getIntValueOfService("S", "k", 0);
        }
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return "no exception";
}

TEST_F(ConfigurationManagerTest, IsToBeLoadedAgainWhenThereWasNoDescriptorForTheFile) {
    if (test_support::kSanitizerNeedsDescriptors) {
        GTEST_SKIP() << "the sanitizer needs descriptors";
    }
    ConfigurationManager sut(directory.write("config.json", "{}").string());
    {
        const test_support::NoDescriptors none;
        sut.load();
    }
    EXPECT_TRUE(sut.isToBeLoadedAgain());
}

TEST_F(ConfigurationManagerTest, IsNotToBeLoadedAgainOnceThatHasSucceeded) {
    if (test_support::kSanitizerNeedsDescriptors) {
        GTEST_SKIP() << "the sanitizer needs descriptors";
    }
    ConfigurationManager sut(directory.write("config.json", "{}").string());
    {
        const test_support::NoDescriptors none;
        sut.load();
    }
    sut.load();
    EXPECT_FALSE(sut.isToBeLoadedAgain());
}

TEST_F(ConfigurationManagerTest, IsNotToBeLoadedAgainWhenTheFileIsBroken) {
    EXPECT_FALSE(loaded("{").isToBeLoadedAgain());
}

TEST_F(ConfigurationManagerTest, SaysWhatIsWrongWithAValueThatIsNotAString) {
    const std::string beginning = R"(service "S", key "k": expected a string, found )";
    EXPECT_EQ(complaintAbout("12", true), beginning + "the number 12");
    EXPECT_EQ(complaintAbout("1.5", true), beginning + "the number 1.5");
    EXPECT_EQ(complaintAbout("true", true), beginning + "true");
    EXPECT_EQ(complaintAbout("null", true), beginning + "null");
    EXPECT_EQ(complaintAbout("{}", true), beginning + "an object");
    EXPECT_EQ(complaintAbout("[]", true), beginning + "an array");
}

TEST_F(ConfigurationManagerTest, SaysWhatIsWrongWithAValueThatIsNotAnInteger) {
    const std::string beginning = R"(service "S", key "k": expected an integer of 64 bits, found )";
    EXPECT_EQ(complaintAbout("\"12\"", false), beginning + "a string");
    EXPECT_EQ(complaintAbout("1.0", false), beginning + "the number 1");
    EXPECT_EQ(complaintAbout("18446744073709551615", false), beginning + "the number 18446744073709551615");
    EXPECT_EQ(complaintAbout("null", false), beginning + "null");
}

TEST_F(ConfigurationManagerTest, KeepsTheComplaintOfAnExceptionThatIsThrownAgain) {
    const ConfigurationManager sut = withServices(R"({"S": {"k": 1}})");
    try {
        try {
            sut.getValueOfService("S", "k", "");
        } catch (const Poco::Exception& exception) {
            exception.rethrow();
        }
    } catch (const Poco::BadCastException& exception) {
        EXPECT_STREQ(exception.what(), R"(service "S", key "k": expected a string, found the number 1)");
    }
}

}  // namespace
