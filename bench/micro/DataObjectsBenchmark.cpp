// The data objects: filling one from JSON and writing one as JSON, for every resource; the tables of the
// enumerations and their text for the log.

#include <ZebDataObjects_ZEB/Authentictime.h>
#include <ZebDataObjects_ZEB/Clampcontrol.h>
#include <ZebDataObjects_ZEB/Immobilizer.h>
#include <ZebDataObjects_ZEB/Servicemanagement.h>
#include <fmt/format.h>
#include <zebutil/JsonObject.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Elements.h"
#include "Subject.h"
#include "nlohmann_elements/authentictime.h"
#include "nlohmann_elements/clampcontrol.h"
#include "nlohmann_elements/immobilizer.h"
#include "nlohmann_elements/servicemanagement.h"

namespace {

using micro::repeat;
using micro::Subject;
using zebobjects_ZEB::AuthentictimeService;
using zebobjects_ZEB::ClampcontrolService;
using zebobjects_ZEB::ImmobilizerService;
using zebobjects_ZEB::ServicemanagementService;
using zebutil::JsonObject;
namespace elements = micro::elements;
namespace rival = micro::nlohmann_elements;

/// The rival is nlohmann's library with its macros, the usual choice to fill structures from JSON without
/// handwritten code. Both start from a parsed tree and produce an object with typed fields, each of which may
/// be absent. In the other direction both produce a tree. A data object also keeps the tree and records a
/// filter term per field, which the rival does not need.
template <typename Ours, typename Theirs>
void addResource(const std::string& name, std::string_view element) {
    const std::string text(element);
    const std::shared_ptr<JsonObject> tree = JsonObject::parse(text);
    const auto theirTree = std::make_shared<nlohmann::json>(nlohmann::json::parse(text));
    const auto ours = std::make_shared<typename Ours::Desctype>(Ours(tree).getDescriptor());
    const auto theirs = std::make_shared<Theirs>(theirTree->get<Theirs>());
    // The rival writes null for an absent field, so an element that lacks a field of the model also fails
    // here.
    if (nlohmann::json::parse(ours->getAsJson()->toString()) != *theirTree ||
        nlohmann::json(*theirs) != *theirTree) {
        throw std::logic_error(name + ": the element is not what the model says");
    }

    const Subject fill("Fill" + name);
    fill.ours(repeat([tree] { return Ours(tree); }));
    fill.reference("nlohmann", repeat([theirTree] { return theirTree->get<Theirs>(); }));

    const Subject write("GetAsJson" + name);
    write.ours(repeat([ours] { return ours->getAsJson(); }));
    write.reference("nlohmann", repeat([theirs] { return nlohmann::json(*theirs); }));
}

void addResources() {
    using Clampcontrol = ClampcontrolService;
    using Servicemanagement = ServicemanagementService;
    addResource<Clampcontrol::Clamp, rival::clampcontrol::Clamp>("Clamp", elements::kClamp);
    addResource<Clampcontrol::Notification, rival::clampcontrol::Notification>("ClampNotification",
                                                                               elements::kClampNotification);
    addResource<Clampcontrol::SpecialState, rival::clampcontrol::SpecialState>("SpecialState",
                                                                               elements::kSpecialState);
    addResource<ImmobilizerService::Info, rival::immobilizer::Info>("ImmobilizerInfo",
                                                                    elements::kImmobilizerInfo);
    addResource<ImmobilizerService::Notification, rival::immobilizer::Notification>(
        "ImmobilizerNotification", elements::kImmobilizerNotification);
    addResource<AuthentictimeService::Time, rival::authentictime::Time>("Time", elements::kTime);
    addResource<Servicemanagement::AllUsersTransactionActivationType,
                rival::servicemanagement::AllUsersTransactionActivationType>(
        "AllUsersTransactionActivationType", elements::kAllUsersTransactionActivationType);
    addResource<Servicemanagement::BinarySigned, rival::servicemanagement::BinarySigned>(
        "BinarySigned", elements::kBinarySigned);
    addResource<Servicemanagement::ConnectionState, rival::servicemanagement::ConnectionState>(
        "ConnectionState", elements::kConnectionState);
    addResource<Servicemanagement::HttpOperationType, rival::servicemanagement::HttpOperationType>(
        "HttpOperationType", elements::kHttpOperationType);
    addResource<Servicemanagement::MqttOperationType, rival::servicemanagement::MqttOperationType>(
        "MqttOperationType", elements::kMqttOperationType);
    addResource<Servicemanagement::TransactionActivationType,
                rival::servicemanagement::TransactionActivationType>("TransactionActivationType",
                                                                     elements::kTransactionActivationType);
    addResource<Servicemanagement::TransactionType, rival::servicemanagement::TransactionType>(
        "TransactionType", elements::kTransactionType);
}

using Function = ClampcontrolService::SPECIALSTATE_REQUESTINGFUNCTION;

/// The handwritten alternative. Both enumerations are numbered as in the model.
std::string_view literalBySwitch(Function value) {
    return literalBySwitch(static_cast<rival::clampcontrol::SPECIALSTATE_REQUESTINGFUNCTION>(value));
}

/// Goes through all literals in turn to defeat branch prediction.
template <typename Key, typename LookUp>
auto inTurn(std::vector<Key> keys, LookUp lookUp) {
    return [keys = std::move(keys), lookUp](benchmark::State& state) {
        std::size_t next = 0;
        for (auto _ : state) {
            auto result = lookUp(keys[next]);
            benchmark::DoNotOptimize(result);
            next = next + 1 == keys.size() ? 0 : next + 1;
        }
    };
}

/// The largest enumeration of the clamp service, with 13 literals. The public tables are `std::map`s. The
/// rivals are the standard library's faster table (`std::unordered_map`, the reference) and a `switch`.
void addEnumerations() {
    const auto& byValue = ClampcontrolService::mapSpecialStateRequestingFunction2String;
    const auto& byText = ClampcontrolService::mapString2SpecialStateRequestingFunction;
    const auto hashedByText = std::make_shared<std::unordered_map<std::string, Function>>();
    const auto hashedByValue = std::make_shared<std::unordered_map<Function, std::string>>();
    std::vector<std::string> texts;
    std::vector<Function> values;
    for (const auto& [value, text] : byValue) {
        texts.push_back(text);
        values.push_back(value);
        hashedByText->emplace(text, value);
        hashedByValue->emplace(value, text);
        if (literalBySwitch(value) != text) {
            throw std::logic_error("the switch does not know " + text);
        }
    }

    const Subject value("EnumerationValueOfText");
    value.ours(inTurn(texts, [](const std::string& text) { return byText.find(text)->second; }));
    value.reference("unordered_map", inTurn(texts, [hashedByText](const std::string& text) {
                        return hashedByText->find(text)->second;
                    }));

    const Subject text("EnumerationTextOfValue");
    text.ours(inTurn(values, [](Function key) { return std::string_view(byValue.find(key)->second); }));
    text.reference("unordered_map", inTurn(values, [hashedByValue](Function key) {
                       return std::string_view(hashedByValue->find(key)->second);
                   }));
    text.other("switch", inTurn(values, [](Function key) { return literalBySwitch(key); }));

    // The rivals for text: fmt, the usual choice today, and the standard stream.
    const Subject toString("EnumerationToString");
    toString.ours(inTurn(values, [](Function key) { return ClampcontrolService::to_string(key); }));
    toString.reference("fmt", inTurn(values, [](Function key) {
                           return fmt::format("{}({})", literalBySwitch(key), static_cast<std::int32_t>(key));
                       }));
    toString.other("ostringstream", inTurn(values, [](Function key) {
                       std::ostringstream out;
                       out << literalBySwitch(key) << '(' << static_cast<std::int32_t>(key) << ')';
                       return out.str();
                   }));
}

}  // namespace

int main(int argc, char** argv) {
    addResources();
    addEnumerations();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
