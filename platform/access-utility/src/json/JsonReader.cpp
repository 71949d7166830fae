#include "JsonReader.h"

#include <cstddef>

#include "JsonDocumentBuilder.h"
#include "JsonNothing.h"
#include "JsonNumber.h"
#include "JsonString.h"
#include "JsonText.h"

namespace zebutil::detail {

namespace {

/// The grammar of objects, arrays and values: one recursion over one place in the text.
template <typename Builder>
class JsonReader {
 public:
    JsonReader(std::string_view text, int maximumDepth, Builder& builder)
        : text_(text), levelsLeft_(maximumDepth), builder_(builder) {}

    void readDocument() {
        text_.skipWhiteSpace();
        if (!text_.next('{')) {
            text_.fail("expected an object");
        }
        readObject();
        expectEnd("expected the end of the text");
        builder_.endDocument();
    }

    void readSingleValue() {
        readValue();
        expectEnd("expected the end of the value");
    }

 private:
    void expectEnd(const char* expectation) {
        text_.skipWhiteSpace();
        if (!text_.atEnd()) {
            text_.fail(expectation);
        }
    }

    /// Reads an object after its opening brace.
    void readObject() {
        enter();
        std::size_t count = 0;
        text_.skipWhiteSpace();
        if (!text_.next('}')) {
            do {
                text_.skipWhiteSpace();
                if (!text_.next('"')) {
                    text_.fail("expected a key in quotes");
                }
                readJsonString(text_, builder_);
                text_.skipWhiteSpace();
                if (!text_.next(':')) {
                    text_.fail("expected a colon after a key");
                }
                readValue();
                ++count;
                text_.skipWhiteSpace();
            } while (text_.next(','));
            if (!text_.next('}')) {
                text_.fail("expected a comma or the end of an object");
            }
        }
        builder_.endObject(count);
        ++levelsLeft_;
    }

    /// Reads an array after its opening bracket.
    void readArray() {
        enter();
        std::size_t count = 0;
        text_.skipWhiteSpace();
        if (!text_.next(']')) {
            do {
                readValue();
                ++count;
                text_.skipWhiteSpace();
            } while (text_.next(','));
            if (!text_.next(']')) {
                text_.fail("expected a comma or the end of an array");
            }
        }
        builder_.endArray(count);
        ++levelsLeft_;
    }

    void enter() {
        if (--levelsLeft_ < 0) {
            text_.fail("objects and arrays are nested too deeply");
        }
    }

    void readValue() {
        text_.skipWhiteSpace();
        switch (text_.peek()) {
            case '{':
                text_.skip(1);
                readObject();
                break;
            case '[':
                text_.skip(1);
                readArray();
                break;
            case '"':
                text_.skip(1);
                readJsonString(text_, builder_);
                break;
            case 't':
                readWord("true");
                builder_.addBoolean(true);
                break;
            case 'f':
                readWord("false");
                builder_.addBoolean(false);
                break;
            case 'n':
                readWord("null");
                builder_.addNull();
                break;
            default:
                builder_.addNumber(readJsonNumber(text_));
        }
    }

    void readWord(std::string_view word) {
        if (text_.bytesLeft() < word.size() || std::string_view(text_.at(), word.size()) != word) {
            text_.fail("expected a value");
        }
        text_.skip(word.size());
    }

    JsonText text_;
    int levelsLeft_;
    Builder& builder_;
};

}  // namespace

void readJson(std::string_view text, int maximumDepth, JsonDocumentBuilder& builder) {
    JsonReader(text, maximumDepth, builder).readDocument();
}

void checkJson(std::string_view text, int maximumDepth) {
    JsonNothing nothing;
    JsonReader(text, maximumDepth, nothing).readDocument();
}

void checkJsonValue(std::string_view text, int maximumDepth) {
    JsonNothing nothing;
    JsonReader(text, maximumDepth, nothing).readSingleValue();
}

}  // namespace zebutil::detail
