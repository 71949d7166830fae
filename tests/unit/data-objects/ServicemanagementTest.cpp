#include <ZebDataObjects_ZEB/Servicemanagement.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zebutil/JsonObject.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "DataObjectTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using zebobjects_ZEB::ServicemanagementService;
using zebutil::JsonObject;

using AllUsersTransactionActivationType = ServicemanagementService::AllUsersTransactionActivationType;
using BinarySigned = ServicemanagementService::BinarySigned;
using ConnectionState = ServicemanagementService::ConnectionState;
using HttpOperationType = ServicemanagementService::HttpOperationType;
using MqttOperationType = ServicemanagementService::MqttOperationType;
using TransactionActivationType = ServicemanagementService::TransactionActivationType;
using TransactionType = ServicemanagementService::TransactionType;
using CONNECTIONSTATE = ServicemanagementService::CONNECTIONSTATE_CONNECTIONSTATE;
using DISABLEDREASON = ServicemanagementService::TRANSACTIONACTIVATIONTYPE_DISABLEDREASON;
using PRIVACYGROUPS = ServicemanagementService::TRANSACTIONTYPE_PRIVACYGROUPS;

constexpr const char* kEndOfFill = "could not fill object from json, exception occured";

template <typename R>
R objectOf(const std::string& json) {
    return R(JsonObject::parse(json));
}

class Servicemanagement : public test_data_objects::DataObjectTest {
 protected:
    std::vector<std::string> messages() const { return messagesOf("Servicemanagement"); }

    /// Fills an object from JSON that ends the fill. Returns the source line that the message points to.
    template <typename R>
    std::string lineThatEndsTheFill(const std::string& json) const {
        log.clear();
        objectOf<R>(json);
        EXPECT_THAT(messages(), ElementsAre(kEndOfFill)) << json;
        const std::vector<std::string> lines = log.lines();
        return lines.size() == 1 ? sourceLineOf("Servicemanagement", lines[0]) : "";
    }
};

// Lists of enumerations

TEST_F(Servicemanagement, SkipsAnUnknownReasonAndKeepsTheOrderOfTheOthers) {
    const auto sut =
        objectOf<TransactionActivationType>(R"({"disabledReason":["privacyConflict","x","blockedByOru"]})");
    EXPECT_THAT(sut.getDisabledReason().getValue(), ElementsAre(DISABLEDREASON{0}, DISABLEDREASON{17}));
    EXPECT_THAT(messages(), ElementsAre("unknown enum value in disabledReason"));
}

TEST_F(Servicemanagement, SaysSoOnceForEachUnknownElement) {
    const auto sut = objectOf<TransactionType>(R"({"privacyGroups":["x","y","consentData"]})");
    EXPECT_THAT(sut.getPrivacyGroups().getValue(), ElementsAre(PRIVACYGROUPS::consentData));
    EXPECT_THAT(messages(),
                ElementsAre("unknown enum value in privacyGroups", "unknown enum value in privacyGroups"));
}

TEST_F(Servicemanagement, KeepsAReasonThatIsGivenTwice) {
    const auto sut = objectOf<TransactionActivationType>(
        R"({"disabledReason":["blockedByOru","privacyConflict","blockedByOru"]})");
    EXPECT_THAT(sut.getDisabledReason().getValue(),
                ElementsAre(DISABLEDREASON{17}, DISABLEDREASON{0}, DISABLEDREASON{17}));
}

TEST_F(Servicemanagement, TellsAnEmptyListFromAnAbsentOne) {
    EXPECT_THAT(
        objectOf<TransactionActivationType>(R"({"disabledReason":[]})").getDisabledReason().getValue(),
        IsEmpty());
    EXPECT_FALSE(objectOf<TransactionActivationType>("{}").getDisabledReason());
}

TEST_F(Servicemanagement, EndsTheFillWhenAListIsNone) {
    const auto sut =
        objectOf<AllUsersTransactionActivationType>(R"({"id":"1","disabledReason":"x","userid":"u"})");
    EXPECT_FALSE(sut.getDisabledReason() || sut.getUserid());
    EXPECT_EQ(sut.getId().getValue(), "1");
    EXPECT_THAT(messages(), ElementsAre(kEndOfFill));
}

TEST_F(Servicemanagement, EndsTheFillWhenAnElementOfAListIsNoText) {
    const auto sut = objectOf<TransactionActivationType>(R"({"disabledReason":["x",null],"userid":"u"})");
    EXPECT_FALSE(sut.getDisabledReason() || sut.getUserid());
    EXPECT_THAT(messages(), ElementsAre("unknown enum value in disabledReason", kEndOfFill));
}

TEST_F(Servicemanagement, FiltersByALongListInItsOrder) {
    std::string text;
    for (int i = 0; i < 300; ++i) {
        text += R"("dormantData","trackingData",)";
    }
    text = "[" + text + R"("consentData"])";
    const auto sut = objectOf<TransactionType>(R"({"privacyGroups":)" + text + "}").getDescriptor();
    EXPECT_EQ(sut.getFilter().begin()->second, text);
}

TEST_F(Servicemanagement, WritesAListOfEnumerationsWithoutUnknownValues) {
    ServicemanagementService::TransactionTypeDescriptor sut;
    sut.setPrivacyGroups({PRIVACYGROUPS::dormantData, PRIVACYGROUPS{7}, PRIVACYGROUPS::trackingData});
    EXPECT_EQ(sut.getAsJson()->toString(), R"({"privacyGroups":["dormantData","trackingData"]})");
}

TEST_F(Servicemanagement, FiltersByAListOfEnumerationsWithoutUnknownValues) {
    ServicemanagementService::TransactionTypeDescriptor sut;
    sut.setPrivacyGroups({PRIVACYGROUPS::dormantData, PRIVACYGROUPS{7}, PRIVACYGROUPS::trackingData});
    EXPECT_EQ(sut.getFilter().begin()->second, R"(["dormantData","trackingData"])");
}

TEST_F(Servicemanagement, FiltersByTheRelativeUriOfAReferenceWithoutUri) {
    ServicemanagementService::TransactionTypeDescriptor sut;
    sut.setConnectionState(objectOf<ConnectionState>(R"({"id":"7"})"));
    EXPECT_EQ(sut.getFilter().begin()->second, "/servicemanagement/connectionStates/7");
}

TEST_F(Servicemanagement, FillsAReferenceWithoutId) {
    const auto sut =
        objectOf<TransactionType>(R"({"connectionState":{"connectionState":"connectionStateConnected"}})");
    EXPECT_TRUE(sut.getConnectionState());
}

TEST_F(Servicemanagement, KeepsTheSpellingOfItsLiterals) {
    const auto& values = ServicemanagementService::mapString2TransactionActivationTypeDisabledReason;
    EXPECT_EQ(values.at("productDisabledByQB"), DISABLEDREASON{11});
    EXPECT_EQ(
        ServicemanagementService::mapTransactionActivationTypeDisabledReason2String.at(DISABLEDREASON{11}),
        "productDisabledByQB");
    EXPECT_EQ(values.count("productInsufficentRights") + values.count("insufficentPower"), 2U);
    EXPECT_EQ(values.count("productInsufficientRights") + values.count("insufficientPower"), 0U);
}

// Enumerations

TEST_F(Servicemanagement, NumbersTheTemporaryDisconnectionFirst) {
    const auto sut = objectOf<ConnectionState>(R"({"connectionState":"connectionStateTempDisconnected"})");
    EXPECT_EQ(sut.getConnectionState().getValue(), CONNECTIONSTATE{0});
}

TEST_F(Servicemanagement, RefusesALiteralInTheWrongCase) {
    const auto sut = objectOf<ConnectionState>(R"({"connectionState":"ConnectionStateConnected"})");
    EXPECT_FALSE(sut.getConnectionState());
    EXPECT_THAT(messages(), ElementsAre("unknown enum value in connectionState"));
}

TEST_F(Servicemanagement, EndsTheFillWhenAnEnumerationIsNoText) {
    const auto sut = objectOf<HttpOperationType>(R"({"authorizationLevel":{},"uniformResourceLocator":"x"})");
    EXPECT_FALSE(sut.getAuthorizationLevel() || sut.getUniformResourceLocator());
    EXPECT_THAT(messages(), ElementsAre(kEndOfFill));
}

TEST_F(Servicemanagement, PrintsItsEnumerations) {
    EXPECT_EQ(ServicemanagementService::to_string(CONNECTIONSTATE{3}), "connectionStateOnDemand(3)");
    EXPECT_EQ(ServicemanagementService::to_string(CONNECTIONSTATE{9}), "unknown value(4)");
    EXPECT_EQ(ServicemanagementService::to_string(PRIVACYGROUPS{7}), "unknown value(7)");
    EXPECT_EQ(ServicemanagementService::to_string(DISABLEDREASON{18}), "unknown value(18)");
}

TEST_F(Servicemanagement, KnowsItsAuthorizationLevels) {
    using LEVEL = ServicemanagementService::HTTPOPERATIONTYPE_AUTHORIZATIONLEVEL;
    EXPECT_EQ(objectOf<HttpOperationType>(R"({"authorizationLevel":"personalised"})")
                  .getAuthorizationLevel()
                  .getValue(),
              LEVEL{1});
    EXPECT_FALSE(
        objectOf<HttpOperationType>(R"({"authorizationLevel":"authentic"})").getAuthorizationLevel());
    EXPECT_THAT(messages(), ElementsAre("unknown enum value in authorizationLevel"));
}

TEST_F(Servicemanagement, KnowsItsTrustLevels) {
    using LEVEL = ServicemanagementService::HTTPOPERATIONTYPE_TLSSERVERTIMETRUSTLEVEL;
    const auto read = [](const std::string& json) {
        return objectOf<HttpOperationType>(json).getTlsServerTimeTrustLevel().getValue();
    };
    EXPECT_EQ(read(R"({"tlsServerTimeTrustLevel":"authentic"})"), LEVEL{1});
    EXPECT_EQ(read(R"({"tlsServerTimeTrustLevel":"unauthentic"})"), LEVEL{0});
}

TEST_F(Servicemanagement, KnowsItsPayloadSecurityLevels) {
    using LEVEL = ServicemanagementService::MQTTOPERATIONTYPE_PAYLOADSECURITYLEVEL;
    EXPECT_EQ(
        objectOf<MqttOperationType>(R"({"payloadSecurityLevel":"payloadSecurityLevelAuthenticConfidential"})")
            .getPayloadSecurityLevel()
            .getValue(),
        LEVEL{2});
}

// Strings, booleans and lists of strings

TEST_F(Servicemanagement, KeepsThePayloadWhenTheUserIsOdd) {
    EXPECT_EQ(objectOf<BinarySigned>(R"({"signedPayload":"p","userid":17})").getUserid().getValue(), "17");
    const auto sut = objectOf<BinarySigned>(R"({"signedPayload":"p","userid":{}})");
    EXPECT_EQ(sut.getSignedPayload().getValue(), "p");
    EXPECT_FALSE(sut.getUserid());
    EXPECT_THAT(messages(),
                ElementsAre(StartsWith("could not get userid as std::string, exception=\"userid\": ")));
}

TEST_F(Servicemanagement, ReadsTheUserBehindAnOddPayload) {
    const auto sut = objectOf<BinarySigned>(R"({"signedPayload":null,"userid":"u"})");
    EXPECT_EQ(sut.getUserid().getValue(), "u");
    EXPECT_THAT(messages(),
                ElementsAre(StartsWith("could not get signedPayload as std::string, exception=")));
}

TEST_F(Servicemanagement, LosesAListOfStringsToOneBadElementAndNothingElse) {
    const auto sut = objectOf<HttpOperationType>(
        R"({"allowedTargetHostsAndPorts":["a:1",{}],"authorizationLevel":"vehicle","uniformResourceLocator":"x"})");
    EXPECT_FALSE(sut.getAllowedTargetHostsAndPorts());
    EXPECT_TRUE(sut.getAuthorizationLevel());
    EXPECT_EQ(sut.getUniformResourceLocator().getValue(), "x");
    EXPECT_THAT(
        messages(),
        ElementsAre(
            "could not get allowedTargetHostsAndPorts as std::string, exception=element 1: expected a "
            "string, a number or a boolean, found an object"));
}

TEST_F(Servicemanagement, SetsAnEmptyListOfStrings) {
    EXPECT_THAT(objectOf<HttpOperationType>(R"({"tlsServerHpkpHash":[]})").getTlsServerHpkpHash().getValue(),
                IsEmpty());
}

TEST_F(Servicemanagement, SaysWhyEachFieldOfAnHttpOperationCouldNotBeRead) {
    objectOf<HttpOperationType>(
        R"({"allowedTargetHostsAndPorts":1,"authorizationLevel":"","requiredScopeOfAccessToken":null,
            "tlsClientKeyIdType":"","tlsServerCertificateRevocationCheck":"true","tlsServerHpkpHash":{},
            "tlsServerTimeTrustLevel":"","tlsServerTruststoreId":[],"uniformResourceLocator":{},
            "vehicleIntegrationTlsMode":""})");
    EXPECT_THAT(
        messages(),
        ElementsAre(StartsWith("could not get allowedTargetHostsAndPorts as std::string, exception="),
                    "unknown enum value in authorizationLevel",
                    StartsWith("could not get requiredScopeOfAccessToken as std::string, exception="),
                    "unknown enum value in tlsClientKeyIdType",
                    StartsWith("could not get tlsServerCertificateRevocationCheck as bool, exception="),
                    StartsWith("could not get tlsServerHpkpHash as std::string, exception="),
                    "unknown enum value in tlsServerTimeTrustLevel",
                    StartsWith("could not get tlsServerTruststoreId as std::string, exception="),
                    StartsWith("could not get uniformResourceLocator as std::string, exception="),
                    "unknown enum value in vehicleIntegrationTlsMode"));
}

TEST_F(Servicemanagement, SaysWhyEachFieldOfAnMqttOperationCouldNotBeRead) {
    objectOf<MqttOperationType>(R"({"isAlwaysOnOperation":1,"payloadSecurityLevel":"none"})");
    EXPECT_THAT(messages(), ElementsAre(StartsWith("could not get isAlwaysOnOperation as bool, exception="),
                                        "unknown enum value in payloadSecurityLevel"));
}

TEST_F(Servicemanagement, GivesTheTextOfABoolean) {
    const auto sut = objectOf<HttpOperationType>(R"({"tlsServerCertificateRevocationCheck":true})");
    EXPECT_EQ(sut.getTlsServerCertificateRevocationCheckAsString().getValue(), "true");
    EXPECT_TRUE(sut.getTlsServerCertificateRevocationCheck().getValue());
}

TEST_F(Servicemanagement, GivesNoTextWithoutJsonOrKey) {
    const auto sut = objectOf<MqttOperationType>("{}");
    EXPECT_FALSE(sut.getIsAlwaysOnOperation().hasValue());
    EXPECT_FALSE(sut.getIsAlwaysOnOperationAsString());
    EXPECT_FALSE(BinarySigned(nullptr).getUseridAsString());
    EXPECT_FALSE(objectOf<BinarySigned>("{}").getUseridAsString());
}

TEST_F(Servicemanagement, LetsTheExceptionOfATextPass) {
    const auto sut = objectOf<BinarySigned>(R"({"userid":null})");
    EXPECT_THROW(sut.getUseridAsString(), std::exception);
}

// References

TEST_F(Servicemanagement, BuildsAReferredElementWithItsFields) {
    const auto sut = objectOf<TransactionType>(
        R"({"connectionState":{"id":"1","connectionState":"connectionStateConnected"}})");
    EXPECT_EQ(sut.getConnectionState().getValue().getId().getValue(), "1");
    EXPECT_EQ(sut.getConnectionState().getValue().getConnectionState().getValue(), CONNECTIONSTATE{1});
}

TEST_F(Servicemanagement, BuildsAReferredElementWithItsJson) {
    const auto sut = objectOf<TransactionType>(R"({"transactionActivationType":{"userid":"u"}})");
    EXPECT_EQ(sut.getTransactionActivationType().getValue().getUseridAsString().getValue(), "u");
}

TEST_F(Servicemanagement, LogsTheProblemsOfAReferredElementAndGoesOn) {
    const auto sut = objectOf<TransactionType>(
        R"({"connectionState":{"id":"1","connectionState":null},"privacyGroups":["consentData"]})");
    EXPECT_TRUE(sut.getConnectionState() && sut.getPrivacyGroups());
    EXPECT_THAT(messages(), ElementsAre(kEndOfFill));
}

TEST_F(Servicemanagement, LeavesANullReferenceUnsetWithoutAMessage) {
    const auto sut = objectOf<TransactionType>(R"({"connectionState":null,"privacyGroups":[]})");
    EXPECT_FALSE(sut.getConnectionState());
    EXPECT_TRUE(sut.getPrivacyGroups());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Servicemanagement, EndsTheFillWhenAReferenceIsNoObject) {
    const auto sut = objectOf<TransactionType>(R"({"connectionState":"1","privacyGroups":[]})");
    EXPECT_FALSE(sut.getConnectionState() || sut.getPrivacyGroups());
    EXPECT_THAT(messages(), ElementsAre(kEndOfFill));
}

TEST_F(Servicemanagement, EndsTheFillWhenAnAttachedOperationHasNoTextForItsId) {
    const auto sut =
        objectOf<TransactionType>(R"({"attachedOperations":[{"id":"1"},{"id":[]}],"privacyGroups":[]})");
    EXPECT_FALSE(sut.getAttachedOperations() || sut.getPrivacyGroups());
    EXPECT_THAT(messages(), ElementsAre(kEndOfFill));
}

TEST_F(Servicemanagement, PointsToTheFieldThatEndedTheFill) {
    EXPECT_EQ(lineThatEndsTheFill<TransactionType>(R"({"id":"1","attachedOperations":1})"),
              "    visit(\"attachedOperations\", &TransactionTypeDescriptor::attachedOperations_);");
    EXPECT_EQ(lineThatEndsTheFill<TransactionType>(R"({"attachedOperations":[],"connectionState":1})"),
              "    visit(\"connectionState\", &TransactionTypeDescriptor::connectionState_);");
    EXPECT_EQ(lineThatEndsTheFill<TransactionType>(R"({"privacyGroups":1})"),
              "    visit(\"privacyGroups\", &TransactionTypeDescriptor::privacyGroups_);");
    EXPECT_EQ(lineThatEndsTheFill<HttpOperationType>(R"({"vehicleIntegrationTlsMode":null})"),
              "    visit(\"vehicleIntegrationTlsMode\", "
              "&HttpOperationTypeDescriptor::vehicleIntegrationTlsMode_);");
}

TEST_F(Servicemanagement, SaysSoWhenTheIdentityEndsTheFill) {
    const auto sut = objectOf<ConnectionState>(R"({"id":null,"connectionState":"connectionStateConnected"})");
    EXPECT_FALSE(sut.getConnectionState());
    EXPECT_THAT(messages(), ElementsAre(kEndOfFill));
}

TEST_F(Servicemanagement, PointsToTheBaseFillOfTheResourceThatItEnded) {
    for (const std::string key : {"id", "name", "uri"}) {
        EXPECT_EQ(lineThatEndsTheFill<TransactionType>("{\"" + key + R"(":null,"privacyGroups":1})"),
                  "const int kBaseFillLine<Service::TransactionType> = __LINE__;")
            << key;
        EXPECT_EQ(lineThatEndsTheFill<ConnectionState>("{\"" + key + R"(":[],"connectionState":1})"),
                  "const int kBaseFillLine<Service::ConnectionState> = __LINE__;")
            << key;
    }
}

TEST_F(Servicemanagement, PointsToTheBaseFillOfTheElementReferredTo) {
    EXPECT_EQ(lineThatEndsTheFill<TransactionType>(R"({"connectionState":{"id":null}})"),
              "const int kBaseFillLine<Service::ConnectionState> = __LINE__;");
}

ServicemanagementService::TransactionTypeDescriptor referringTo(
    const ServicemanagementService::ConnectionStateDescriptor& to) {
    ServicemanagementService::TransactionTypeDescriptor descriptor;
    descriptor.setConnectionState(ConnectionState(to));
    return descriptor;
}

TEST_F(Servicemanagement, WritesAReferenceWithUriIdAndNameOnly) {
    ServicemanagementService::ConnectionStateDescriptor to;
    to.setId("1");
    to.setName("x");
    to.setUri("/a/1");
    to.setConnectionState(CONNECTIONSTATE{2});
    EXPECT_EQ(referringTo(to).getAsJson()->toString(),
              R"({"connectionState":{"id":"1","name":"x","uri":"/a/1"}})");
}

TEST_F(Servicemanagement, WritesTheRelativeUriOfAReferenceWithoutOne) {
    ServicemanagementService::ConnectionStateDescriptor to;
    to.setId("1");
    to.setName("x");
    EXPECT_EQ(referringTo(to).getAsJson()->toString(),
              R"({"connectionState":{"id":"1","name":"x","uri":"/servicemanagement/connectionStates/1"}})");
}

std::string errorOfWriting(const ServicemanagementService::TransactionTypeDescriptor& descriptor) {
    try {
        return "none, but " + descriptor.getAsJson()->toString();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

constexpr const char* kUnsetOptional = "getValue called on uninitialized Optional";

TEST_F(Servicemanagement, DoesNotWriteAReferenceWithoutId) {
    ServicemanagementService::ConnectionStateDescriptor to;
    to.setUri("/a/1");
    to.setName("x");
    EXPECT_EQ(errorOfWriting(referringTo(to)), kUnsetOptional);
}

TEST_F(Servicemanagement, DoesNotWriteAReferenceWithoutName) {
    ServicemanagementService::ConnectionStateDescriptor to;
    to.setUri("/a/1");
    to.setId("1");
    EXPECT_EQ(errorOfWriting(referringTo(to)), kUnsetOptional);
}

ServicemanagementService::TransactionTypeDescriptor attaching(const std::string& operation) {
    return objectOf<TransactionType>(R"({"attachedOperations":[)" + operation + "]}").getDescriptor();
}

TEST_F(Servicemanagement, WritesAnAttachedOperationWithUriIdAndNameOnly) {
    EXPECT_EQ(attaching(R"({"id":"2","name":"x","uri":"/a/2","more":1})").getAsJson()->toString(),
              R"({"attachedOperations":[{"id":"2","name":"x","uri":"/a/2"}]})");
}

TEST_F(Servicemanagement, WritesTheIdAsUriOfAnAttachedOperationWithoutOne) {
    EXPECT_EQ(attaching(R"({"id":"2","name":"x"})").getAsJson()->toString(),
              R"({"attachedOperations":[{"id":"2","name":"x","uri":"/2"}]})");
}

TEST_F(Servicemanagement, DoesNotWriteAnAttachedOperationWithoutId) {
    EXPECT_EQ(errorOfWriting(attaching(R"({"name":"x","uri":"/a/2"})")), kUnsetOptional);
}

TEST_F(Servicemanagement, DoesNotWriteAnAttachedOperationWithoutName) {
    EXPECT_EQ(errorOfWriting(attaching(R"({"id":"2","uri":"/a/2"})")), kUnsetOptional);
}

TEST_F(Servicemanagement, PrintsWhyItCannotBeWritten) {
    const TransactionType sut(attaching(R"({"id":"2","uri":"/a/2"})"));
    EXPECT_EQ(sut.toString(), std::string("cannot be written as JSON: ") + kUnsetOptional);
}

TEST_F(Servicemanagement, CopiesReferencesDeeply) {
    const auto sut =
        objectOf<TransactionType>(R"({"connectionState":{"id":"1"},"attachedOperations":[{"id":"2"}]})");
    auto copy = sut.getDescriptor();
    copy.setConnectionState(objectOf<ConnectionState>(R"({"id":"3"})"));
    EXPECT_EQ(sut.getConnectionState().getValue().getId().getValue(), "1");
    EXPECT_EQ(copy.getAttachedOperations().getValue().at(0).getId().getValue(), "2");
}

// The module's logger. The process keeps it, so all tests in one process share it.

TEST_F(Servicemanagement, MakesOneLoggerAtMostAndKeepsIt) {
    objectOf<MqttOperationType>(R"({"isAlwaysOnOperation":1,"payloadSecurityLevel":"none"})");
    objectOf<ConnectionState>(R"({"connectionState":"x"})");
    EXPECT_LE(log.created().size(), 1U);
    EXPECT_EQ(log.released(), 0U);
    EXPECT_EQ(messages().size(), 3U);
}

TEST_F(Servicemanagement, WritesNothingWhenWarningsAreNotWanted) {
    log.areWarningsWanted = false;
    objectOf<MqttOperationType>(R"({"isAlwaysOnOperation":1,"payloadSecurityLevel":null})");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Servicemanagement, AsksAtEachMessageWhetherWarningsAreWanted) {
    for (const bool wanted : {true, false, true}) {
        log.areWarningsWanted = wanted;
        objectOf<ConnectionState>(R"({"connectionState":"x"})");
    }
    EXPECT_EQ(messages().size(), 2U);
}

class ServicemanagementLogger : public test_data_objects::ProcessOfItsOwn {
 protected:
    test_support::RecordedLog& log = *test_data_objects::DefaultLoggers::instance().log;
    test_support::RecordingLoggerFactory& loggers = *test_data_objects::DefaultLoggers::instance().factory;
};

TEST_F(ServicemanagementLogger, IsNotMadeWithoutAMessage) {
    objectOf<ConnectionState>(R"({"connectionState":"connectionStateConnected"})");
    EXPECT_THAT(log.created(), IsEmpty());
}

TEST_F(ServicemanagementLogger, IsMadeAtTheFirstMessage) {
    objectOf<ConnectionState>(R"({"connectionState":"x"})");
    EXPECT_THAT(log.created(), ElementsAre("Servicemanagement"));
}

class ServicemanagementLoggerOfThreads : public ServicemanagementLogger {
 protected:
    static constexpr std::size_t kNumberOfThreads = 8;

    /// Threads that fill an object with two bad values each, released together.
    static void fillInThreads() {
        std::promise<void> gate;
        const std::shared_future<void> opened = gate.get_future().share();
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < kNumberOfThreads; ++i) {
            threads.emplace_back([opened] {
                opened.wait();
                objectOf<MqttOperationType>(R"({"isAlwaysOnOperation":1,"payloadSecurityLevel":"x"})");
            });
        }
        gate.set_value();
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
};

TEST_F(ServicemanagementLoggerOfThreads, IsMadeOnce) {
    // Creating the first logger takes long enough for a second creation to begin, which must not happen.
    std::mutex mutex;
    std::condition_variable changed;
    int makers = 0;
    loggers.whenOneIsMade = [&] {
        std::unique_lock lock(mutex);
        ++makers;
        changed.notify_all();
        changed.wait_for(lock, std::chrono::milliseconds(100), [&] { return makers > 1; });
    };
    fillInThreads();
    EXPECT_THAT(log.created(), ElementsAre("Servicemanagement"));
}

TEST_F(ServicemanagementLoggerOfThreads, WritesEveryMessage) {
    fillInThreads();
    EXPECT_EQ(log.lines().size(), 2 * kNumberOfThreads);
}

TEST_F(ServicemanagementLogger, IsTriedAgainAfterItCouldNotBeMade) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "under the thread sanitizer a once-flag stays locked after an exception";
#endif
    loggers.whenOneIsMade = test_data_objects::failToMakeALogger;
    objectOf<ConnectionState>(R"({"connectionState":"x"})");
    loggers.whenOneIsMade = [] {};
    objectOf<ConnectionState>(R"({"connectionState":"x"})");
    EXPECT_EQ(log.lines().size(), 1U);
}

}  // namespace
