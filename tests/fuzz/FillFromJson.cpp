// fillFromJson() of every resource. The first byte selects the resource, the rest is the JSON text of an
// element.
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
#include <utility>
#include <vector>

#include "Require.h"
#include "ResourcesOfModels.h"
#include "SilentLog.h"

namespace {

using namespace zebobjects_ZEB;
using fuzz::require;
using zebutil::JsonObject;

/// The element as JSON; none when an element that it refers to lacks an id or a name.
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

/// Checks that every enumeration value that a fill has kept is in its table.
template <typename R>
void requireLiterals(const R& element) {
    using Service = typename R::Desctype::Service;
    test_resources::visitEnumeratedFields(element, [](const auto&... values) {
        require((hasLiterals<Service>(values) && ...), "a kept value has a literal");
    });
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

// Seeds select by position, so a new entry goes to the end.
constexpr std::array kResources{
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

template <typename... R>
using FillsOf = std::index_sequence_for<R...>;
static_assert(kResources.size() == test_resources::All<FillsOf>::size(),
              "a resource of the models is missing");

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::silenceDefaultLoggers();
    if (size == 0) {
        return 0;
    }
    std::shared_ptr<JsonObject> json;
    try {
        json = JsonObject::parse({reinterpret_cast<const char*>(data) + 1, size - 1});
    } catch (const std::exception&) {
        return 0;
    }
    // Counted from the letter "A", to keep seeds readable.
    kResources.at((data[0] + kResources.size() * 5U - 65U) % kResources.size())(json);
    return 0;
}
