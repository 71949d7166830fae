#include "TextClamp.h"

#include <rapidjson/document.h>

#include <stdexcept>

namespace bench {

namespace {

using Allocator = rapidjson::MemoryPoolAllocator<>;
using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, Allocator, Allocator>;

const rapidjson::Value& member(const Document& document, const char* name,
                               bool isRight(const rapidjson::Value&)) {
    const auto found = document.FindMember(name);
    if (found == document.MemberEnd() || !isRight(found->value)) {
        throw std::runtime_error("the text is no clamp");
    }
    return found->value;
}

std::string text(const Document& document, const char* name) {
    const rapidjson::Value& value =
        member(document, name, [](const rapidjson::Value& candidate) { return candidate.IsString(); });
    return {value.GetString(), value.GetStringLength()};
}

TextClamp::Type typeOf(const std::string& name) {
    if (name == "Clamp15") {
        return TextClamp::Type::Clamp15;
    }
    if (name == "ClampS") {
        return TextClamp::Type::ClampS;
    }
    if (name == "Clamp75_X") {
        return TextClamp::Type::Clamp75X;
    }
    throw std::runtime_error("no such type of clamp");
}

}  // namespace

TextClamp TextClamp::decode(const char* encoded, std::size_t size) {
    // Storage on the stack: the tree of a document of this size then allocates nothing.
    char values[2048];
    char stack[1024];
    Allocator valueAllocator(values, sizeof values);
    Allocator stackAllocator(stack, sizeof stack);
    Document parsed(&valueAllocator, sizeof stack / 2, &stackAllocator);
    parsed.Parse<rapidjson::kParseValidateEncodingFlag>(encoded, size);
    if (parsed.HasParseError() || !parsed.IsObject()) {
        throw std::runtime_error("the text is no JSON object");
    }
    TextClamp clamp;
    clamp.id = text(parsed, "id");
    clamp.name = text(parsed, "name");
    clamp.uri = text(parsed, "uri");
    clamp.isSwitchedOn = member(parsed, "isSwitchedOn", [](const rapidjson::Value& candidate) {
                             return candidate.IsBool();
                         }).GetBool();
    clamp.type = typeOf(text(parsed, "type"));
    return clamp;
}

}  // namespace bench
