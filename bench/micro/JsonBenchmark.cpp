// JSON: parsing the element of a notification and getting values from it.
//
// The rivals: Poco, the reference, because `JsonObject` gives its tree to users, who would otherwise use
// Poco's parser and getters; RapidJSON, the usual choice where speed counts; and nlohmann's, the usual choice
// elsewhere. All of them build a tree that can be queried in any order, as a `JsonObject` can. All except
// Poco check that the text is UTF-8.

#include <Poco/JSON/Parser.h>
#include <rapidjson/document.h>
#include <zebutil/JsonArray.h>
#include <zebutil/JsonObject.h>

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "Elements.h"
#include "Subject.h"

namespace {

using micro::repeat;
using micro::Subject;
using zebutil::JsonObject;

constexpr unsigned kRapidFlags = rapidjson::kParseValidateEncodingFlag;

Poco::JSON::Object::Ptr parseWithPoco(const std::string& text) {
    Poco::JSON::Parser parser;
    return parser.parse(text).extract<Poco::JSON::Object::Ptr>();
}

std::unique_ptr<rapidjson::Document> parseWithRapid(const std::string& text) {
    auto document = std::make_unique<rapidjson::Document>();
    document->Parse<kRapidFlags>(text.data(), text.size());
    if (document->HasParseError() || !document->IsObject()) {
        throw std::runtime_error("no object");
    }
    return document;
}

/// RapidJSON leaves to its user the checks that the others make.
template <typename Check>
const rapidjson::Value& rapidMember(const rapidjson::Document& document, const char* key, Check check) {
    const auto member = document.FindMember(key);
    if (member == document.MemberEnd() || !(member->value.*check)()) {
        throw std::runtime_error(key);
    }
    return member->value;
}

bool isOn(const JsonObject& json) {
    return json.getBool("isSwitchedOn");
}
bool isOn(const Poco::JSON::Object& json) {
    return json.getValue<bool>("isSwitchedOn");
}
bool isOn(const rapidjson::Document& json) {
    return rapidMember(json, "isSwitchedOn", &rapidjson::Value::IsBool).GetBool();
}
bool isOn(const nlohmann::json& json) {
    return json.at("isSwitchedOn").get<bool>();
}

std::string type(const JsonObject& json) {
    return json.getString("type");
}
std::string type(const Poco::JSON::Object& json) {
    return json.getValue<std::string>("type");
}
std::string type(const rapidjson::Document& json) {
    const rapidjson::Value& value = rapidMember(json, "type", &rapidjson::Value::IsString);
    return {value.GetString(), value.GetStringLength()};
}
std::string type(const nlohmann::json& json) {
    return json.at("type").get<std::string>();
}

std::int64_t unixDate(const JsonObject& json) {
    return json.getInt64("unixDate");
}
std::int64_t unixDate(const Poco::JSON::Object& json) {
    return json.getValue<Poco::Int64>("unixDate");
}
std::int64_t unixDate(const rapidjson::Document& json) {
    return rapidMember(json, "unixDate", &rapidjson::Value::IsInt64).GetInt64();
}
std::int64_t unixDate(const nlohmann::json& json) {
    return json.at("unixDate").get<std::int64_t>();
}

/// The usual first access to a nested object: the object and a text in it.
std::string stateId(const JsonObject& json) {
    return json.getObject("connectionState")->getString("id");
}
std::string stateId(const Poco::JSON::Object& json) {
    return json.getObject("connectionState")->getValue<std::string>("id");
}
std::string stateId(const rapidjson::Document& json) {
    const auto state = rapidMember(json, "connectionState", &rapidjson::Value::IsObject).GetObject();
    const auto id = state.FindMember("id");
    if (id == state.MemberEnd() || !id->value.IsString()) {
        throw std::runtime_error("id");
    }
    return {id->value.GetString(), id->value.GetStringLength()};
}
std::string stateId(const nlohmann::json& json) {
    return json.at("connectionState").at("id").get<std::string>();
}

void addParsing(const char* name, std::string_view element) {
    const std::string text(element);
    const Subject subject(name);
    subject.ours(repeat([text] { return JsonObject::parse(text); }));
    subject.reference("poco", repeat([text] { return parseWithPoco(text); }));
    subject.other("rapidjson", repeat([text] { return parseWithRapid(text); }));
    subject.other("nlohmann", repeat([text] { return nlohmann::json::parse(text); }));
}

/// `get` calls the overload for the tree.
template <typename Get>
void addGetter(const char* name, std::string_view element, Get get) {
    const std::string text(element);
    const std::shared_ptr<JsonObject> ours = JsonObject::parse(text);
    const Poco::JSON::Object::Ptr poco = parseWithPoco(text);
    const std::shared_ptr<rapidjson::Document> rapid = parseWithRapid(text);
    const auto nlohmann = std::make_shared<nlohmann::json>(nlohmann::json::parse(text));
    const auto expected = get(*ours);
    if (get(*poco) != expected || get(*rapid) != expected || get(*nlohmann) != expected) {
        throw std::logic_error(std::string(name) + ": the contenders differ");
    }
    const Subject subject(name);
    subject.ours(repeat([ours, get] { return get(*ours); }));
    subject.reference("poco", repeat([poco, get] { return get(*poco); }));
    subject.other("rapidjson", repeat([rapid, get] { return get(*rapid); }));
    subject.other("nlohmann", repeat([nlohmann, get] { return get(*nlohmann); }));
}

/// The life of an element that arrives: it is parsed, two values are read, and it is destroyed.
void addParsingAndGetting() {
    const std::string text(micro::elements::kClamp);
    const auto use = [](const auto& json) { return isOn(json) && type(json) == "Clamp15"; };
    const Subject subject("JsonParseAndGet");
    subject.ours(repeat([text, use] { return use(*JsonObject::parse(text)); }));
    subject.reference("poco", repeat([text, use] { return use(*parseWithPoco(text)); }));
    subject.other("rapidjson", repeat([text, use] { return use(*parseWithRapid(text)); }));
    subject.other("nlohmann", repeat([text, use] { return use(nlohmann::json::parse(text)); }));
}

}  // namespace

int main(int argc, char** argv) {
    addParsing("JsonParseClamp", micro::elements::kClamp);
    addParsing("JsonParseHttpOperationType", micro::elements::kHttpOperationType);
    addGetter("JsonGetBool", micro::elements::kClamp, [](const auto& json) { return isOn(json); });
    addGetter("JsonGetInt64", micro::elements::kTime, [](const auto& json) { return unixDate(json); });
    addGetter("JsonGetString", micro::elements::kClamp, [](const auto& json) { return type(json); });
    addGetter("JsonGetObject", micro::elements::kTransactionType,
              [](const auto& json) { return stateId(json); });
    addParsingAndGetting();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
