#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace test_json {

/// A kind of text that takes as much memory or time as it can. Each text is an object with the key "data",
/// unless it is about keys.
struct HostileJson {
    const char* name;
    std::function<std::string(std::size_t size)> ofSize;
};

/// Every kind, each of any size.
inline std::vector<HostileJson> hostileJson() {
    const auto list = [](const std::string& element) {
        return [element](std::size_t size) {
            std::string text = "{\"data\":[" + element;
            while (text.size() + element.size() + 3 <= size) {
                text.append(1, ',').append(element);
            }
            return text + "]}";
        };
    };
    const auto longString = [](const std::string& piece) {
        return [piece](std::size_t size) {
            std::string text = "{\"data\":\"";
            while (text.size() + piece.size() + 2 <= size) {
                text += piece;
            }
            return text + "\"}";
        };
    };
    const auto members = [](std::size_t step) {
        return [step](std::size_t size) {
            std::string text = "{\"data\":0";
            for (std::size_t number = 0; text.size() + 12 <= size; number = (number + step) % 1000003) {
                text.append(",\"").append(std::to_string(number)).append("\":0");
            }
            return text + "}";
        };
    };
    const auto nested = [](const std::string& open, const std::string& close) {
        constexpr int levels = 62;
        std::string text;
        for (int level = 0; level < levels; ++level) {
            text += open;
        }
        text += "0";
        for (int level = 0; level < levels; ++level) {
            text += close;
        }
        return text;
    };
    const auto broken = [](const std::string& piece) {
        return [piece](std::size_t size) {
            std::string text = "{\"data\":0";
            while (text.size() < size) {
                text += piece;
            }
            return text;
        };
    };
    return {
        {"EmptyObjects", list("{}")},
        {"EmptyArrays", list("[]")},
        {"Zeros", list("0")},
        {"EmptyStrings", list("\"\"")},
        {"Words", list("true")},
        {"Nulls", list("null")},
        {"Fractions", list("0.5")},
        {"NestedArrays", list(nested("[", "]"))},
        {"NestedObjects", list(nested("{\"\":", "}"))},
        {"OneEmptyKey", list("{\"\":0}")},
        {"TheSameKeys",
         [](std::size_t size) {
             std::string text = "{\"data\":0";
             while (text.size() + 6 <= size) {
                 text += ",\"\":0";
             }
             return text + "}";
         }},
        {"KeysInOrder", members(1)},
        {"KeysInNoOrder", members(618034)},
        {"LongString", longString("x")},
        {"CommasInAString", longString(",")},
        {"BracketsInAString", longString("[")},
        {"ShortEscapes", longString("\\n")},
        {"LongEscapes", longString("\\u0041")},
        {"Surrogates", longString("\\ud83d\\ude00")},
        {"MultibyteCharacters", longString("\xC3\xA4")},
        {"LongNumber", [](std::size_t size) { return "{\"data\":" + std::string(size - 9, '1') + "}"; }},
        {"WhiteSpace", [](std::size_t size) { return "{" + std::string(size - 2, ' ') + "}"; }},
        {"OpenArrays", broken("[")},
        {"OpenObjects", broken("{\"\":")},
        {"Commas", broken(",")},
        {"Colons", broken(":")},
    };
}

}  // namespace test_json
