#include "JsonWriter.h"

#include <Poco/JSON/Stringifier.h>

#include <cstdint>
#include <sstream>

#include "JsonDocument.h"

namespace zebutil::detail {

namespace {

class JsonWriter {
 public:
    explicit JsonWriter(const JsonDocument& document) : document_(document) {}

    void write(const JsonNode& node) {
        switch (node.kind()) {
            case JsonKind::Null:
                text_ << "null";
                break;
            case JsonKind::Boolean:
                text_ << (node.begin() != 0 ? "true" : "false");
                break;
            case JsonKind::Number:
                text_ << document_.text(node);
                break;
            case JsonKind::String:
                writeString(node);
                break;
            case JsonKind::Object:
                writeObject(node);
                break;
            case JsonKind::Array:
                writeArray(node);
                break;
        }
    }

    std::string text() const { return text_.str(); }

 private:
    void writeString(const JsonNode& node) {
        Poco::JSON::Stringifier::formatString(std::string(document_.text(node)), text_);
    }

    void writeObject(const JsonNode& node) {
        char before = '{';
        const JsonNode* key = document_.members(node);
        for (std::uint32_t i = 0; i < node.size(); ++i, key += 2) {
            text_ << before;
            writeString(key[0]);
            text_ << ':';
            write(key[1]);
            before = ',';
        }
        text_ << (node.size() == 0 ? "{}" : "}");
    }

    void writeArray(const JsonNode& node) {
        char before = '[';
        const JsonNode* element = document_.elements(node);
        for (std::uint32_t i = 0; i < node.size(); ++i, ++element) {
            text_ << before;
            write(*element);
            before = ',';
        }
        text_ << (node.size() == 0 ? "[]" : "]");
    }

    const JsonDocument& document_;
    std::ostringstream text_;
};

}  // namespace

std::string writeJson(const JsonDocument& document, const JsonNode& node) {
    JsonWriter writer(document);
    writer.write(node);
    return writer.text();
}

}  // namespace zebutil::detail
