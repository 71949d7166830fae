#pragma once

#include <string_view>

/// One element of every resource with all fields, as a server would send it: compact, keys in no order.
namespace micro::elements {

/// The element in a notification of the clamp service. Its 165 bytes are also the size for the figures of the
/// whole road.
inline constexpr std::string_view kClamp =
    R"({"id":"3f2504e0-4f89-41d3-9a0c-0305e82c3301","name":"Clamp15",)"
    R"("uri":"/ClampControl/clamps/3f2504e0-4f89-41d3-9a0c-0305e82c3301","isSwitchedOn":true,"type":"Clamp15"})";
static_assert(kClamp.size() == 165);

inline constexpr std::string_view kClampNotification =
    R"({"id":"2","name":"Driver information","uri":"/ClampControl/notifications/2","type":"DriverInfo","value":42})";

inline constexpr std::string_view kSpecialState =
    R"({"id":"1","name":"Remote start","uri":"/ClampControl/specialStates/1","elementId":7,)"
    R"("functionStatus":"active","immobilizerRequest":"limited","requestingFunction":"parkingRouteMemory"})";

inline constexpr std::string_view kImmobilizerInfo =
    R"({"id":"1","name":"Immobilizer","uri":"/Immobilizer/info/1","elementId":1,"isLocked":true,)"
    R"("learnedKeyValue":3,"learningKeyValue":4,"stateOfLife":2,)"
    R"("vehicleIdentificationNumber":"WVWZZZ1JZXW000001"})";

inline constexpr std::string_view kImmobilizerNotification =
    R"({"id":"1","name":"Hint","uri":"/Immobilizer/notifications/1","type":"ImmobilizerHint","value":1})";

inline constexpr std::string_view kTime =
    R"({"id":"1","name":"Now","uri":"/AuthenticTime/times/1","available":"PhysicalValue","day":31,"hour":23,)"
    R"("minute":59,"month":12,"quality":3,"second":58,"type":"AuthenticationTime","unixDate":1767225598,)"
    R"("year":2025})";

inline constexpr std::string_view kAllUsersTransactionActivationType =
    R"({"id":"5","name":"all","uri":"/servicemanagement/allUsersTransactionActivationTypes/5",)"
    R"("disabledReason":["productNoLicense","blockedByOru"],"userid":"0c9f6d2e"})";

inline constexpr std::string_view kBinarySigned =
    R"({"id":"6","name":"payload","uri":"/servicemanagement/binarySigned/6",)"
    R"("signedPayload":"TUlJQ1hBSUJBQUtCZ1FDcUdLdWtPMURlN3poWmo2K0gwcXRqVGtWeHdUQ3B2S2U0","userid":"0c9f6d2e"})";

inline constexpr std::string_view kConnectionState =
    R"({"id":"7","name":"connection","uri":"/servicemanagement/connectionStates/7",)"
    R"("connectionState":"connectionStateOnDemand"})";

inline constexpr std::string_view kHttpOperationType =
    R"({"id":"8","name":"upload","uri":"/servicemanagement/httpOperationTypes/8",)"
    R"("allowedTargetHostsAndPorts":["a.example:443","b.example:443"],"authorizationLevel":"personalised",)"
    R"("requiredScopeOfAccessToken":"upload","tlsClientKeyIdType":"clientKeyIdMos",)"
    R"("tlsServerCertificateRevocationCheck":true,"tlsServerHpkpHash":["d6qzRu9zOECb90Uez27xWltNsj0e1Md7"],)"
    R"("tlsServerTimeTrustLevel":"authentic","tlsServerTruststoreId":"store-1",)"
    R"("uniformResourceLocator":"https://a.example/upload",)"
    R"("vehicleIntegrationTlsMode":"vehicleIntegrationTlsModeServersideOnly"})";

inline constexpr std::string_view kMqttOperationType =
    R"({"id":"9","name":"telemetry","uri":"/servicemanagement/mqttOperationTypes/9","isAlwaysOnOperation":false,)"
    R"("payloadSecurityLevel":"payloadSecurityLevelAuthentic"})";

inline constexpr std::string_view kTransactionActivationType =
    R"({"id":"10","name":"mine","uri":"/servicemanagement/transactionActivationTypes/10",)"
    R"("disabledReason":["privacyConflict","insufficentPower"],"userid":"0c9f6d2e"})";

inline constexpr std::string_view kTransactionType =
    R"({"id":"11","name":"transaction","uri":"/servicemanagement/transactionTypes/11","attachedOperations":[)"
    R"({"id":"8","name":"upload","uri":"/servicemanagement/httpOperationTypes/8"},)"
    R"({"id":"9","name":"telemetry","uri":"/servicemanagement/mqttOperationTypes/9"}],"connectionState":)"
    R"({"id":"7","name":"connection","uri":"/servicemanagement/connectionStates/7"},)"
    R"("privacyGroups":["locationData","dormantData"],"transactionActivationType":)"
    R"({"id":"10","name":"mine","uri":"/servicemanagement/transactionActivationTypes/10"}})";

}  // namespace micro::elements
