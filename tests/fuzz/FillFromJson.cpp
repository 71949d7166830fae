// Every resource's fillFromJson. The first byte picks the resource, the rest is the JSON text of an element.
#include <ZebDataObjects_ZEB/Authentictime.h>
#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <ZebDataObjects_ZEB/Immobilizer.h>
#include <ZebDataObjects_ZEB/Servicemanagement.h>
#include <zebutil/JsonObject.h>
#include <zebutil/Optional.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Require.h"
#include "SilentLogger.h"

namespace {

using namespace zebobjects_ZEB;
using fuzz::require;
using zebutil::JsonObject;

/// The element as JSON; none when an element that it refers to has no id or no name.
template <typename R>
std::optional<std::string> textOf(const R& element) {
    try {
        return element.getDescriptor().getAsJson()->toString();
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

bool isOfTheTable(const std::string& printed) {
    return printed.rfind("unknown value", 0) != 0;
}

template <typename S, typename E>
bool hasLiterals(const zebutil::Optional<E>& value) {
    return isOfTheTable(S::to_string(value));
}

template <typename S, typename E>
bool hasLiterals(const zebutil::Optional<std::vector<E>>& values) {
    return !values || std::all_of(values.getValue().begin(), values.getValue().end(),
                                  [](E value) { return isOfTheTable(S::to_string(value)); });
}

/// Every enumeration value that a fill has kept is one of its table.
template <typename S, typename... Values>
void requireLiteralsOf(const Values&... values) {
    require((hasLiterals<S>(values) && ...), "a kept value has a literal");
}

template <typename R>
void requireLiterals(const R&) {}

void requireLiterals(const ClampcontrolService::Clamp& element) {
    requireLiteralsOf<ClampcontrolService>(element.getType());
}

void requireLiterals(const ClampcontrolService::Notification& element) {
    requireLiteralsOf<ClampcontrolService>(element.getType());
}

void requireLiterals(const ClampcontrolService::SpecialState& element) {
    requireLiteralsOf<ClampcontrolService>(element.getFunctionStatus(), element.getImmobilizerRequest(),
                                           element.getRequestingFunction());
}

void requireLiterals(const ImmobilizerService::Notification& element) {
    requireLiteralsOf<ImmobilizerService>(element.getType());
}

void requireLiterals(const ServicemanagementService::AllUsersTransactionActivationType& element) {
    requireLiteralsOf<ServicemanagementService>(element.getDisabledReason());
}

void requireLiterals(const ServicemanagementService::ConnectionState& element) {
    requireLiteralsOf<ServicemanagementService>(element.getConnectionState());
}

void requireLiterals(const ServicemanagementService::HttpOperationType& element) {
    requireLiteralsOf<ServicemanagementService>(
        element.getAuthorizationLevel(), element.getTlsClientKeyIdType(),
        element.getTlsServerTimeTrustLevel(), element.getVehicleIntegrationTlsMode());
}

void requireLiterals(const ServicemanagementService::MqttOperationType& element) {
    requireLiteralsOf<ServicemanagementService>(element.getPayloadSecurityLevel());
}

void requireLiterals(const ServicemanagementService::TransactionActivationType& element) {
    requireLiteralsOf<ServicemanagementService>(element.getDisabledReason());
}

void requireLiterals(const ServicemanagementService::TransactionType& element) {
    requireLiteralsOf<ServicemanagementService>(element.getPrivacyGroups());
}

template <typename R>
void fill(const std::shared_ptr<JsonObject>& json) {
    R element(json);  // must not throw
    requireLiterals(element);
    const auto text = textOf(element);
    element.fillFromJson(json);
    require(textOf(element) == text, "filling again changes nothing");
    if (text) {
        R copy;
        copy.fillFromJson(JsonObject::parse(*text));
        require(textOf(copy) == text, "what was written is read back");
    }
    const auto moved = element.copyWithIdFromUri("/a/b/17");
    require(moved->getId() && moved->getId().getValue() == "17", "the id stands at the end of the uri");
}

constexpr std::array resources{
    &fill<ClampcontrolService::Clamp>,
    &fill<ClampcontrolService::Notification>,
    &fill<ClampcontrolService::SpecialState>,
    &fill<ImmobilizerService::Info>,
    &fill<ImmobilizerService::Notification>,
    &fill<AuthentictimeService::Time>,
    &fill<ServicemanagementService::AllUsersTransactionActivationType>,
    &fill<ServicemanagementService::BinarySigned>,
    &fill<ServicemanagementService::ConnectionState>,
    &fill<ServicemanagementService::HttpOperationType>,
    &fill<ServicemanagementService::MqttOperationType>,
    &fill<ServicemanagementService::TransactionActivationType>,
    &fill<ServicemanagementService::TransactionType>,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::SilentLoggerFactory::use();
    if (size == 0) {
        return 0;
    }
    std::shared_ptr<JsonObject> json;
    try {
        json = JsonObject::parse({reinterpret_cast<const char*>(data) + 1, size - 1});
    } catch (const std::exception&) {
        return 0;
    }
    // Counted from the letter "A", so that a seed can be read.
    resources.at((data[0] + resources.size() * 5U - 65U) % resources.size())(json);
    return 0;
}
