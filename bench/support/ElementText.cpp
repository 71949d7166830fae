#include "ElementText.h"

namespace bench {

namespace {

std::string textWithName(std::size_t id, bool isSwitchedOn, const std::string& name) {
    return R"({"id":")" + std::to_string(id) + R"(","name":")" + name + R"(","uri":")" + elementUri(id) +
           R"(","isSwitchedOn":)" + (isSwitchedOn ? "true" : "false") + R"(,"type":")" + elementType(id) +
           R"("})";
}

}  // namespace

std::string elementUri(std::size_t id) {
    return "/ClampControl/clamps/" + std::to_string(id);
}

std::string elementType(std::size_t id) {
    return id == 1 ? "Clamp15" : "ClampS";
}

std::string elementName(std::size_t id, std::size_t size) {
    static const std::string words = "Terminal as the workshop knows it, ";
    const std::size_t shortest = textWithName(id, false, "").size();
    std::string name;
    while (shortest + name.size() < size) {
        name += words[name.size() % words.size()];
    }
    return name;
}

std::string elementText(std::size_t id, bool isSwitchedOn, std::size_t size) {
    return textWithName(id, isSwitchedOn, elementName(id, size));
}

}  // namespace bench
