#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

/// The resources as a developer would write them down for nlohmann's library: plain structures, one line each
/// for the way from and to JSON. A field may be absent, as in the data objects.

// The optional values of that library's own manual.
namespace nlohmann {
template <typename T>
struct adl_serializer<std::optional<T>> {
    static void to_json(json& tree, const std::optional<T>& value) {
        if (value) {
            tree = *value;
        } else {
            tree = nullptr;
        }
    }
    static void from_json(const json& tree, std::optional<T>& value) {
        if (tree.is_null()) {
            value.reset();
        } else {
            value = tree.get<T>();
        }
    }
};
}  // namespace nlohmann

namespace micro::nlohmann_elements {

using std::optional;
using std::string;
using Integer = std::int64_t;

enum class ClampType { Clamp15, ClampS, Clamp75_X };
NLOHMANN_JSON_SERIALIZE_ENUM(ClampType, {{ClampType::Clamp15, "Clamp15"},
                                         {ClampType::ClampS, "ClampS"},
                                         {ClampType::Clamp75_X, "Clamp75_X"}})

struct Clamp {
    optional<string> id, name, uri;
    optional<bool> isSwitchedOn;
    optional<ClampType> type;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Clamp, id, name, uri, isSwitchedOn, type)

enum class NotificationType { WorkshopRequest, EmergencyDeactivation, DriverInfo, IgnitionWarning };
NLOHMANN_JSON_SERIALIZE_ENUM(NotificationType,
                             {{NotificationType::WorkshopRequest, "WorkshopRequest"},
                              {NotificationType::EmergencyDeactivation, "EmergencyDeactivation"},
                              {NotificationType::DriverInfo, "DriverInfo"},
                              {NotificationType::IgnitionWarning, "IgnitionWarning"}})

struct ClampNotification {
    optional<string> id, name, uri;
    optional<NotificationType> type;
    optional<Integer> value;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ClampNotification, id, name, uri, type, value)

enum class FunctionStatus { init, transitionNewState, active, error };
NLOHMANN_JSON_SERIALIZE_ENUM(FunctionStatus, {{FunctionStatus::init, "init"},
                                              {FunctionStatus::transitionNewState, "transitionNewState"},
                                              {FunctionStatus::active, "active"},
                                              {FunctionStatus::error, "error"}})

enum class ImmobilizerRequest { none, unlimited, limited };
NLOHMANN_JSON_SERIALIZE_ENUM(ImmobilizerRequest, {{ImmobilizerRequest::none, "none"},
                                                  {ImmobilizerRequest::unlimited, "unlimited"},
                                                  {ImmobilizerRequest::limited, "limited"}})

enum class RequestingFunction {
    init,
    remoteStart,
    remoteParkAssist,
    intelligentParkAssist,
    parkingRouteMemory,
    onlineRemoteUpdate,
    freezeProtection,
    clamp15Diag,
    rearLidSafetyPDC,
    autoPark,
    trailerHitchAssist,
    ignitionBypass,
    error
};
NLOHMANN_JSON_SERIALIZE_ENUM(RequestingFunction,
                             {{RequestingFunction::init, "init"},
                              {RequestingFunction::remoteStart, "remoteStart"},
                              {RequestingFunction::remoteParkAssist, "remoteParkAssist"},
                              {RequestingFunction::intelligentParkAssist, "intelligentParkAssist"},
                              {RequestingFunction::parkingRouteMemory, "parkingRouteMemory"},
                              {RequestingFunction::onlineRemoteUpdate, "onlineRemoteUpdate"},
                              {RequestingFunction::freezeProtection, "freezeProtection"},
                              {RequestingFunction::clamp15Diag, "clamp15Diag"},
                              {RequestingFunction::rearLidSafetyPDC, "rearLidSafetyPDC"},
                              {RequestingFunction::autoPark, "autoPark"},
                              {RequestingFunction::trailerHitchAssist, "trailerHitchAssist"},
                              {RequestingFunction::ignitionBypass, "ignitionBypass"},
                              {RequestingFunction::error, "error"}})

struct SpecialState {
    optional<string> id, name, uri;
    optional<Integer> elementId;
    optional<FunctionStatus> functionStatus;
    optional<ImmobilizerRequest> immobilizerRequest;
    optional<RequestingFunction> requestingFunction;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(SpecialState, id, name, uri, elementId, functionStatus,
                                                immobilizerRequest, requestingFunction)

struct ImmobilizerInfo {
    optional<string> id, name, uri;
    optional<Integer> elementId;
    optional<bool> isLocked;
    optional<Integer> learnedKeyValue, learningKeyValue, stateOfLife;
    optional<string> vehicleIdentificationNumber;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ImmobilizerInfo, id, name, uri, elementId, isLocked,
                                                learnedKeyValue, learningKeyValue, stateOfLife,
                                                vehicleIdentificationNumber)

enum class ImmobilizerNotificationType { ImmobilizerHint };
NLOHMANN_JSON_SERIALIZE_ENUM(ImmobilizerNotificationType,
                             {{ImmobilizerNotificationType::ImmobilizerHint, "ImmobilizerHint"}})

struct ImmobilizerNotification {
    optional<string> id, name, uri;
    optional<ImmobilizerNotificationType> type;
    optional<Integer> value;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ImmobilizerNotification, id, name, uri, type, value)

enum class TimeAvailable { Init, PhysicalValue };
NLOHMANN_JSON_SERIALIZE_ENUM(TimeAvailable,
                             {{TimeAvailable::Init, "Init"}, {TimeAvailable::PhysicalValue, "PhysicalValue"}})

enum class TimeType { CurrentAuthenticTime, AuthenticationTime };
NLOHMANN_JSON_SERIALIZE_ENUM(TimeType, {{TimeType::CurrentAuthenticTime, "CurrentAuthenticTime"},
                                        {TimeType::AuthenticationTime, "AuthenticationTime"}})

struct Time {
    optional<string> id, name, uri;
    optional<TimeAvailable> available;
    optional<Integer> day, hour, minute, month, quality, second;
    optional<TimeType> type;
    optional<Integer> unixDate, year;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Time, id, name, uri, available, day, hour, minute, month,
                                                quality, second, type, unixDate, year)

enum class DisabledReason {
    privacyConflict,
    permanentlyDeactivated,
    productNoActiveProduct,
    productMandatoryCommandDisabled,
    productInsufficentRights,
    productNoLicense,
    productLicenseExpired,
    productLicenseRevoked,
    productDisabledByPrimaryUser,
    productNoConsent,
    productConsentRevoked,
    productDisabledByQB,
    productVehicleNotEnrolled,
    productNotDefined,
    commandMissingRequiredPrNr,
    commandNotDefined,
    insufficentPower,
    blockedByOru
};
NLOHMANN_JSON_SERIALIZE_ENUM(DisabledReason,
                             {{DisabledReason::privacyConflict, "privacyConflict"},
                              {DisabledReason::permanentlyDeactivated, "permanentlyDeactivated"},
                              {DisabledReason::productNoActiveProduct, "productNoActiveProduct"},
                              {DisabledReason::productMandatoryCommandDisabled,
                               "productMandatoryCommandDisabled"},
                              {DisabledReason::productInsufficentRights, "productInsufficentRights"},
                              {DisabledReason::productNoLicense, "productNoLicense"},
                              {DisabledReason::productLicenseExpired, "productLicenseExpired"},
                              {DisabledReason::productLicenseRevoked, "productLicenseRevoked"},
                              {DisabledReason::productDisabledByPrimaryUser, "productDisabledByPrimaryUser"},
                              {DisabledReason::productNoConsent, "productNoConsent"},
                              {DisabledReason::productConsentRevoked, "productConsentRevoked"},
                              {DisabledReason::productDisabledByQB, "productDisabledByQB"},
                              {DisabledReason::productVehicleNotEnrolled, "productVehicleNotEnrolled"},
                              {DisabledReason::productNotDefined, "productNotDefined"},
                              {DisabledReason::commandMissingRequiredPrNr, "commandMissingRequiredPrNr"},
                              {DisabledReason::commandNotDefined, "commandNotDefined"},
                              {DisabledReason::insufficentPower, "insufficentPower"},
                              {DisabledReason::blockedByOru, "blockedByOru"}})

/// Also the activation over all users: the two have the same fields.
struct TransactionActivationType {
    optional<string> id, name, uri;
    optional<std::vector<DisabledReason>> disabledReason;
    optional<string> userid;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(TransactionActivationType, id, name, uri, disabledReason,
                                                userid)

struct BinarySigned {
    optional<string> id, name, uri, signedPayload, userid;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(BinarySigned, id, name, uri, signedPayload, userid)

enum class ConnectionStateValue {
    connectionStateTempDisconnected,
    connectionStateConnected,
    connectionStateDeactivated,
    connectionStateOnDemand
};
NLOHMANN_JSON_SERIALIZE_ENUM(
    ConnectionStateValue,
    {{ConnectionStateValue::connectionStateTempDisconnected, "connectionStateTempDisconnected"},
     {ConnectionStateValue::connectionStateConnected, "connectionStateConnected"},
     {ConnectionStateValue::connectionStateDeactivated, "connectionStateDeactivated"},
     {ConnectionStateValue::connectionStateOnDemand, "connectionStateOnDemand"}})

struct ConnectionState {
    optional<string> id, name, uri;
    optional<ConnectionStateValue> connectionState;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ConnectionState, id, name, uri, connectionState)

enum class AuthorizationLevel { vehicle, personalised };
NLOHMANN_JSON_SERIALIZE_ENUM(AuthorizationLevel, {{AuthorizationLevel::vehicle, "vehicle"},
                                                  {AuthorizationLevel::personalised, "personalised"}})

enum class TlsClientKeyIdType { clientKeyIdNone, clientKeyIdBase, clientKeyIdMos };
NLOHMANN_JSON_SERIALIZE_ENUM(TlsClientKeyIdType, {{TlsClientKeyIdType::clientKeyIdNone, "clientKeyIdNone"},
                                                  {TlsClientKeyIdType::clientKeyIdBase, "clientKeyIdBase"},
                                                  {TlsClientKeyIdType::clientKeyIdMos, "clientKeyIdMos"}})

enum class TimeTrustLevel { unauthentic, authentic };
NLOHMANN_JSON_SERIALIZE_ENUM(TimeTrustLevel, {{TimeTrustLevel::unauthentic, "unauthentic"},
                                              {TimeTrustLevel::authentic, "authentic"}})

enum class TlsMode {
    vehicleIntegrationTlsModeNone,
    vehicleIntegrationTlsModeMutual,
    vehicleIntegrationTlsModeServersideOnly
};
NLOHMANN_JSON_SERIALIZE_ENUM(TlsMode,
                             {{TlsMode::vehicleIntegrationTlsModeNone, "vehicleIntegrationTlsModeNone"},
                              {TlsMode::vehicleIntegrationTlsModeMutual, "vehicleIntegrationTlsModeMutual"},
                              {TlsMode::vehicleIntegrationTlsModeServersideOnly,
                               "vehicleIntegrationTlsModeServersideOnly"}})

struct HttpOperationType {
    optional<string> id, name, uri;
    optional<std::vector<string>> allowedTargetHostsAndPorts;
    optional<AuthorizationLevel> authorizationLevel;
    optional<string> requiredScopeOfAccessToken;
    optional<TlsClientKeyIdType> tlsClientKeyIdType;
    optional<bool> tlsServerCertificateRevocationCheck;
    optional<std::vector<string>> tlsServerHpkpHash;
    optional<TimeTrustLevel> tlsServerTimeTrustLevel;
    optional<string> tlsServerTruststoreId, uniformResourceLocator;
    optional<TlsMode> vehicleIntegrationTlsMode;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(HttpOperationType, id, name, uri, allowedTargetHostsAndPorts,
                                                authorizationLevel, requiredScopeOfAccessToken,
                                                tlsClientKeyIdType, tlsServerCertificateRevocationCheck,
                                                tlsServerHpkpHash, tlsServerTimeTrustLevel,
                                                tlsServerTruststoreId, uniformResourceLocator,
                                                vehicleIntegrationTlsMode)

enum class PayloadSecurityLevel {
    payloadSecurityLevelNone,
    payloadSecurityLevelAuthentic,
    payloadSecurityLevelAuthenticConfidential
};
NLOHMANN_JSON_SERIALIZE_ENUM(PayloadSecurityLevel,
                             {{PayloadSecurityLevel::payloadSecurityLevelNone, "payloadSecurityLevelNone"},
                              {PayloadSecurityLevel::payloadSecurityLevelAuthentic,
                               "payloadSecurityLevelAuthentic"},
                              {PayloadSecurityLevel::payloadSecurityLevelAuthenticConfidential,
                               "payloadSecurityLevelAuthenticConfidential"}})

struct MqttOperationType {
    optional<string> id, name, uri;
    optional<bool> isAlwaysOnOperation;
    optional<PayloadSecurityLevel> payloadSecurityLevel;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(MqttOperationType, id, name, uri, isAlwaysOnOperation,
                                                payloadSecurityLevel)

struct Reference {
    optional<string> id, name, uri;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Reference, id, name, uri)

enum class PrivacyGroup {
    trackingData,
    locationData,
    personalData,
    consentData,
    interestConsiderationData,
    anonymousData,
    dormantData
};
NLOHMANN_JSON_SERIALIZE_ENUM(PrivacyGroup,
                             {{PrivacyGroup::trackingData, "trackingData"},
                              {PrivacyGroup::locationData, "locationData"},
                              {PrivacyGroup::personalData, "personalData"},
                              {PrivacyGroup::consentData, "consentData"},
                              {PrivacyGroup::interestConsiderationData, "interestConsiderationData"},
                              {PrivacyGroup::anonymousData, "anonymousData"},
                              {PrivacyGroup::dormantData, "dormantData"}})

struct TransactionType {
    optional<string> id, name, uri;
    optional<std::vector<Reference>> attachedOperations;
    optional<Reference> connectionState;
    optional<std::vector<PrivacyGroup>> privacyGroups;
    optional<Reference> transactionActivationType;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(TransactionType, id, name, uri, attachedOperations,
                                                connectionState, privacyGroups, transactionActivationType)

}  // namespace micro::nlohmann_elements
