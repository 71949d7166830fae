// Readers of JSON text that could fill the library's compact documents. Each of them gives the values of the
// text to the same builder, in memory that is there before, so that only the readers differ.
//
// The rivals are those that give events instead of a tree: Boost.JSON's `basic_parser`, which the library
// would take first, because Boost is there already; and RapidJSON's reader. Both check UTF-8 and limit the
// nesting, as ours does. docs/decisions/0011-compact-json.md has
// the decision.

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/src.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Elements.h"
#include "Subject.h"
#include "json/JsonDocumentBuilder.h"
#include "json/JsonNodeCount.h"
#include "json/JsonReader.h"

namespace {

using micro::repeat;
using micro::Subject;
using zebutil::detail::JsonDocumentBuilder;
using zebutil::detail::JsonNode;

constexpr int kMaximumDepth = 64;

std::string_view viewOf(boost::json::string_view text) {
    return {text.data(), text.size()};
}

/// Numbers come as their text; the integer "-0" is "0", as it is for our reader.
void addNumber(JsonDocumentBuilder& builder, std::string_view text) {
    builder.addNumber(text == "-0" ? text.substr(1) : text);
}

class BoostHandler {
 public:
    // NOLINTBEGIN(readability-identifier-naming)  Boost's names
    static constexpr std::size_t max_object_size = SIZE_MAX;
    static constexpr std::size_t max_array_size = SIZE_MAX;
    static constexpr std::size_t max_key_size = SIZE_MAX;
    static constexpr std::size_t max_string_size = SIZE_MAX;
    // NOLINTEND(readability-identifier-naming)

    explicit BoostHandler(JsonDocumentBuilder& builder) : builder_(builder) {}

    using Error = boost::json::error_code;
    using View = boost::json::string_view;

    bool on_document_begin(Error&) { return true; }
    bool on_document_end(Error&) {
        builder_.endDocument();
        return true;
    }
    bool on_object_begin(Error&) { return true; }
    bool on_object_end(std::size_t count, Error&) {
        builder_.endObject(count);
        return true;
    }
    bool on_array_begin(Error&) { return true; }
    bool on_array_end(std::size_t count, Error&) {
        builder_.endArray(count);
        return true;
    }
    bool on_key_part(View piece, std::size_t, Error&) { return addPart(piece); }
    bool on_key(View piece, std::size_t, Error&) { return addLastPart(piece); }
    bool on_string_part(View piece, std::size_t, Error&) { return addPart(piece); }
    bool on_string(View piece, std::size_t, Error&) { return addLastPart(piece); }
    bool on_number_part(View, Error&) { return true; }
    bool on_int64(std::int64_t, View text, Error&) { return addWhole(text); }
    bool on_uint64(std::uint64_t, View text, Error&) { return addWhole(text); }
    bool on_double(double, View text, Error&) { return addWhole(text); }
    bool on_bool(bool value, Error&) {
        builder_.addBoolean(value);
        return true;
    }
    bool on_null(Error&) {
        builder_.addNull();
        return true;
    }
    bool on_comment_part(View, Error&) { return true; }
    bool on_comment(View, Error&) { return true; }

 private:
    bool addPart(View piece) {
        if (!isInString_) {
            builder_.beginString();
            isInString_ = true;
        }
        builder_.append(viewOf(piece));
        return true;
    }
    bool addLastPart(View piece) {
        addPart(piece);
        builder_.endString();
        isInString_ = false;
        return true;
    }
    bool addWhole(View text) {
        addNumber(builder_, viewOf(text));
        return true;
    }

    JsonDocumentBuilder& builder_;
    bool isInString_ = false;
};

void readWithBoost(std::string_view text, JsonDocumentBuilder& builder) {
    boost::json::parse_options options;
    options.max_depth = kMaximumDepth;
    boost::json::basic_parser<BoostHandler> parser(options, builder);
    boost::json::error_code error;
    const std::size_t read = parser.write_some(false, text.data(), text.size(), error);
    if (error || read != text.size()) {
        throw std::runtime_error("byte " + std::to_string(read) + ": " + error.message());
    }
}

class RapidHandler {
 public:
    explicit RapidHandler(JsonDocumentBuilder& builder) : builder_(builder) {}

    bool Null() {
        builder_.addNull();
        return true;
    }
    bool Bool(bool value) {
        builder_.addBoolean(value);
        return true;
    }
    bool RawNumber(const char* text, rapidjson::SizeType size, bool) {
        addNumber(builder_, {text, size});
        return true;
    }
    bool String(const char* text, rapidjson::SizeType size, bool) {
        builder_.beginString();
        builder_.append({text, size});
        builder_.endString();
        return true;
    }
    bool Key(const char* text, rapidjson::SizeType size, bool isCopy) { return String(text, size, isCopy); }
    bool StartObject() { return enter(); }
    bool EndObject(rapidjson::SizeType count) {
        ++levelsLeft_;
        builder_.endObject(count);
        return true;
    }
    bool StartArray() { return enter(); }
    bool EndArray(rapidjson::SizeType count) {
        ++levelsLeft_;
        builder_.endArray(count);
        return true;
    }
    // Not called when numbers come as text.
    static bool Int(int) { return false; }
    static bool Uint(unsigned) { return false; }
    static bool Int64(std::int64_t) { return false; }
    static bool Uint64(std::uint64_t) { return false; }
    static bool Double(double) { return false; }

 private:
    bool enter() { return --levelsLeft_ >= 0; }

    JsonDocumentBuilder& builder_;
    int levelsLeft_ = kMaximumDepth;
};

void readWithRapid(std::string_view text, JsonDocumentBuilder& builder) {
    constexpr unsigned flags = rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag;
    rapidjson::MemoryStream bytes(text.data(), text.size());
    rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> stream(bytes);
    rapidjson::Reader reader;
    RapidHandler handler(builder);
    const rapidjson::ParseResult result = reader.Parse<flags>(stream, handler);
    if (!result) {
        throw std::runtime_error("byte " + std::to_string(result.Offset()) + ": " +
                                 rapidjson::GetParseError_En(result.Code()));
    }
    builder.endDocument();
}

void readWithOurs(std::string_view text, JsonDocumentBuilder& builder) {
    zebutil::detail::readJson(text, kMaximumDepth, builder);
}

/// Memory for the document of one text.
class Memory {
 public:
    explicit Memory(std::string_view text)
        : nodes_(zebutil::detail::mostJsonNodes(text)), texts_(text.size()) {}

    template <typename Read>
    std::size_t fill(std::string_view text, Read read) {
        JsonDocumentBuilder builder(nodes_.data(), nodes_.size(), texts_.data());
        read(text, builder);
        return builder.nodeCount();
    }

    bool operator==(const Memory& other) const {
        return texts_ == other.texts_ &&
               std::memcmp(nodes_.data(), other.nodes_.data(), nodes_.size() * sizeof(JsonNode)) == 0;
    }

 private:
    std::vector<JsonNode> nodes_;
    std::vector<char> texts_;
};

template <typename Read>
auto reading(const std::string& text, Read read) {
    const auto memory = std::make_shared<Memory>(text);
    return repeat([text, memory, read] { return memory->fill(text, read); });
}

void addReading(const std::string& name, const std::string& text) {
    Memory ours(text);
    Memory boost(text);
    Memory rapid(text);
    ours.fill(text, readWithOurs);
    boost.fill(text, readWithBoost);
    rapid.fill(text, readWithRapid);
    if (!(boost == ours) || !(rapid == ours)) {
        throw std::logic_error(name + ": the readers do not agree");
    }
    const Subject subject("JsonRead" + name);
    subject.ours(reading(text, readWithOurs));
    subject.reference("boost_basic_parser", reading(text, readWithBoost));
    subject.other("rapidjson_reader", reading(text, readWithRapid));
}

std::string listOf(std::string_view element, std::size_t size) {
    std::string text = "{\"data\":[" + std::string(element);
    while (text.size() < size) {
        text.append(",").append(element);
    }
    return text + "]}";
}

std::string longString(std::string_view piece, std::size_t size) {
    std::string text = "{\"data\":\"";
    while (text.size() < size) {
        text.append(piece);
    }
    return text + "\"}";
}

}  // namespace

int main(int argc, char** argv) {
    constexpr std::size_t kLarge = std::size_t{1} << 20U;
    addReading("Clamp", std::string(micro::elements::kClamp));
    addReading("HttpOperationType", std::string(micro::elements::kHttpOperationType));
    addReading("ClampsOf1MiB", listOf(micro::elements::kClamp, kLarge));
    addReading("EmptyObjectsOf1MiB", listOf("{}", kLarge));
    addReading("ZerosOf1MiB", listOf("0", kLarge));
    addReading("FractionsOf1MiB", listOf("-12.75e2", kLarge));
    addReading("AsciiOf1MiB", longString("Terminal as the workshop knows it, ", kLarge));
    addReading("EscapesOf1MiB", longString("\\u00e4\\n", kLarge));
    addReading("TwoByteCharactersOf1MiB", longString("\xC3\xA4", kLarge));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
